#include "decimal.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <system_error>

namespace gatewaysim {

namespace {

constexpr int32_t kMillion = 1'000'000;

bool isDigits(std::string_view text) {
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](char character) { return character >= '0' && character <= '9'; });
}

std::optional<int64_t> numberOf(std::string_view digits) {
    int64_t number = 0;
    const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return read.ec == std::errc() ? std::optional(number) : std::nullopt;
}

}  // namespace

std::optional<Decimal> Decimal::parse(std::string_view text) {
    const bool isNegative = text.starts_with('-');
    text.remove_prefix(isNegative ? 1 : 0);
    const size_t point = text.find('.');
    const std::string_view whole = text.substr(0, point);
    std::string fraction(point == std::string_view::npos ? "0" : text.substr(point + 1));
    if (!isDigits(whole) || !isDigits(fraction) || fraction.size() > static_cast<size_t>(kMostDecimals)) {
        return std::nullopt;
    }
    fraction.resize(kMostDecimals, '0');
    const auto wholeNumber = numberOf(whole);
    if (!wholeNumber.has_value()) {
        return std::nullopt;
    }
    const Decimal number(*wholeNumber, static_cast<int32_t>(*numberOf(fraction)));
    return isNegative ? -number : number;
}

Decimal Decimal::operator+(const Decimal& other) const {
    const int32_t millionths = millionths_ + other.millionths_;
    return {whole_ + other.whole_ + millionths / kMillion, millionths % kMillion};
}

Decimal Decimal::operator-() const {
    if (millionths_ == 0) {
        return {-whole_, 0};
    }
    return {-whole_ - 1, kMillion - millionths_};
}

std::string Decimal::text(int decimals) const {
    if (whole_ < 0) {
        const std::string magnitude = (-*this).text(decimals);
        return magnitude.find_first_not_of("0.") == std::string::npos ? magnitude : "-" + magnitude;
    }
    std::string fraction = std::to_string(kMillion + millionths_).substr(1);
    fraction.resize(static_cast<size_t>(decimals));
    return std::to_string(whole_) + (decimals == 0 ? "" : ".") + fraction;
}

double Decimal::approximately() const {
    return static_cast<double>(whole_) + static_cast<double>(millionths_) / kMillion;
}

int decimalsOf(std::string_view text) {
    const size_t point = text.find('.');
    return point == std::string_view::npos ? 0 : static_cast<int>(text.size() - point - 1);
}

}  // namespace gatewaysim
