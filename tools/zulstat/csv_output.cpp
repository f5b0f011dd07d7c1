#include "csv_output.h"

#include "gateway_address.h"
#include "text_escape.h"
#include "time_text.h"

namespace zulstat {
namespace {

std::string_view nameOf(const AskedBy by) {
    switch (by) {
        case AskedBy::group:
            return "group";
        case AskedBy::statisticId:
            return "statisticId";
        case AskedBy::all:
            break;
    }
    return "all";
}

std::string startOfLine(const Report& report, const QueryResult& result, const Element& element) {
    const Gateway& gateway = report.gateway;
    const std::string name = gateway.name.empty() ? formatAddress(gateway.host, gateway.port) : gateway.name;
    return formatTime(report.startedAt) + "," + csvCell(name) + "," + std::string(nameOf(result.query.by)) + "," +
           csvCell(element.text) + "," + std::to_string(element.code) + ",";
}

}  // namespace

std::string csvCell(const std::string_view text) {
    std::string escaped = escapeText(text);
    if (escaped.find_first_of(",\"") == std::string::npos && !escaped.starts_with(' ') && !escaped.ends_with(' ')) {
        return escaped;
    }
    std::string cell = "\"";
    for (const char character : escaped) {
        cell.append(character == '"' ? "\"" : "").push_back(character);
    }
    return cell + "\"";
}

std::string renderCsv(const Reports& reports, const bool withHeader) {
    std::string output = withHeader ? "time,gateway,query,element,code,id,value\n" : "";
    for (const Report& report : reports) {
        for (const QueryResult& result : report.results) {
            for (const Element& element : result.elements) {
                const std::string start = startOfLine(report, result, element);
                if (element.entries.empty()) {
                    output += start + ",\n";
                }
                for (const Entry& entry : element.entries) {
                    output += start + csvCell(entry.id) + "," + csvCell(entry.value) + "\n";
                }
            }
        }
    }
    return output;
}

}  // namespace zulstat
