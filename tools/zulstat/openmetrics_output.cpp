#include "openmetrics_output.h"

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string_view>

#include "gateway_address.h"
#include "number.h"
#include "text_escape.h"

namespace zulstat {
namespace {

std::string labelValue(const std::string_view text) {
    std::string value = "\"";
    for (const char character : escapeText(text)) {
        value.append(character == '"' || character == '\\' ? "\\" : "").push_back(character);
    }
    return value + "\"";
}

std::string gatewayLabel(const Report& report) {
    const Gateway& gateway = report.gateway;
    const std::string name = gateway.name.empty() ? formatAddress(gateway.host, gateway.port) : gateway.name;
    return "gateway=" + labelValue(name);
}

std::string startFamily(const std::string_view name, const std::string_view help) {
    const std::string family(name);
    return "# HELP " + family + " " + std::string(help) + "\n# TYPE " + family + " gauge\n";
}

// Every statistic once, in the order of the answers. Equal ids of elements of the same name get a label that tells them
// apart, in one answer as in one element; what a later query answers with the same labels was asked for twice.
template <class Visit>
void forEachStatistic(const Reports& reports, const Visit& visit) {
    for (const Report& report : reports) {
        std::set<std::string> seen;
        for (const QueryResult& result : report.results) {
            std::map<std::string, size_t> counts;
            for (const Element& element : result.elements) {
                for (const Entry& entry : element.entries) {
                    std::string labels = "{" + gatewayLabel(report) + ",element=" + labelValue(element.text) +
                                         ",id=" + labelValue(entry.id);
                    if (const size_t occurrence = ++counts[labels]; occurrence > 1) {
                        labels += ",occurrence=" + labelValue(std::to_string(occurrence));
                    }
                    if (seen.insert(labels).second) {
                        visit(labels, entry);
                    }
                }
            }
        }
    }
}

std::string statistics(const Reports& reports) {
    std::string lines;
    forEachStatistic(reports, [&](const std::string& labels, const Entry& entry) {
        if (parseNumber(entry.value)) {
            const std::string_view number = entry.value;
            lines += "zulstat_statistic" + labels + "} ";
            lines += number.substr(number.starts_with('+') ? 1 : 0);
            lines += "\n";
        }
    });
    return startFamily("zulstat_statistic", "Value of a statistic of a gateway that is a number.") + lines;
}

std::string texts(const Reports& reports) {
    std::string lines;
    forEachStatistic(reports, [&](const std::string& labels, const Entry& entry) {
        if (!parseNumber(entry.value)) {
            lines += "zulstat_statistic_text" + labels + ",value=" + labelValue(entry.value) + "} 1\n";
        }
    });
    return startFamily("zulstat_statistic_text", "Value of a statistic of a gateway that is no number, as a label.") +
           lines;
}

}  // namespace

std::string renderOpenMetrics(const Reports& reports, const bool withTexts) {
    constexpr int kDecimals = 6;
    std::string output = startFamily("zulstat_up", "Whether the gateway answered all queries.");
    for (const Report& report : reports) {
        output += "zulstat_up{" + gatewayLabel(report) + "} " + (report.failure ? "0" : "1") + "\n";
    }
    output += startFamily("zulstat_scrape_duration_seconds", "How long the gateway took, connecting included.");
    for (const Report& report : reports) {
        output += "zulstat_scrape_duration_seconds{" + gatewayLabel(report) + "} " +
                  formatNumber(std::chrono::duration<double>(report.duration).count(), kDecimals) + "\n";
    }
    output += startFamily("zulstat_failed_elements", "Query elements that the gateway could not answer.");
    for (const Report& report : reports) {
        output += "zulstat_failed_elements{" + gatewayLabel(report) + "} " +
                  std::to_string(countFailedElements(report)) + "\n";
    }
    output += statistics(reports);
    if (withTexts) {
        output += texts(reports);
    }
    return output + "# EOF\n";
}

}  // namespace zulstat
