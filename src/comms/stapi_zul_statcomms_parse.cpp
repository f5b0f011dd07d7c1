// The parsers of the replies. A reply is an object stream that the daemon's runtime has serialised; its descriptions
// always stand at the same places, so it is walked by position, and only what belongs into the result set is looked at.
#include <algorithm>
#include <cstring>

#include "api/zulstats64.h"
#include "comms/stapi_zul_statcomms.h"
#include "diag/heap_blocks.h"
#include "diag/stapi_zul_diag.h"
#include "resultset/result_set_writer.h"

namespace stapi {

namespace {

constexpr uint8_t kTagShortBlock = 0x77;  // one length byte follows
constexpr uint8_t kTagLongBlock = 0x7A;   // four length bytes follow
constexpr uint8_t kMultiResponse = 1;     // a response count follows

// What is skipped, always of the same size; docs/protocol.md shows it byte by byte.
constexpr size_t kStreamAndObjectStart = 6;  // the stream's magic and version, the tags of object and class description
constexpr size_t kSerialVersion = 8;         // of a class
// A class's flags, number of fields (2 bytes), end of annotations and no superclass; from the second statistic on, a
// reference to the class, which is as long.
constexpr size_t kClassEnd = 5;
constexpr size_t kClassRest = kSerialVersion + kClassEnd;
constexpr size_t kEndOfObject = 1;
constexpr size_t kStatisticObjectStart = 2;    // the tags of object and class description
constexpr int32_t kStatisticLengthFields = 4;  // those of the id and of the value
constexpr size_t kStatisticEnd = 2;            // the end of its data; then the next object's tag, or the response's end
constexpr size_t kLongBlockHighLength = 2;     // the upper half of a long block's length

constexpr size_t kShortBlockLengthBytes = 1;
// A statistic of zeros: a block of any kind but a long one, and two empty texts.
constexpr size_t kMissingStatistic =
    kClassEnd + sizeof(uint8_t) + kShortBlockLengthBytes + 2 * sizeof(int16_t) + kStatisticEnd;
constexpr size_t kLongBlockLengthBytes = 4;

// A reply being turned into a result set.
struct ReplyParser {
    WireReader reader;
    char** buffer;
    int32_t* capacity;
    char* cursor;
    int64_t written;
    size_t arrived;    // bytes of the reply that are not merely announced
    size_t touched;    // bytes at the start of the buffer that may be other than zero
    int32_t growthRc;  // of the last growth
    bool malformed;    // bytes that belong into the result set are missing or make no sense
};

ReplyParser makeReplyParser(const uint8_t* payload, size_t size, char** buffer, int32_t* capacity,
                            const KnownZeros& known) {
    return {.reader = makeWireReader(payload, size),
            .buffer = buffer,
            .capacity = capacity,
            .cursor = nullptr,
            .written = 0,
            .arrived = known.arrived,
            .touched = known.touched == nullptr ? SIZE_MAX : known.touched->first,
            .growthRc = STAPI_RC_OK,
            .malformed = false};
}

// Whether the reply can be read on.
bool isIntact(const ReplyParser& parser) {
    return !parser.malformed && !parser.reader.overrun;
}

bool isGoingWell(const ReplyParser& parser) {
    return isIntact(parser) && parser.growthRc == STAPI_RC_OK;
}

// Whether nothing is traced of what is handed on text by text, so that it need not be handed on field by field.
bool isHandedOnSilently() {
    return !isTraceOn(TraceWord::entry);
}

// Into a fresh block goes what was written, up to the zeros that nobody wrote.
void grow(ReplyParser* parser) {
    const size_t content = std::min(parser->touched, static_cast<size_t>(parser->written));
    parser->growthRc = reallocResultsSetBuffer(parser->buffer, parser->capacity, &parser->cursor,
                                               static_cast<int32_t>(parser->written), content);
    parser->touched = content;
}

// Counts what has been written at the cursor.
void noteWritten(ReplyParser* parser, int64_t count) {
    parser->written += count;
    if (count > 0) {
        parser->touched = std::max(parser->touched, static_cast<size_t>(parser->written));
    }
}

// Makes room for count bytes: one doubling whenever one is enough.
void reserve(ReplyParser* parser, int64_t count) {
    while (parser->growthRc == STAPI_RC_OK && parser->written + count > *parser->capacity) {
        grow(parser);
    }
}

// After a malformed field, or a failed growth, nothing more is written.
void putInteger(ReplyParser* parser, uint32_t value) {
    if (isIntact(*parser)) {
        reserve(parser, sizeof value);
    }
    if (isGoingWell(*parser)) {
        if (value == 0 && static_cast<size_t>(parser->written) >= parser->touched && isHandedOnSilently()) {
            // It is there already.
            parser->cursor += sizeof value;
            parser->written += static_cast<int64_t>(sizeof value);
        } else {
            addInteger(&parser->cursor, value);
            noteWritten(parser, sizeof value);
        }
    }
}

void putChars(ReplyParser* parser, const uint8_t* text, int32_t count) {
    if (isIntact(*parser)) {
        reserve(parser, count);
    }
    if (isGoingWell(*parser)) {
        addChars(&parser->cursor, reinterpret_cast<const char*>(text), count);
        noteWritten(parser, count);
    }
}

// The number of responses, which is only there when the flag before it says so.
uint32_t readResponseCount(ReplyParser* parser) {
    return readU8OrZero(&parser->reader) == kMultiResponse ? readU32(&parser->reader) : 1;
}

// The head of a result set needs no room test: every buffer is large enough for it.
void startResultSet(ReplyParser* parser, const char* eyecatcher, uint32_t responses, const TouchedBytes* touched) {
    if (touched != nullptr && touched->terminator >= touched->first) {
        std::memset(*parser->buffer + touched->terminator, 0, sizeof kTerminator);
    }
    parser->cursor = *parser->buffer;
    addTerminator(parser->cursor);
    addPlatformChars(&parser->cursor, eyecatcher, kEyecatcherLength);
    addInteger(&parser->cursor, responses);
    noteWritten(parser, kEyecatcherLength + sizeof responses);
}

// The terminator always fits: every buffer is larger than its capacity. After a failed growth there is no buffer.
void finishResultSet(ReplyParser* parser, TouchedBytes* touched) {
    if (*parser->buffer != nullptr) {
        addTerminator(parser->cursor);
    }
    if (touched != nullptr) {
        const auto end = static_cast<size_t>(parser->written);
        // A terminator that begins among the touched bytes may reach beyond them.
        const size_t reached = end < parser->touched ? end + sizeof kTerminator : 0;
        *touched = {std::max(parser->touched, reached), end};
    }
}

int32_t parserResult(const ReplyParser& parser) {
    const int32_t intactRc = isIntact(parser) ? STAPI_RC_OK : STAPI_RC_BAD_EYECATCHER;
    return parser.growthRc == STAPI_RC_OK ? intactRc : parser.growthRc;
}

// Descriptions and the head of the block, up to the query id.
void skipResponseHead(WireReader* reader) {
    skipBytes(reader, kStreamAndObjectStart);
    skipText(reader);
    skipBytes(reader, kClassRest);
    skipText(reader);
    skipBytes(reader, kClassRest);
    const bool isShort = readU8OrZero(reader) == kTagShortBlock;
    skipBytes(reader, isShort ? kShortBlockLengthBytes : kLongBlockLengthBytes);
}

// Hands on a 16-bit length and its text.
void passText(ReplyParser* parser) {
    const uint16_t length = readU16(&parser->reader);
    putInteger(parser, length);
    const uint8_t* const text = readBytes(&parser->reader, length);
    putChars(parser, text, length);
}

// Hands on the query id and its return code, which is the result.
int32_t passQueryElement(ReplyParser* parser) {
    passText(parser);
    const int32_t queryRc = readI32(&parser->reader);
    putInteger(parser, static_cast<uint32_t>(queryRc));
    return queryRc;
}

// A reader over what has arrived. Zeros that are merely announced are left to those who need not write them.
WireReader arrivedPart(const ReplyParser& parser) {
    WireReader reader = parser.reader;
    reader.size = std::min(reader.size, parser.arrived);
    return reader;
}

// Hands on texts for as long as they are whole and there is room for them; as passWholeStatistics.
uint32_t passWholeTexts(ReplyParser* parser, uint32_t most) {
    WireReader reader = arrivedPart(*parser);
    char* cursor = parser->cursor;
    int64_t room = *parser->capacity - parser->written;
    uint32_t passed = 0;
    bool isWhole = true;
    while (isWhole && passed < most) {
        WireReader ahead = reader;
        const int32_t length = readU16(&ahead);
        const uint8_t* const text = readBytes(&ahead, static_cast<size_t>(length));
        isWhole = !ahead.overrun && lengthTextSize(length) <= room;
        if (isWhole) {
            cursor = writeLengthAndText(cursor, text, length);
            room -= lengthTextSize(length);
            reader = ahead;
            ++passed;
        }
    }
    parser->cursor = cursor;
    noteWritten(parser, *parser->capacity - room - parser->written);
    parser->reader.position = reader.position;
    return passed;
}

// Hands on entries of which nothing arrived, at most that many: each takes so many bytes of the reply, all zero, and
// becomes so many empty texts. Their number. A reply that was cut off may announce a thousand million of them.
uint32_t passMissingEntries(ReplyParser* parser, uint32_t most, size_t entrySize, size_t texts) {
    uint32_t passed = 0;
    if (isGoingWell(*parser) && parser->reader.position >= parser->arrived) {
        passed = static_cast<uint32_t>(std::min<size_t>(most, bytesLeft(parser->reader) / entrySize));
        const auto size = static_cast<int64_t>(passed * texts * sizeof(uint32_t));
        reserve(parser, size);
        if (parser->growthRc == STAPI_RC_OK) {
            const auto from = static_cast<size_t>(parser->written);
            const size_t behind = from + static_cast<size_t>(size);
            if (parser->touched > from) {
                std::memset(parser->cursor, 0, std::min(parser->touched, behind) - from);
            }
            parser->cursor += size;
            parser->written += size;
        }
        skipBytes(&parser->reader, passed * entrySize);
    }
    return passed;
}

void passIds(ReplyParser* parser, uint32_t responseIndex) {
    const uint32_t count = readU32(&parser->reader);
    TRACE_DEBUG(2227, "stapi_zul_statcomms.parseIdsData reading %d IDs for result %d\n", static_cast<int32_t>(count),
                static_cast<int32_t>(responseIndex));
    putInteger(parser, count);
    const bool isSilent = isHandedOnSilently();
    for (uint32_t index = 0; index < count && isIntact(*parser); ++index) {
        index += isSilent && isGoingWell(*parser) ? passWholeTexts(parser, count - index) : 0;
        index += isSilent ? passMissingEntries(parser, count - index, sizeof(uint16_t), 1) : 0;
        if (index < count) {
            passText(parser);
        }
    }
}

void passIdResponse(ReplyParser* parser, uint32_t responseIndex) {
    skipResponseHead(&parser->reader);
    const int32_t queryRc = passQueryElement(parser);
    TRACE_DEBUG(2226, "stapi_zul_statcomms.parseIdsData Query rc=%d or (hex=%8.8X)\n", queryRc,
                static_cast<uint32_t>(queryRc));
    if (queryRc < 0) {
        TRACE_DEBUG(2228, "stapi_zul_statcomms.parseIdsData Bad query id element(%d), move on to next one\n",
                    static_cast<int32_t>(responseIndex));
    } else {
        passIds(parser, responseIndex);
    }
    skipBytes(&parser->reader, kEndOfObject);
}

// Length of a long block: only the low 16 bits of its four bytes count.
int16_t readLongBlockLength(WireReader* reader) {
    skipBytes(reader, kLongBlockHighLength);
    return readI16(reader);
}

// Copies count bytes of an id or a value; a negative count makes no sense.
void passBytes(ReplyParser* parser, int32_t count) {
    if (count < 0) {
        parser->malformed = true;
    }
    if (isIntact(*parser)) {
        const uint8_t* const bytes = readBytes(&parser->reader, static_cast<size_t>(count));
        putChars(parser, bytes, count);
    }
}

// The tag of the next block, which is left in place. Behind the end it reads as zero, and that is a failure only while
// bytes of a value are still missing.
uint8_t peekTag(ReplyParser* parser, int32_t remaining) {
    WireReader ahead = parser->reader;
    const uint8_t tag = readU8(&ahead);
    parser->reader.overrun = parser->reader.overrun || (ahead.overrun && remaining >= 1);
    return tag;
}

// The blocks behind the first one of a split value. Once short blocks begin, every block is taken as short.
void passContinuation(ReplyParser* parser, int32_t remaining) {
    uint8_t tag = peekTag(parser, remaining);
    while (isGoingWell(*parser) && tag == kTagLongBlock && remaining >= 1) {
        skipBytes(&parser->reader, sizeof tag);
        const int32_t count = readLongBlockLength(&parser->reader);
        remaining -= count;
        passBytes(parser, count);
        TRACE_DEBUG(2235, "stapi_zul_statcomms.parseStatsData written %d bytes. Remaining data = %d bytes \n", count,
                    remaining);
        tag = peekTag(parser, remaining);
        TRACE_DEBUG(2236, "stapi_zul_statcomms.parseStatsData block type=%2.8X \n", tag);
    }
    while (isGoingWell(*parser) && tag == kTagShortBlock && remaining >= 1) {
        skipBytes(&parser->reader, sizeof tag);
        const int32_t count = readU8(&parser->reader);
        remaining -= count;
        passBytes(parser, count);
        TRACE_DEBUG(2237, "stapi_zul_statcomms.parseStatsData written %d bytes. Remaining data = %d bytes \n", count,
                    remaining);
    }
}

// A value of which the first block holds only a part.
void passSplitValue(ReplyParser* parser, int32_t dataLength, int32_t firstPart) {
    const int32_t remaining = dataLength - firstPart;
    putInteger(parser, static_cast<uint32_t>(dataLength));
    passBytes(parser, firstPart);
    TRACE_DEBUG(2234, "stapi_zul_statcomms.parseStatsData written %d of %d bytes. Remaining data = %d bytes \n",
                firstPart, dataLength, remaining);
    passContinuation(parser, remaining);
}

void passWholeValue(ReplyParser* parser, int32_t dataLength) {
    putInteger(parser, static_cast<uint32_t>(dataLength));
    passBytes(parser, dataLength);
}

void passValue(ReplyParser* parser, bool isLongBlock, int32_t roomInBlock) {
    const int32_t dataLength = readI16(&parser->reader);
    if (dataLength < 0) {
        parser->malformed = true;
    }
    if (!isLongBlock) {
        TRACE_DEBUG(2239, "stapi_zul_statcomms.parseStatsData statistic data length=%d \n", dataLength);
        passWholeValue(parser, dataLength);
    } else if (dataLength <= roomInBlock) {
        passWholeValue(parser, dataLength);
        TRACE_DEBUG(2238, "stapi_zul_statcomms.parseStatsData written %d bytes.  \n", dataLength);
    } else {
        passSplitValue(parser, dataLength, roomInBlock);
    }
    skipBytes(&parser->reader, kStatisticEnd);
}

// A statistic that stands in one block, and all of it is there.
struct WholeStatistic {
    int32_t idLength;
    const uint8_t* id;
    int32_t dataLength;
    const uint8_t* data;
};

// False when it is not of that kind; the reader then stands anywhere.
bool readWholeStatistic(WireReader* reader, WholeStatistic* found) {
    WireReader head = readPart(reader, kClassEnd + sizeof(uint8_t));
    skipBytes(&head, kClassEnd);
    int32_t roomInBlock = INT32_MAX;
    if (readU8(&head) == kTagLongBlock) {
        WireReader lengths = readPart(reader, kLongBlockLengthBytes + sizeof(int16_t));
        roomInBlock = readLongBlockLength(&lengths);
        found->idLength = readI16(&lengths);
    } else {
        WireReader lengths = readPart(reader, kShortBlockLengthBytes + sizeof(int16_t));
        skipBytes(&lengths, kShortBlockLengthBytes);
        found->idLength = readI16(&lengths);
    }
    // A negative length is a size beyond any end.
    found->id = readBytes(reader, static_cast<size_t>(found->idLength));
    found->dataLength = readI16(reader);
    found->data = readBytes(reader, static_cast<size_t>(found->dataLength));
    skipBytes(reader, kStatisticEnd);
    return !reader->overrun && found->dataLength <= roomInBlock - found->idLength - kStatisticLengthFields;
}

// Hands on statistics for as long as they are whole and there is room for them, at most that many; their number. What
// it works on stands in registers meanwhile, because a reply may hold many thousands.
uint32_t passWholeStatistics(ReplyParser* parser, uint32_t most) {
    WireReader reader = arrivedPart(*parser);
    char* cursor = parser->cursor;
    int64_t room = *parser->capacity - parser->written;
    uint32_t passed = 0;
    bool isWhole = true;
    while (isWhole && passed < most) {
        WireReader ahead = reader;
        WholeStatistic found;
        isWhole = readWholeStatistic(&ahead, &found);
        const int64_t size = isWhole ? lengthTextSize(found.idLength) + lengthTextSize(found.dataLength) : 0;
        isWhole = isWhole && size <= room;
        if (isWhole) {
            cursor = writeLengthAndText(cursor, found.id, found.idLength);
            cursor = writeLengthAndText(cursor, found.data, found.dataLength);
            room -= size;
            reader = ahead;
            ++passed;
        }
    }
    parser->cursor = cursor;
    noteWritten(parser, *parser->capacity - room - parser->written);
    parser->reader.position = reader.position;
    return passed;
}

void passStatistic(ReplyParser* parser) {
    WireReader* const reader = &parser->reader;
    skipBytes(reader, kClassEnd);
    const uint8_t tag = readU8OrZero(reader);
    TRACE_DEBUG(2231, "stapi_zul_statcomms.parseStatsData block type=%2.8X \n", tag);
    int32_t chunkLength = 0;
    if (tag == kTagLongBlock) {
        chunkLength = readLongBlockLength(reader);
        TRACE_DEBUG(2232, "stapi_zul_statcomms.parseStatsData chunklength=%d \n", chunkLength);
    } else {
        skipBytes(reader, kShortBlockLengthBytes);
    }
    const int32_t idLength = readI16(reader);
    TRACE_DEBUG(2233, "stapi_zul_statcomms.parseStatsData statistic ID length=%d \n", idLength);
    if (idLength < 0) {
        parser->malformed = true;
    }
    putInteger(parser, static_cast<uint32_t>(idLength));
    passBytes(parser, idLength);
    if (isIntact(*parser)) {
        passValue(parser, tag == kTagLongBlock, chunkLength - idLength - kStatisticLengthFields);
    }
}

void passStatistics(ReplyParser* parser, uint32_t responseIndex) {
    const uint32_t count = readU32(&parser->reader);
    TRACE_DEBUG(2222, "stapi_zul_statcomms.parseStatsData reading %d stats for result %d\n",
                static_cast<int32_t>(count), static_cast<int32_t>(responseIndex));
    putInteger(parser, count);
    skipBytes(&parser->reader, kStatisticObjectStart);
    skipText(&parser->reader);
    skipBytes(&parser->reader, kSerialVersion);
    const bool isSilent = isHandedOnSilently();
    for (uint32_t index = 0; index < count && isGoingWell(*parser); ++index) {
        index += isSilent ? passWholeStatistics(parser, count - index) : 0;
        index += isSilent ? passMissingEntries(parser, count - index, kMissingStatistic, 2) : 0;
        if (index < count) {
            passStatistic(parser);
        }
    }
    TRACE_DEBUG(2240, "stapi_zul_statcomms.parseStatsData running total of parsed data = %d bytes \n",
                static_cast<int32_t>(parser->written));
}

void passStatsResponse(ReplyParser* parser, uint32_t responseIndex) {
    skipResponseHead(&parser->reader);
    const int32_t queryRc = passQueryElement(parser);
    if (queryRc < 0) {
        skipBytes(&parser->reader, kEndOfObject);
    } else {
        passStatistics(parser, responseIndex);
    }
}

}  // namespace

int32_t parseArrivedIds(const uint8_t* rawData, char** resultSetBuffer, int32_t* resultSetBufferLen, size_t rawDataSize,
                        const KnownZeros& known) {
    TRACE_ENTRY(2224, "stapi_zul_statcomms.parseIdsData(rawData=%p, *resultSetBuffer=%p, *resultSetBufferLen=%d)\n",
                at(rawData), at(*resultSetBuffer), *resultSetBufferLen);
    ReplyParser parser = makeReplyParser(rawData, rawDataSize, resultSetBuffer, resultSetBufferLen, known);
    const uint32_t responses = readResponseCount(&parser);
    TRACE_DEBUG(2225, "stapi_zul_statcomms.parseIdsData received %d responses from the Gateway\n",
                static_cast<int32_t>(responses));
    startResultSet(&parser, kIdSetEyecatcher, responses, known.touched);
    // A failed growth does not end the reading: nothing more is written, but every response is still traced.
    for (uint32_t index = 0; index < responses && isIntact(parser); ++index) {
        passIdResponse(&parser, index);
    }
    finishResultSet(&parser, known.touched);
    const int32_t rc = parserResult(parser);
    TRACE_EXIT(2229,
               "stapi_zul_statcomms.parseIdsData(rawData=%p, *resultSetBuffer=%p, *resultSetBufferLen=%d) rc=%d\n",
               at(rawData), at(*resultSetBuffer), *resultSetBufferLen, rc);
    return rc;
}

int32_t parseArrivedStats(const uint8_t* rawData, char** resultSetBuffer, int32_t* resultSetBufferLen,
                          size_t rawDataSize, const KnownZeros& known) {
    TRACE_ENTRY(2220, "stapi_zul_statcomms.parseStatsData(rawData=%p, *resultSetBuffer=%p, *resultSetBufferLen=%d)\n",
                at(rawData), at(*resultSetBuffer), *resultSetBufferLen);
    ReplyParser parser = makeReplyParser(rawData, rawDataSize, resultSetBuffer, resultSetBufferLen, known);
    const uint32_t responses = readResponseCount(&parser);
    TRACE_DEBUG(2221, "stapi_zul_statcomms.parseStatsData received %d responses from the Gateway\n",
                static_cast<int32_t>(responses));
    startResultSet(&parser, kStatSetEyecatcher, responses, known.touched);
    for (uint32_t index = 0; index < responses && isGoingWell(parser); ++index) {
        passStatsResponse(&parser, index);
    }
    // This growth's code counts, whatever came before: after a failed growth it makes a new, empty buffer.
    if (isIntact(parser) && *resultSetBufferLen < parser.written + static_cast<int64_t>(sizeof kTerminator)) {
        grow(&parser);
    }
    finishResultSet(&parser, known.touched);
    TRACE_DEBUG(2241, "stapi_zul_statcomms.parseStatsData parsed data total = %d bytes \n",
                static_cast<int32_t>(parser.written));
    const int32_t rc = parserResult(parser);
    TRACE_EXIT(2223,
               "stapi_zul_statcomms.parseStatsData(rawData=%p, *resultSetBuffer=%p, *resultSetBufferLen=%d) rc=%d\n",
               at(rawData), at(*resultSetBuffer), *resultSetBufferLen, rc);
    return rc;
}

int32_t reallocResultsSetBuffer(char** resultSetBuffer, int32_t* resultSetBufferLen, char** buffer,
                                int32_t totaldatawritten, size_t content) {
    int32_t rc = STAPI_RC_OK;
    TRACE_ENTRY(
        2244,
        "stapi_zul_statcomms.reallocResultsSetBuffer(*resultSetBuffer=%p, *resultSetBufferLen=%d, *buffer=%p, totaldatawritten=%d)\n",
        at(*resultSetBuffer), *resultSetBufferLen, at(*buffer), totaldatawritten);
    const int32_t capacity = *resultSetBufferLen;
    char* grown = nullptr;
    if (capacity > 0 && capacity <= INT32_MAX / 2) {
        grown = static_cast<char*>(enlargeMemory(*resultSetBuffer, std::min(content, resultSetAllocation(capacity)),
                                                 resultSetAllocation(capacity * 2)));
    }
    if (grown == nullptr) {
        releaseMemory(*resultSetBuffer);
        *resultSetBuffer = nullptr;
        rc = STAPI_RC_NO_MEMORY;
    } else {
        *resultSetBuffer = grown;
        *resultSetBufferLen = capacity * 2;
        *buffer = grown + totaldatawritten;
    }
    TRACE_EXIT(
        2245,
        "stapi_zul_statcomms.reallocResultsSetBuffer(*resultSetBuffer=%p, *resultSetBufferLen=%d, *buffer=%p) rc=%d)\n",
        at(*resultSetBuffer), *resultSetBufferLen, at(*buffer), rc);
    return rc;
}

}  // namespace stapi
