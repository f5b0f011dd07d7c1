#include "number.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <limits>

namespace zulstat {
namespace {

bool isDigit(const char character) {
    return character >= '0' && character <= '9';
}

size_t skipDigits(const std::string_view text, size_t position) {
    while (position < text.size() && isDigit(text[position])) {
        ++position;
    }
    return position;
}

bool isDecimalNumber(const std::string_view text) {
    size_t position = !text.empty() && (text[0] == '-' || text[0] == '+') ? 1 : 0;
    const size_t start = position;
    position = skipDigits(text, position);
    size_t digits = position - start;
    if (position < text.size() && text[position] == '.') {
        const size_t fraction = position + 1;
        position = skipDigits(text, fraction);
        digits += position - fraction;
    }
    if (digits == 0) {
        return false;
    }
    if (position < text.size() && (text[position] == 'e' || text[position] == 'E')) {
        ++position;
        position += position < text.size() && (text[position] == '-' || text[position] == '+') ? 1 : 0;
        const size_t exponent = position;
        position = skipDigits(text, position);
        if (position == exponent) {
            return false;
        }
    }
    return position == text.size();
}

// The digits of a decimal number without zeros at either end, and where its point stands: 0.d1d2d3... times 10 to the
// power of `point`. Zero has no digits.
struct Digits {
    bool isNegative = false;
    std::string significant;
    int64_t point = 0;
};

// An exponent that is not to be believed ends at a bound that no text's length makes up for.
int64_t parseExponent(const std::string_view text) {
    constexpr int64_t kMost = int64_t{1} << 60;
    const bool isNegative = text.starts_with('-');
    int64_t exponent = 0;
    for (const char character : text) {
        if (isDigit(character)) {
            exponent = std::min(exponent * 10 + (character - '0'), kMost / 10);
        }
    }
    return isNegative ? -exponent : exponent;
}

Digits digitsOf(std::string_view text) {
    Digits digits;
    digits.isNegative = text.starts_with('-');
    const size_t letter = text.find_first_of("eE");
    const int64_t exponent = letter == std::string_view::npos ? 0 : parseExponent(text.substr(letter + 1));
    text = text.substr(0, letter);
    const size_t point = text.find('.');
    for (const char character : text) {
        if (isDigit(character)) {
            digits.significant += character;
        }
    }
    const size_t fraction = point == std::string_view::npos ? 0 : text.size() - point - 1;
    const size_t zeros = std::min(digits.significant.find_first_not_of('0'), digits.significant.size());
    digits.point = static_cast<int64_t>(digits.significant.size()) - static_cast<int64_t>(fraction) -
                   static_cast<int64_t>(zeros) + exponent;
    digits.significant.erase(0, zeros);
    digits.significant.erase(digits.significant.find_last_not_of('0') + 1);
    if (digits.significant.empty()) {
        digits.isNegative = false;
        digits.point = std::numeric_limits<int64_t>::min();
    }
    return digits;
}

int compareMagnitudes(const Digits& left, const Digits& right) {
    if (left.point != right.point) {
        return left.point < right.point ? -1 : 1;
    }
    return left.significant.compare(right.significant);
}

std::string withoutZerosAtItsEnd(std::string text) {
    if (text.find('.') != std::string::npos) {
        text.erase(text.find_last_not_of('0') + 1);
        if (text.back() == '.') {
            text.pop_back();
        }
    }
    return text;
}

std::string printNumber(const double number, const std::chars_format format, const int decimals) {
    constexpr size_t kRoomForAnyDouble = 400;
    std::array<char, kRoomForAnyDouble> buffer{};
    const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number, format, decimals);
    return {buffer.data(), error == std::errc() ? static_cast<size_t>(end - buffer.data()) : 0};
}

}  // namespace

std::optional<double> parseNumber(const std::string_view text) {
    if (!isDecimalNumber(text)) {
        return std::nullopt;
    }
    const std::string_view unsignedPart = text.substr(text[0] == '+' ? 1 : 0);
    double number = 0;
    const auto [end, error] = std::from_chars(unsignedPart.data(), unsignedPart.data() + unsignedPart.size(), number);
    if (error != std::errc() || !std::isfinite(number)) {
        return std::nullopt;
    }
    return number;
}

int compareNumbers(const std::string_view left, const std::string_view right) {
    const Digits leftDigits = digitsOf(left);
    const Digits rightDigits = digitsOf(right);
    if (leftDigits.isNegative != rightDigits.isNegative) {
        return leftDigits.isNegative ? -1 : 1;
    }
    const int order = compareMagnitudes(leftDigits, rightDigits);
    return leftDigits.isNegative ? -order : order;
}

std::optional<WholeNumber> parseWholeNumber(const std::string_view text) {
    const bool isSigned = text.starts_with('-') || text.starts_with('+');
    const std::string_view digits = text.substr(isSigned ? 1 : 0);
    if (digits.empty() || skipDigits(digits, 0) != digits.size()) {
        return std::nullopt;
    }
    WholeNumber number;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number.magnitude);
    if (error != std::errc()) {
        return std::nullopt;
    }
    number.isNegative = text.starts_with('-') && number.magnitude != 0;
    return number;
}

std::optional<WholeNumber> difference(const WholeNumber& left, const WholeNumber& right) {
    if (left.isNegative != right.isNegative) {
        const uint64_t sum = left.magnitude + right.magnitude;
        return sum < left.magnitude ? std::nullopt : std::optional(WholeNumber{left.isNegative && sum != 0, sum});
    }
    const bool isLeftGreater = left.magnitude > right.magnitude;
    const uint64_t magnitude = isLeftGreater ? left.magnitude - right.magnitude : right.magnitude - left.magnitude;
    return WholeNumber{magnitude != 0 && isLeftGreater == left.isNegative, magnitude};
}

double toDouble(const WholeNumber& number) {
    const auto magnitude = static_cast<double>(number.magnitude);
    return number.isNegative ? -magnitude : magnitude;
}

std::string formatWholeNumber(const WholeNumber& number) {
    return (number.isNegative ? "-" : "") + std::to_string(number.magnitude);
}

std::string formatNumber(const double number, const int mostDecimals, const int leastSignificant) {
    constexpr int kMostZeros = 9;
    int decimals = mostDecimals;
    if (number != 0 && std::isfinite(number)) {
        const int zeros = -1 - static_cast<int>(std::floor(std::log10(std::fabs(number))));
        if (zeros >= std::max(kMostZeros, mostDecimals)) {
            return printNumber(number, std::chars_format::scientific, leastSignificant - 1);
        }
        decimals = std::max(decimals, zeros + leastSignificant);
    }
    const std::string text = withoutZerosAtItsEnd(printNumber(number, std::chars_format::fixed, decimals));
    return text == "-0" ? "0" : text;
}

std::optional<std::chrono::milliseconds> parseSeconds(const std::string_view text) {
    constexpr double kMillisecondsInASecond = 1000;
    constexpr double kMost = 1e9;
    const std::optional<double> seconds = parseNumber(text);
    if (!seconds || *seconds < 0 || *seconds > kMost) {
        return std::nullopt;
    }
    const double milliseconds = *seconds * kMillisecondsInASecond;
    // A time that is not quite nothing stays one.
    return std::chrono::milliseconds(*seconds > 0 ? std::max(1LL, std::llround(milliseconds)) : 0);
}

std::string formatSeconds(const std::chrono::milliseconds duration) {
    constexpr int kDecimals = 3;
    return formatNumber(std::chrono::duration<double>(duration).count(), kDecimals);
}

}  // namespace zulstat
