#include "table_output.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <string_view>
#include <utility>
#include <vector>

#include "messages.h"
#include "number.h"
#include "text_escape.h"

namespace zulstat {
namespace {

constexpr size_t kGap = 2;

enum class LineKind { header, entry, failed, nothing };

struct Line {
    LineKind kind = LineKind::entry;
    std::vector<std::string> cells;
    bool endsWithNumber = false;
};

std::string_view titleOfEntries(const QueryKind kind) {
    return kind == QueryKind::resourceGroups ? "RESOURCE GROUP" : "STATISTIC";
}

std::string showText(const std::string& text) {
    return text.empty() ? "\"\"" : escapeText(text);
}

bool hasElementTexts(const QueryResult& result) {
    return std::any_of(result.elements.begin(), result.elements.end(),
                       [](const Element& element) { return !element.text.empty(); });
}

// Lays out the lines of one query; without element texts there is no column for them, with a single gateway none for
// its name.
class LineMaker {
  public:
    LineMaker(const QueryKind kind, const bool withGateways, const bool withElements)
        : kind_(kind), withGateways_(withGateways), withElements_(withElements) {}

    Line header() const {
        Line line = startLine(LineKind::header, "GATEWAY", "QUERY");
        line.cells.emplace_back(titleOfEntries(kind_));
        if (kind_ == QueryKind::statistics) {
            line.cells.emplace_back("VALUE");
        }
        return line;
    }

    void addElement(std::vector<Line>& lines, const std::string& gateway, const Element& element) const {
        if (isFailed(element)) {
            lines.push_back(startLine(LineKind::failed, gateway, showText(element.text)));
            lines.back().cells.push_back("failed, code " + std::to_string(element.code));
        } else if (element.entries.empty() && withElements_) {
            lines.push_back(startLine(LineKind::nothing, gateway, showText(element.text)));
            lines.back().cells.push_back("no " + std::string(nameOfEntries(kind_)));
        }
        for (const Entry& entry : element.entries) {
            lines.push_back(startLine(LineKind::entry, gateway, showText(element.text)));
            lines.back().cells.push_back(showText(entry.id));
            if (kind_ == QueryKind::statistics) {
                lines.back().cells.push_back(showText(entry.value));
                lines.back().endsWithNumber = parseNumber(entry.value).has_value();
            }
        }
    }

  private:
    Line startLine(const LineKind lineKind, const std::string& gatewayCell, std::string elementCell) const {
        Line line;
        line.kind = lineKind;
        if (withGateways_) {
            line.cells.push_back(gatewayCell);
        }
        if (withElements_) {
            line.cells.push_back(std::move(elementCell));
        }
        return line;
    }

    QueryKind kind_;
    bool withGateways_;
    bool withElements_;
};

// The answers of all gateways to the query with that number.
std::vector<Line> makeLines(const Reports& reports, const size_t index, const bool withHeader) {
    std::vector<const Report*> answered;
    bool withElements = false;
    for (const Report& report : reports) {
        if (index < report.results.size()) {
            answered.push_back(&report);
            withElements = withElements || hasElementTexts(report.results[index]);
        }
    }
    if (answered.empty()) {
        return {};
    }
    const LineMaker make(answered.front()->results[index].query.kind, reports.size() > 1, withElements);
    std::vector<Line> lines;
    if (withHeader) {
        lines.push_back(make.header());
    }
    const size_t linesOfHeader = lines.size();
    for (const Report* const report : answered) {
        for (const Element& element : report->results[index].elements) {
            make.addElement(lines, escapeText(report->gateway.name), element);
        }
    }
    if (lines.size() == linesOfHeader) {
        lines.clear();
    }
    return lines;
}

std::vector<size_t> measureColumns(const std::vector<Line>& lines) {
    std::vector<size_t> widths;
    for (const Line& line : lines) {
        widths.resize(std::max(widths.size(), line.cells.size()));
        for (size_t column = 0; column < line.cells.size(); ++column) {
            widths[column] = std::max(widths[column], displayWidth(line.cells[column]));
        }
    }
    return widths;
}

// Numbers end below each other; they do not move away to the right for the sake of a long text.
void alignNumbers(std::vector<Line>& lines, const size_t room) {
    size_t widest = 0;
    for (const Line& line : lines) {
        widest = line.endsWithNumber ? std::max(widest, line.cells.back().size()) : widest;
    }
    widest = std::min(widest, room);
    for (Line& line : lines) {
        if (line.endsWithNumber && line.cells.back().size() < widest) {
            line.cells.back().insert(0, widest - line.cells.back().size(), ' ');
        }
    }
}

std::string_view colourOf(const LineKind kind) {
    switch (kind) {
        case LineKind::header:
            return "\x1B[1m";
        case LineKind::failed:
            return "\x1B[31m";
        case LineKind::nothing:
            return "\x1B[2m";
        case LineKind::entry:
            break;
    }
    return "";
}

std::string alignCells(const std::vector<std::string>& cells, const std::vector<size_t>& widths) {
    std::string text;
    for (size_t column = 0; column < cells.size(); ++column) {
        text += cells[column];
        if (column + 1 < cells.size()) {
            text.append(widths[column] - displayWidth(cells[column]) + kGap, ' ');
        }
    }
    return text;
}

// The last column of a table gives way to the width of a terminal, but never all of it.
size_t roomForLastColumn(const std::vector<Line>& lines, const size_t width) {
    constexpr size_t kLeast = 10;
    const std::vector<size_t> widths = measureColumns(lines);
    size_t before = 0;
    for (size_t column = 0; column + 1 < widths.size(); ++column) {
        before += widths[column] + kGap;
    }
    return width > before + kLeast ? width - before : kLeast;
}

void appendTable(std::string& output, std::vector<Line> lines, const TableStyle& style) {
    const bool isLimited = style.width > 0;
    const size_t room = isLimited ? roomForLastColumn(lines, style.width) : std::numeric_limits<size_t>::max();
    alignNumbers(lines, room);
    const std::vector<size_t> widths = measureColumns(lines);
    for (Line& line : lines) {
        if (isLimited && line.cells.size() == widths.size()) {
            line.cells.back() = cutToWidth(line.cells.back(), room);
        }
        const std::string_view colour = style.withColour ? colourOf(line.kind) : std::string_view();
        output += colour;
        output += alignCells(line.cells, widths);
        output += colour.empty() ? "" : "\x1B[0m";
        output += '\n';
    }
}

}  // namespace

std::string renderTables(const Reports& reports, const TableStyle& style) {
    size_t queries = 0;
    for (const Report& report : reports) {
        queries = std::max(queries, report.results.size());
    }
    std::string output;
    for (size_t index = 0; index < queries; ++index) {
        const std::vector<Line> lines = makeLines(reports, index, style.withHeader);
        if (lines.empty()) {
            continue;
        }
        if (!output.empty()) {
            output += '\n';
        }
        appendTable(output, lines, style);
    }
    return output;
}

}  // namespace zulstat
