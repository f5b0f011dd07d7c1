// The writing below the module's writers: no trace, no null pointers, and room made by the caller.
#ifndef ZULSTATS_RESULTSET_RESULT_SET_WRITER_H
#define ZULSTATS_RESULTSET_RESULT_SET_WRITER_H

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace stapi {

// Copies two pieces of known size, which overlap unless they have count bytes together: the first bytes and the last.
template <size_t size>
void copyBothEnds(char* target, const char* source, size_t count) {
    std::memcpy(target, source, size);
    std::memcpy(target + count - size, source + count - size, size);
}

// Copies bytes. Ids and values are short, and a call of the C library for each would take as long as all the rest.
inline void copyShort(char* target, const char* source, size_t count) {
    if (count > 32) {
        std::memcpy(target, source, count);
    } else if (count >= 16) {
        copyBothEnds<16>(target, source, count);
    } else if (count >= 8) {
        copyBothEnds<8>(target, source, count);
    } else if (count >= 4) {
        copyBothEnds<4>(target, source, count);
    } else if (count >= 2) {
        copyBothEnds<2>(target, source, count);
    } else if (count == 1) {
        *target = *source;
    }
}

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
