// Every line of every scenario is a line of the table of trace points, and every trace point of the table is reached by
// a scenario or listed, with the reason, as one that cannot be reached so.
#include <algorithm>
#include <cstddef>
#include <map>
#include <set>

#include "scenarios.h"
#include "trace_table.h"
#include "trace_text.h"

namespace system_test {

namespace {

// One row of the table, with its text cut at the conversions.
struct TracePoint {
    int id = 0;
    std::string word;
    std::string text;  // as the table writes it
    std::vector<std::string> pieces;

    std::string key() const {
        return std::to_string(id) + '\t' + text;
    }
};

std::vector<std::string> piecesOf(std::string text) {
    text.resize(text.size() - 2);  // the new-line, as the table writes it
    std::vector<std::string> pieces(1);
    for (size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '%') {
            at = text.find_first_of("dpsxXu", at);
            pieces.emplace_back();
        } else {
            pieces.back() += text[at];
        }
    }
    return pieces;
}

std::vector<TracePoint> tracePoints() {
    const test_support::TraceTable table =
        test_support::readTraceTable(test_support::readFile(std::string(TEST_DATA_FOLDER) + "/trace_points.tsv"));
    std::vector<TracePoint> points;
    for (const test_support::TraceTableRow& row : table.rows) {
        points.push_back({row.id, row.word == "EXC" ? "*EXC*" : row.word, row.message, piecesOf(row.message)});
    }
    return points;
}

bool isLineOf(const test_support::TraceLine& line, const TracePoint& point) {
    const std::string& message = line.message;
    const std::string& first = point.pieces.front();
    const std::string& last = point.pieces.back();
    bool fits = line.pointId == point.id && line.word == point.word && message.compare(0, first.size(), first) == 0;
    size_t at = first.size();
    for (size_t index = 1; fits && index < point.pieces.size(); ++index) {
        at = message.find(point.pieces[index], at);
        fits = at != std::string::npos;
        at += point.pieces[index].size();
    }
    return fits && message.size() >= last.size() &&
           message.compare(message.size() - last.size(), last.size(), last) == 0 &&
           (point.pieces.size() > 1 || message == first);
}

// Id and text as in the table, and the reason, parted by tabulators; lines that begin with # are remarks.
std::map<std::string, std::string> unreachedPoints() {
    std::string text = test_support::readFile(std::string(TEST_DATA_FOLDER) + "/unreached_by_scenarios.txt");
#if defined(_WIN32)
    text += test_support::readFile(std::string(TEST_DATA_FOLDER) + "/unreached_on_windows.txt");
#endif
    std::map<std::string, std::string> reasons;
    for (const std::string& line : test_support::splitLines(text)) {
        const size_t reasonStart = line.rfind('\t');
        if (!line.empty() && line.front() != '#') {
            reasons[line.substr(0, reasonStart)] = reasonStart == std::string::npos ? "" : line.substr(reasonStart + 1);
        }
    }
    return reasons;
}

}  // namespace

class TraceCoverage : public SystemTest {};

TEST_F(TraceCoverage, EveryPointIsReachedOrItsReasonGiven) {
    const std::vector<TracePoint> points = tracePoints();
    ASSERT_GT(points.size(), 300U);
    std::set<std::string> reached;
    for (const Scenario& scenario : allScenarios()) {
        const std::string text = wholeTraceOf(scenario, 4);
        for (const test_support::TraceLine& line : test_support::traceLines(text)) {
            const auto point = std::find_if(points.begin(), points.end(),
                                            [&](const TracePoint& candidate) { return isLineOf(line, candidate); });
            if (point == points.end()) {
                ADD_FAILURE() << scenario.name << ": no such trace point: [" << line.pointId << "] " << line.word << " "
                              << line.message.substr(0, 200);
            } else {
                reached.insert(point->key());
            }
        }
    }
    std::map<std::string, std::string> unreached = unreachedPoints();
    for (const TracePoint& point : points) {
        const bool isListed = unreached.count(point.key()) == 1;
        EXPECT_NE(reached.count(point.key()) == 1, isListed)
            << point.key()
            << (isListed ? " is reached and yet listed as unreached" : " is not reached by any scenario");
        if (isListed) {
            EXPECT_GE(unreached[point.key()].size(), 10U) << point.key() << " is listed without a reason";
            unreached.erase(point.key());
        }
    }
    for (const auto& [key, reason] : unreached) {
        ADD_FAILURE() << "listed as unreached, but no trace point: " << key << ": " << reason;
    }
}

}  // namespace system_test
