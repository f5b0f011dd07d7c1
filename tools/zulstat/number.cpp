#include "number.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>

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

std::string formatNumber(const double number, const int mostDecimals) {
    constexpr size_t kRoomForAnyDouble = 400;
    std::array<char, kRoomForAnyDouble> buffer{};
    const auto [end, error] =
        std::to_chars(buffer.data(), buffer.data() + buffer.size(), number, std::chars_format::fixed, mostDecimals);
    std::string text(buffer.data(), error == std::errc() ? static_cast<size_t>(end - buffer.data()) : 0);
    if (text.find('.') != std::string::npos) {
        text.erase(text.find_last_not_of('0') + 1);
        if (text.back() == '.') {
            text.pop_back();
        }
    }
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
