// What a benchmark asks the replay server for: how many ids or statistics, with values of which length. The query's
// parameter names it, as in "1000x10".
#ifndef ZULSTATS_BENCH_SHAPE_H
#define ZULSTATS_BENCH_SHAPE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace bench {

enum class Content : int32_t { stats, ids };

struct Shape {
    Content content;
    uint32_t count;
    uint32_t valueLength;  // of statistics; not looked at for ids
};

// A decimal number of at most this much, and nothing else.
std::optional<uint32_t> numberFromText(std::string_view text, uint32_t most);

std::string shapeText(const Shape& shape);
std::optional<Shape> shapeFromText(Content content, std::string_view text);

// The ids have 24 bytes each up to a million of them.
std::string idText(uint32_t index);
std::string valueText(uint32_t index, uint32_t length);

}  // namespace bench

#endif
