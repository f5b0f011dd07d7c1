#include "trace_comparison.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <utility>

namespace rule_test {

namespace {

using test_support::TraceTableRow;

std::string describe(const std::string& word, const std::string& message) {
    return word + " \"" + message + "\"";
}

std::string describeDifference(const TraceTableRow& row, const TraceCall& call) {
    std::string text = "point " + std::to_string(row.id) + " at " + call.where + ":";
    if (row.word != call.word) {
        text += "\n  word in the table " + row.word + ", in the sources " + call.word;
    }
    if (row.message != call.message) {
        const auto [inRow, inCall] =
            std::mismatch(row.message.begin(), row.message.end(), call.message.begin(), call.message.end());
        text += "\n  text in the table   \"" + row.message + "\"\n  text in the sources \"" + call.message +
                "\"\n  first difference at character " + std::to_string(std::distance(row.message.begin(), inRow) + 1);
    }
    return text;
}

// One id: rows and calls that agree cancel out; what is left over is paired as far as it goes.
void comparePoint(std::vector<TraceTableRow> rows, std::vector<TraceCall> calls, Deviations& deviations) {
    for (auto row = rows.begin(); row != rows.end();) {
        const auto same = std::find_if(calls.begin(), calls.end(), [&row](const TraceCall& call) {
            return call.word == row->word && call.message == row->message;
        });
        if (same == calls.end()) {
            ++row;
        } else {
            calls.erase(same);
            row = rows.erase(row);
        }
    }
    const size_t pairs = std::min(rows.size(), calls.size());
    for (size_t index = 0; index < pairs; ++index) {
        deviations.differences.push_back(describeDifference(rows[index], calls[index]));
    }
    for (size_t index = pairs; index < rows.size(); ++index) {
        deviations.absentRows.push_back(
            "point " + std::to_string(rows[index].id) +
            " has no trace call in the sources: " + describe(rows[index].word, rows[index].message));
    }
    for (size_t index = pairs; index < calls.size(); ++index) {
        deviations.unknownCalls.push_back(
            "point " + std::to_string(calls[index].id) + " at " + calls[index].where +
            " has no row of its own in the table: " + describe(calls[index].word, calls[index].message));
    }
}

}  // namespace

Deviations compare(const std::vector<TraceTableRow>& rows, const std::vector<TraceCall>& calls) {
    std::map<int32_t, std::pair<std::vector<TraceTableRow>, std::vector<TraceCall>>> points;
    for (const TraceTableRow& row : rows) {
        points[row.id].first.push_back(row);
    }
    for (const TraceCall& call : calls) {
        points[call.id].second.push_back(call);
    }
    Deviations deviations;
    for (const auto& [id, point] : points) {
        comparePoint(point.first, point.second, deviations);
    }
    return deviations;
}

std::string joinLines(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    return text;
}

}  // namespace rule_test
