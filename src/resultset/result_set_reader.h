// Bounded reading of a result-set buffer, in the host's byte order. A read that would need bytes beyond the buffer
// fails. A failed read of one item leaves the position where it was; a failed readLengthAndText may have passed the
// length.
#ifndef ZULSTATS_RESULTSET_RESULT_SET_READER_H
#define ZULSTATS_RESULTSET_RESULT_SET_READER_H

#include <cstddef>
#include <cstdint>

#include "resultset/stapi_zul_resultsetbuffer.h"

namespace stapi {

struct ResultSetReader {
    char* buffer;
    size_t size;  // capacity and terminator
    size_t position;
};

// A reader over the token's buffer, at its start, or at the token's walk position.
ResultSetReader readerAtStart(const ResultSetToken* rsPtr);
ResultSetReader readerAtCursor(const ResultSetToken* rsPtr);

char* readerCursor(const ResultSetReader& reader);

// Whether count bytes are there at the position.
bool hasBytes(const ResultSetReader& reader, size_t count);

bool readWord(ResultSetReader* reader, uint32_t* word);
// The address of length bytes, which the position then lies behind.
bool readText(ResultSetReader* reader, uint32_t length, const char** text);
// Moves behind length bytes, or to the end of the buffer when there are not as many.
void skipTextOrAll(ResultSetReader* reader, uint32_t length);
// A length word and its text.
bool readLengthAndText(ResultSetReader* reader, uint32_t* length, const char** text);

}  // namespace stapi

#endif
