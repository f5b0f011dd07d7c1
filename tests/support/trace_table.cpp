#include "trace_table.h"

#include <charconv>
#include <cstddef>
#include <system_error>

#include "trace_text.h"

namespace test_support {

namespace {

std::vector<std::string> splitAtTabs(const std::string& line) {
    std::vector<std::string> columns;
    size_t start = 0;
    for (size_t tab = line.find('\t'); tab != std::string::npos; tab = line.find('\t', start)) {
        columns.push_back(line.substr(start, tab - start));
        start = tab + 1;
    }
    columns.push_back(line.substr(start));
    return columns;
}

}  // namespace

std::optional<int32_t> parsePointId(std::string_view text) {
    int32_t id = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, id);
    if (error != std::errc{} || stop != end) {
        return std::nullopt;
    }
    return id;
}

TraceTable readTraceTable(const std::string& text) {
    TraceTable table;
    const std::vector<std::string> lines = splitLines(text);
    if (lines.empty() || lines.front() != kTraceTableHeader) {
        table.malformed.emplace_back("line 1 is not the header line");
    }
    for (size_t index = 1; index < lines.size(); ++index) {
        const std::vector<std::string> columns = splitAtTabs(lines[index]);
        const std::optional<int32_t> id = parsePointId(columns.front());
        if (columns.size() == 6 && id) {
            table.rows.push_back({*id, columns[1], columns[2], columns[3], columns[4]});
        } else {
            table.malformed.push_back("line " + std::to_string(index + 1) +
                                      " is not a row of six columns: " + lines[index]);
        }
    }
    return table;
}

}  // namespace test_support
