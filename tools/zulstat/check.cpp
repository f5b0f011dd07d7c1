#include "check.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <unordered_set>

#include "exit_codes.h"
#include "messages.h"
#include "number.h"
#include "text_escape.h"

namespace zulstat {
namespace {

constexpr std::string_view kRatePrefix = "rate:";

constexpr std::array<std::string_view, 4> kStateNames{"OK", "WARNING", "CRITICAL", "UNKNOWN"};

// From harmless to bad. What is not known may be bad, but is not known to be.
int badnessOf(const int state) {
    switch (state) {
        case kCheckWarning:
            return 1;
        case kCheckUnknown:
            return 2;
        case kCheckCritical:
            return 3;
        default:
            return 0;
    }
}

struct FoundValue {
    const std::string* value = nullptr;
    std::chrono::steady_clock::time_point at;
};

// In the element that bears the id: what another one says of it is no answer to what was asked.
std::optional<FoundValue> findValue(const Report& report, const std::string& id) {
    for (const QueryResult& result : report.results) {
        for (const Element& element : result.elements) {
            const auto found = std::find_if(element.entries.begin(), element.entries.end(),
                                            [&](const Entry& entry) { return entry.id == id; });
            if (element.text == id && found != element.entries.end()) {
                return FoundValue{&found->value, result.at};
            }
        }
    }
    return std::nullopt;
}

const Range* rangeFor(const Metric& metric, const std::vector<Threshold>& thresholds) {
    const Range* general = nullptr;
    const Range* own = nullptr;
    for (const Threshold& threshold : thresholds) {
        if (!threshold.metric) {
            general = &threshold.range;
        } else if (*threshold.metric == metric) {
            own = &threshold.range;
        }
    }
    return own != nullptr ? own : general;
}

// A label in quotes may hold everything but a quote (which is doubled) and "=".
std::string labelOf(const std::string& text) {
    std::string label = "'";
    for (const char character : escapeText(text)) {
        label += character == '\'' ? "''" : std::string(1, character == '=' || character == '|' ? '_' : character);
    }
    return label + "'";
}

// Performance data knows digits, a minus and a point with digits on both sides. A whole number keeps all its digits.
std::string plainNumber(const std::string& text, const double value) {
    constexpr std::string_view kDigits = "0123456789";
    constexpr size_t kRoomForAnyDouble = 400;
    const size_t sign = text.starts_with('-') ? 1 : 0;
    const size_t whole = std::min(text.find_first_not_of(kDigits, sign), text.size());
    const bool hasFraction = whole + 1 < text.size() && text[whole] == '.';
    const size_t end = hasFraction ? std::min(text.find_first_not_of(kDigits, whole + 1), text.size()) : whole;
    if (whole > sign && end == text.size()) {
        return text;
    }
    std::array<char, kRoomForAnyDouble> digits{};
    const auto done = std::to_chars(digits.data(), digits.data() + digits.size(), value, std::chars_format::fixed);
    return {digits.data(), done.ptr};
}

// A bar would begin the performance data.
std::string withoutBars(std::string text) {
    std::replace(text.begin(), text.end(), '|', '/');
    return text;
}

// Exact for whole numbers, which counters are.
double growthBetween(const std::string& before, const std::string& after) {
    const auto earlier = parseWholeNumber(before);
    const auto later = parseWholeNumber(after);
    const auto exact = earlier && later ? difference(*later, *earlier) : std::nullopt;
    return exact ? toDouble(*exact) : parseNumber(after).value_or(0) - parseNumber(before).value_or(0);
}

class Evaluation {
  public:
    explicit Evaluation(const CheckRequest& request) : request_(request) {}

    void addGateway(const Report& first, const Report& second) {
        prefix_ = first.gateway.name.empty() ? "" : first.gateway.name + " ";
        for (const Report* const report : {&first, &second}) {
            if (report->failure) {
                // What this machine lacks says nothing about the gateway.
                const bool isOurs = report->failure->kind == Failure::Kind::localLimit;
                note(isOurs ? kCheckUnknown : kCheckCritical, describeFailure(*report->failure, report->gateway));
                return;
            }
        }
        for (const Metric& metric : request_.metrics) {
            addMetric(metric, first, second);
        }
    }

    CheckResult finish() const {
        std::string text(kStateNames[static_cast<size_t>(state_)]);
        std::string_view separator = " - ";
        // What is bad comes first, because a first line is all that many see.
        for (const int state : {kCheckCritical, kCheckUnknown, kCheckWarning, kCheckOk}) {
            for (const Finding& finding : findings_) {
                if (finding.state == state) {
                    text.append(separator).append(withoutBars(finding.text));
                    separator = ", ";
                }
            }
        }
        return {state_, text + (data_.empty() ? "" : " |" + data_) + "\n"};
    }

  private:
    struct Finding {
        int state;
        std::string text;
    };

    void note(const int state, std::string text) {
        state_ = badnessOf(state) > badnessOf(state_) ? state : state_;
        findings_.push_back({state, std::move(text)});
    }

    std::string nameOf(const Metric& metric) const {
        return prefix_ + metric.id + (metric.isRate ? "/s" : "");
    }

