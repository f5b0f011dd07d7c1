#include "shape.h"

#include <charconv>
#include <cstdio>

namespace bench {

namespace {

constexpr uint32_t kMostEntries = 1000000;
constexpr uint32_t kLongestValue = 32767;

}  // namespace

std::optional<uint32_t> numberFromText(std::string_view text, uint32_t most) {
    uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isNumber = error == std::errc() && end == text.data() + text.size() && number <= most;
    return isNumber ? std::optional(number) : std::nullopt;
}

std::string shapeText(const Shape& shape) {
    return std::to_string(shape.count) + "x" + std::to_string(shape.valueLength);
}

std::optional<Shape> shapeFromText(Content content, std::string_view text) {
    const size_t cross = text.find('x');
    if (cross == std::string_view::npos) {
        return std::nullopt;
    }
    const auto count = numberFromText(text.substr(0, cross), kMostEntries);
    const auto valueLength = numberFromText(text.substr(cross + 1), kLongestValue);
    return count && valueLength ? std::optional(Shape{content, *count, *valueLength}) : std::nullopt;
}

std::string idText(uint32_t index) {
    char text[32] = {};
    std::snprintf(text, sizeof text, "gateway.statistic.%06u", static_cast<unsigned>(index));
    return text;
}

std::string valueText(uint32_t index, uint32_t length) {
    std::string text = std::to_string(index);
    text.resize(length, '7');
    return text;
}

}  // namespace bench
