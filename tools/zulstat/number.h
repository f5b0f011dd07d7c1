// Numbers as gateways and users write them.
#ifndef ZULSTATS_TOOLS_ZULSTAT_NUMBER_H
#define ZULSTATS_TOOLS_ZULSTAT_NUMBER_H

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace zulstat {

// A decimal number with or without sign, fraction and exponent, and nothing else: neither blanks nor "nan" or "inf".
std::optional<double> parseNumber(std::string_view text);

// At most that many digits behind the point, without zeros at the end.
std::string formatNumber(double number, int mostDecimals);

// Seconds with or without a fraction, rounded to milliseconds.
std::optional<std::chrono::milliseconds> parseSeconds(std::string_view text);

// "5", "0.5"
std::string formatSeconds(std::chrono::milliseconds duration);

}  // namespace zulstat

#endif