    void addMetric(const Metric& metric, const Report& first, const Report& second) {
        const std::string name = escapeText(nameOf(metric));
        const auto before = findValue(first, metric.id);
        const auto after = findValue(second, metric.id);
        if (!before || !after) {
            note(request_.okIfMissing ? kCheckOk : kCheckUnknown, name + " is missing");
            return;
        }
        const std::optional<double> earlier = parseNumber(*before->value);
        const std::optional<double> later = parseNumber(*after->value);
        if (!earlier || !later) {
            const std::string& odd = earlier ? *after->value : *before->value;
            note(kCheckUnknown, name + " is no number: \"" + cutToWidth(escapeText(odd), kMostOfAText) + '"');
            return;
        }
        if (!metric.isRate) {
            addValue(metric, name, plainNumber(*after->value, *later));
            return;
        }
        if (compareNumbers(*after->value, *before->value) < 0) {
            note(kCheckUnknown, name + " has no rate: the value fell from " + *before->value + " to " + *after->value);
            return;
        }
        const double seconds = std::chrono::duration<double>(after->at - before->at).count();
        const double rate = growthBetween(*before->value, *after->value) / seconds;
        if (seconds <= 0 || !std::isfinite(rate)) {
            note(kCheckUnknown,
                 name + " has no rate: it grew too fast, from " + *before->value + " to " + *after->value);
            return;
        }
        addValue(metric, name, plainNumber(formatNumber(rate, kDecimalsOfARate, kDigitsOfARate), rate));
    }

    void addValue(const Metric& metric, const std::string& name, const std::string& value) {
        const Range* const warning = rangeFor(metric, request_.warnings);
        const Range* const critical = rangeFor(metric, request_.criticals);
        const bool isCritical = critical != nullptr && critical->alerts(value);
        const bool isWarning = warning != nullptr && warning->alerts(value);
        std::string text = name + " is " + value;
        if (isCritical || isWarning) {
            text += " (good: " + (isCritical ? critical : warning)->text + ")";
        }
        note(isCritical ? kCheckCritical : isWarning ? kCheckWarning : kCheckOk, std::move(text));
        data_ += " " + labelFor(metric) + "=" + value + ";" + (warning == nullptr ? "" : warning->text) + ";" +
                 (critical == nullptr ? "" : critical->text);
    }

    // Two ids may become the same label; the later one gets a number.
    std::string labelFor(const Metric& metric) {
        std::string label = labelOf(nameOf(metric));
        for (int number = 2; !labels_.insert(label).second; ++number) {
            label = labelOf(nameOf(metric) + "#" + std::to_string(number));
        }
        return label;
    }

    static constexpr size_t kMostOfAText = 40;
    static constexpr int kDecimalsOfARate = 3;
    static constexpr int kDigitsOfARate = 3;  // at least

    const CheckRequest& request_;
    std::string prefix_;
    int state_ = kCheckOk;
    std::vector<Finding> findings_;
    std::string data_;
    std::unordered_set<std::string> labels_;
};

}  // namespace

bool Range::alerts(const std::string_view value) const {
    const bool isOutside = (low && compareNumbers(value, *low) < 0) || (high && compareNumbers(value, *high) > 0);
    return isOutside != isInverted;
}

std::optional<Range> parseRange(const std::string_view text) {
    Range range;
    range.text = text;
    std::string_view rest = text;
    if (rest.starts_with('@')) {
        range.isInverted = true;
        rest.remove_prefix(1);
    }
    if (rest.empty()) {
        return std::nullopt;
    }
    const size_t colon = rest.find(':');
    const std::string_view start = colon == std::string_view::npos ? std::string_view() : rest.substr(0, colon);
    const std::string_view end = colon == std::string_view::npos ? rest : rest.substr(colon + 1);
    if (start == "~") {
        range.low = std::nullopt;
    } else if (!start.empty()) {
        range.low = start;
    }
    if (!end.empty()) {
        range.high = end;
    }
    const bool hasGoodLimits = (!range.low || parseNumber(*range.low)) && (!range.high || parseNumber(*range.high));
    const bool isEmpty = hasGoodLimits && range.low && range.high && compareNumbers(*range.low, *range.high) > 0;
    return hasGoodLimits && !isEmpty ? std::optional(range) : std::nullopt;
}

Metric parseMetric(const std::string_view text) {
    const bool isRate = text.starts_with(kRatePrefix);
    return {std::string(text.substr(isRate ? kRatePrefix.size() : 0)), isRate};
}

std::variant<Threshold, Fault> parseThreshold(const std::string_view text, const std::vector<Metric>& metrics) {
    const size_t equals = text.rfind('=');
    const std::string_view rangeText = equals == std::string_view::npos ? text : text.substr(equals + 1);
    Threshold threshold;
    if (equals != std::string_view::npos) {
        threshold.metric = parseMetric(text.substr(0, equals));
        if (std::find(metrics.begin(), metrics.end(), *threshold.metric) == metrics.end()) {
            return Fault{"the metric " + quoteText(text.substr(0, equals)) +
                         " of a range is not among those that are checked. Name it behind \"check\", too."};
        }
    }
    const std::optional<Range> range = parseRange(rangeText);
    if (!range) {
        return Fault{quoteText(rangeText) +
                     " is no range. Write [@]START:END, as in 10 (0 to 10), 10: (10 and more), ~:10 or 10:20."};
    }
    threshold.range = *range;
    return threshold;
}

CheckResult checkThatCannotBeMade(const std::string& reason) {
    return {kCheckUnknown, "UNKNOWN - " + withoutBars(reason) + "\n"};
}

CheckResult evaluateCheck(const Reports& first, const Reports& second, const CheckRequest& request) {
    Evaluation evaluation(request);
    for (size_t index = 0; index < first.size(); ++index) {
        evaluation.addGateway(first[index], second[index]);
    }
    return evaluation.finish();
}

}  // namespace zulstat
