// A check as monitoring systems expect it from their plugins: one line, performance data, and a code.
#ifndef ZULSTATS_TOOLS_ZULSTAT_CHECK_H
#define ZULSTATS_TOOLS_ZULSTAT_CHECK_H

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "gateway_address.h"
#include "report.h"

namespace zulstat {

// Values for which there is no alert: "[@]START:END", where START may be "~" (no limit) and is 0 when it is missing.
struct Range {
    std::optional<std::string> low = "0";  // as it was written; none: no limit
    std::optional<std::string> high;
    bool isInverted = false;  // alert inside instead of outside
    std::string text;

    // Whether a number that parseNumber takes is none of the good ones. Whole numbers count to their last digit.
    bool alerts(std::string_view value) const;
};
std::optional<Range> parseRange(std::string_view text);

struct Metric {
    std::string id;
    bool isRate = false;  // growth per second

    bool operator==(const Metric& other) const {
        return id == other.id && isRate == other.isRate;
    }
};
Metric parseMetric(std::string_view text);

struct Threshold {
    std::optional<Metric> metric;  // none: of all that have no threshold of their own
    Range range;
};
std::variant<Threshold, Fault> parseThreshold(std::string_view text, const std::vector<Metric>& metrics);

struct CheckRequest {
    std::vector<Metric> metrics;
    std::vector<Threshold> warnings;
    std::vector<Threshold> criticals;
    bool okIfMissing = false;
};

struct CheckResult {
    int exitCode = 0;
    std::string text;
};

// The result of a check that cannot be made.
CheckResult checkThatCannotBeMade(const std::string& reason);

// `second` holds the same queries a while later, for rates; otherwise it is the same as `first`.
CheckResult evaluateCheck(const Reports& first, const Reports& second, const CheckRequest& request);

}  // namespace zulstat

#endif
