// The writing below the module's writers: no trace, no null pointers, and room made by the caller.
#ifndef ZULSTATS_RESULTSET_RESULT_SET_WRITER_H
#define ZULSTATS_RESULTSET_RESULT_SET_WRITER_H

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace stapi {

// Writes bytes at a cursor and moves it behind them.
inline void writeAtCursor(char** cursor, const void* bytes, size_t count) {
    if (count > 0) {
        std::memcpy(*cursor, bytes, count);
        *cursor += count;
    }
}

// What a text takes with its length word.
constexpr int64_t lengthTextSize(int32_t length) {
    return static_cast<int64_t>(sizeof(uint32_t)) + length;
}

}  // namespace stapi

#endif
