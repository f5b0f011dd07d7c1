// The writing below the module's writers: no trace, no null pointers, and room made by the caller.
#ifndef ZULSTATS_RESULTSET_RESULT_SET_WRITER_H
#define ZULSTATS_RESULTSET_RESULT_SET_WRITER_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "diag/short_copy.h"

namespace stapi {

// Writes a text with its length word at a cursor; the place behind it.
inline char* writeLengthAndText(char* cursor, const void* text, int32_t length) {
    const auto size = static_cast<uint32_t>(length);
    std::memcpy(cursor, &size, sizeof size);
    copyShort(cursor + sizeof size, static_cast<const char*>(text), size);
    return cursor + sizeof size + size;
}

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
