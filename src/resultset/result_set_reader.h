// Bounded reading of a result-set buffer, in the host's byte order. A read that would need bytes beyond the buffer
// fails. A failed read of one item leaves the position where it was; a failed readLengthAndText may have passed the
// length. Everything is inline: a step of a walk is a few such reads.
#ifndef ZULSTATS_RESULTSET_RESULT_SET_READER_H
#define ZULSTATS_RESULTSET_RESULT_SET_READER_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "resultset/stapi_zul_resultsetbuffer.h"

namespace stapi {

struct ResultSetReader {
    char* buffer;
    size_t size;  // capacity and terminator
    size_t position;
};

// A reader over the token's buffer, at its start, or at the token's walk position.
inline ResultSetReader readerAtStart(const ResultSetToken* rsPtr) {
    const bool readable = rsPtr->resultSetBuf != nullptr && rsPtr->resultSetBufLen >= 0;
    const size_t size = readable ? static_cast<size_t>(rsPtr->resultSetBufLen) + sizeof kTerminator : 0;
    return {rsPtr->resultSetBuf, size, 0};
}

inline ResultSetReader readerAtCursor(const ResultSetToken* rsPtr) {
    ResultSetReader reader = readerAtStart(rsPtr);
    // Compared as numbers: a cursor that is not inside the buffer lies beyond its end.
    const auto start = reinterpret_cast<uintptr_t>(reader.buffer);
    const auto cursor = reinterpret_cast<uintptr_t>(loadDataCursor(rsPtr));
    const bool inside = cursor >= start && cursor - start <= reader.size;
    reader.position = inside ? static_cast<size_t>(cursor - start) : reader.size;
    return reader;
}

inline char* readerCursor(const ResultSetReader& reader) {
    return reader.buffer == nullptr ? nullptr : reader.buffer + reader.position;
}

// Whether count bytes are there at the position.
[[gnu::always_inline]] inline bool hasBytes(const ResultSetReader& reader, size_t count) {
    return reader.size - reader.position >= count;
}

[[gnu::always_inline]] inline bool readWord(ResultSetReader* reader, uint32_t* word) {
    const bool there = hasBytes(*reader, sizeof *word);
    if (there) {
        // A reader without a buffer has no bytes, which the analyser does not see.
        // NOLINTNEXTLINE(clang-analyzer-core.NonNullParamChecker)
        std::memcpy(word, reader->buffer + reader->position, sizeof *word);
        reader->position += sizeof *word;
    }
    return there;
}

// The address of length bytes, which the position then lies behind.
[[gnu::always_inline]] inline bool readText(ResultSetReader* reader, uint32_t length, const char** text) {
    const bool there = hasBytes(*reader, length);
    if (there) {
        *text = reader->buffer + reader->position;
        reader->position += length;
    }
    return there;
}

// Moves behind length bytes, or to the end of the buffer when there are not as many.
inline void skipTextOrAll(ResultSetReader* reader, uint32_t length) {
    reader->position = hasBytes(*reader, length) ? reader->position + length : reader->size;
}

// A length word and its text.
[[gnu::always_inline]] inline bool readLengthAndText(ResultSetReader* reader, uint32_t* length, const char** text) {
    return readWord(reader, length) && readText(reader, *length, text);
}

}  // namespace stapi

#endif
