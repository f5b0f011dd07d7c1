#include "resultset/result_set_reader.h"

#include <cstring>

namespace stapi {

ResultSetReader readerAtStart(const ResultSetToken* rsPtr) {
    const bool readable = rsPtr->resultSetBuf != nullptr && rsPtr->resultSetBufLen >= 0;
    const size_t size = readable ? static_cast<size_t>(rsPtr->resultSetBufLen) + sizeof kTerminator : 0;
    return {rsPtr->resultSetBuf, size, 0};
}

ResultSetReader readerAtCursor(const ResultSetToken* rsPtr) {
    ResultSetReader reader = readerAtStart(rsPtr);
    // Compared as numbers: a cursor that is not inside the buffer lies beyond its end.
    const auto start = reinterpret_cast<uintptr_t>(reader.buffer);
    const auto cursor = reinterpret_cast<uintptr_t>(loadDataCursor(rsPtr));
    const bool inside = cursor >= start && cursor - start <= reader.size;
    reader.position = inside ? static_cast<size_t>(cursor - start) : reader.size;
    return reader;
}

char* readerCursor(const ResultSetReader& reader) {
    return reader.buffer == nullptr ? nullptr : reader.buffer + reader.position;
}

bool hasBytes(const ResultSetReader& reader, size_t count) {
    return reader.size - reader.position >= count;
}

bool readWord(ResultSetReader* reader, uint32_t* word) {
    const bool there = hasBytes(*reader, sizeof *word);
    if (there) {
        std::memcpy(word, reader->buffer + reader->position, sizeof *word);
        reader->position += sizeof *word;
    }
    return there;
}

bool readText(ResultSetReader* reader, uint32_t length, const char** text) {
    const bool there = hasBytes(*reader, length);
    if (there) {
        *text = reader->buffer + reader->position;
        reader->position += length;
    }
    return there;
}

void skipTextOrAll(ResultSetReader* reader, uint32_t length) {
    reader->position = hasBytes(*reader, length) ? reader->position + length : reader->size;
}

bool readLengthAndText(ResultSetReader* reader, uint32_t* length, const char** text) {
    return readWord(reader, length) && readText(reader, *length, text);
}

}  // namespace stapi
