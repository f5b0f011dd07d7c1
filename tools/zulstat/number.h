// Numbers as gateways and users write them.
#ifndef ZULSTATS_TOOLS_ZULSTAT_NUMBER_H
#define ZULSTATS_TOOLS_ZULSTAT_NUMBER_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zulstat {

// A decimal number with or without sign, fraction and exponent, and nothing else: neither blanks nor "nan" or "inf".
std::optional<double> parseNumber(std::string_view text);

// Below 0, 0 or above 0: the left number is the smaller one, they are equal, or it is the greater one, to the last
// digit of either text. Both are texts that parseNumber takes.
int compareNumbers(std::string_view left, std::string_view right);

// A number without fraction and exponent, exact where a double no longer is.
struct WholeNumber {
    bool isNegative = false;
    uint64_t magnitude = 0;
};

// Nothing where the text is something else, or the magnitude needs more than 64 bits.
std::optional<WholeNumber> parseWholeNumber(std::string_view text);

// Nothing where the magnitude needs more than 64 bits.
std::optional<WholeNumber> difference(const WholeNumber& left, const WholeNumber& right);

double toDouble(const WholeNumber& number);

std::string formatWholeNumber(const WholeNumber& number);

// At most that many digits behind the point, without zeros at the end; but more where a number that is not 0 would have
// fewer significant ones than asked for. A number that needs very many is written with an exponent.
std::string formatNumber(double number, int mostDecimals, int leastSignificant = 1);

// Seconds with or without a fraction, rounded to milliseconds.
std::optional<std::chrono::milliseconds> parseSeconds(std::string_view text);

// "5", "0.5"
std::string formatSeconds(std::chrono::milliseconds duration);

}  // namespace zulstat

#endif
