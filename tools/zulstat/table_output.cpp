#include "table_output.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <vector>

#include "messages.h"
#include "text_escape.h"

namespace zulstat {
namespace {

enum class LineKind { header, entry, failed, nothing };

struct Line {
    LineKind kind = LineKind::entry;
    std::vector<std::string> cells;
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

// Lays out the lines of one query; without element texts there is no first column for them.
class LineMaker {
  public:
    explicit LineMaker(const QueryResult& result) : kind_(result.query.kind), withElements_(hasElementTexts(result)) {}

    Line header() const {
        Line line = startLine(LineKind::header, "QUERY");
        line.cells.emplace_back(titleOfEntries(kind_));
        if (kind_ == QueryKind::statistics) {
            line.cells.emplace_back("VALUE");
        }
        return line;
    }

    Line failed(const Element& element) const {
        Line line = startLine(LineKind::failed, showText(element.text));
        line.cells.push_back("failed, code " + std::to_string(element.code));
        return line;
    }

    Line nothing(const Element& element) const {
        Line line = startLine(LineKind::nothing, showText(element.text));
        line.cells.push_back("no " + std::string(nameOfEntries(kind_)));
        return line;
    }

    Line entry(const Element& element, const Entry& entry) const {
        Line line = startLine(LineKind::entry, showText(element.text));
        line.cells.push_back(showText(entry.id));
        if (kind_ == QueryKind::statistics) {
            line.cells.push_back(showText(entry.value));
        }
        return line;
    }

    bool withElements() const {
        return withElements_;
    }

  private:
    Line startLine(const LineKind lineKind, std::string elementCell) const {
        Line line;
        line.kind = lineKind;
        if (withElements_) {
            line.cells.push_back(std::move(elementCell));
        }
        return line;
    }

    QueryKind kind_;
    bool withElements_;
};

std::vector<Line> makeLines(const QueryResult& result) {
    const LineMaker make(result);
    std::vector<Line> lines{make.header()};
    for (const Element& element : result.elements) {
        if (isFailed(element)) {
            lines.push_back(make.failed(element));
        } else if (element.entries.empty() && make.withElements()) {
            lines.push_back(make.nothing(element));
        }
        for (const Entry& entry : element.entries) {
            lines.push_back(make.entry(element, entry));
        }
    }
    if (lines.size() == 1) {
        lines.clear();
    }
    return lines;
}

std::vector<size_t> measureColumns(const std::vector<Line>& lines) {
    std::vector<size_t> widths;
    for (const Line& line : lines) {
        widths.resize(std::max(widths.size(), line.cells.size()));
        for (size_t column = 0; column < line.cells.size(); ++column) {
            widths[column] = std::max(widths[column], countCodePoints(line.cells[column]));
        }
    }
    return widths;
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
    constexpr size_t kGap = 2;
    std::string text;
    for (size_t column = 0; column < cells.size(); ++column) {
        text += cells[column];
        if (column + 1 < cells.size()) {
            text.append(widths[column] - countCodePoints(cells[column]) + kGap, ' ');
        }
    }
    return text;
}

void appendTable(std::string& output, const std::vector<Line>& lines, const bool withColour) {
    const std::vector<size_t> widths = measureColumns(lines);
    for (const Line& line : lines) {
        const std::string_view colour = withColour ? colourOf(line.kind) : std::string_view();
        output += colour;
        output += alignCells(line.cells, widths);
        output += colour.empty() ? "" : "\x1B[0m";
        output += '\n';
    }
}

}  // namespace

std::string renderTables(const Report& report, const bool withColour) {
    std::string output;
    for (const QueryResult& result : report.results) {
        const std::vector<Line> lines = makeLines(result);
        if (lines.empty()) {
            continue;
        }
        if (!output.empty()) {
            output += '\n';
        }
        appendTable(output, lines, withColour);
    }
    return output;
}

}  // namespace zulstat
