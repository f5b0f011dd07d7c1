#include "limit.h"

#include <stdlib.h>
#include <string.h>

#include "thread_identity.h"

#define INITIAL_CAPACITY 32768U
#define TERMINATOR 0x0E0F0E0FU
#define EYECATCHER_LENGTH 8U
/* Behind the capacity: room for the terminator, and for a short text that is copied whole vectors at a time. */
#define SLACK 64U
#define SHORT_TEXT 32U

static uint32_t wordAt(const void* place) {
    uint32_t word;
    memcpy(&word, place, sizeof word);
    return word;
}

static uint32_t bigEndian16(const uint8_t* bytes) {
    return (uint32_t)bytes[0] << 8 | bytes[1];
}

static uint32_t bigEndian32(const uint8_t* bytes) {
    return bigEndian16(bytes) << 16 | bigEndian16(bytes + 2);
}

int32_t limitCreate(LimitSet* set) {
    memset(set, 0, sizeof *set);
    set->capacity = INITIAL_CAPACITY;
    set->buffer = calloc(1, set->capacity + SLACK);
    set->owningPid = currentProcess();
    set->owningTid = currentThread();
    return set->buffer == NULL ? STAPI_RC_NO_MEMORY : STAPI_RC_OK;
}

void limitRelease(LimitSet* set) {
    free(set->buffer);
    memset(set, 0, sizeof *set);
}

/* ---- Parsing: what is left of the payload lies from in to end, what is written ends at out. ---- */

typedef struct Parser {
    const uint8_t* in;
    const uint8_t* end;
    char* out;
    char* outEnd;
    LimitSet* set;
    int32_t rc;
} Parser;

static int has(const Parser* parser, size_t count) {
    return (size_t)(parser->end - parser->in) >= count;
}

static int32_t fail(Parser* parser, int32_t rc) {
    parser->rc = rc;
    return 0;
}

__attribute__((noinline)) static int grow(Parser* parser, size_t count) {
    LimitSet* const set = parser->set;
    const size_t written = (size_t)(parser->out - set->buffer);
    size_t capacity = set->capacity;
    while (capacity < written + count) {
        capacity *= 2;
    }
    char* const grown = calloc(1, capacity + SLACK);
    if (grown == NULL) {
        return fail(parser, STAPI_RC_NO_MEMORY);
    }
    memcpy(grown, set->buffer, written);
    free(set->buffer);
    set->buffer = grown;
    set->capacity = capacity;
    parser->out = grown + written;
    parser->outEnd = grown + capacity;
    return 1;
}

static inline int reserve(Parser* parser, size_t count) {
    return (size_t)(parser->outEnd - parser->out) >= count || grow(parser, count);
}

static inline void putWord(Parser* parser, uint32_t word) {
    memcpy(parser->out, &word, sizeof word);
    parser->out += sizeof word;
}

/* Bytes that are there, and for which there is room. */
static inline void passBytes(Parser* parser, size_t count) {
    if (count <= SHORT_TEXT && has(parser, SHORT_TEXT)) {
        memcpy(parser->out, parser->in, SHORT_TEXT);
    } else {
        memcpy(parser->out, parser->in, count);
    }
    parser->in += count;
    parser->out += count;
}

static int skip(Parser* parser, size_t count) {
    if (!has(parser, count)) {
        return fail(parser, STAPI_RC_BAD_EYECATCHER);
    }
    parser->in += count;
    return 1;
}

static int skipText(Parser* parser) {
    return has(parser, 2) ? skip(parser, 2 + bigEndian16(parser->in)) : fail(parser, STAPI_RC_BAD_EYECATCHER);
}

static int passText(Parser* parser) {
    if (!has(parser, 2)) {
        return fail(parser, STAPI_RC_BAD_EYECATCHER);
    }
    const uint32_t length = bigEndian16(parser->in);
    if (!has(parser, 2 + (size_t)length)) {
        return fail(parser, STAPI_RC_BAD_EYECATCHER);
    }
    parser->in += 2;
    if (!reserve(parser, 4 + (size_t)length)) {
        return 0;
    }
    putWord(parser, length);
    passBytes(parser, length);
    return 1;
}

static int passWord(Parser* parser, uint32_t* word) {
    if (!has(parser, 4)) {
        return fail(parser, STAPI_RC_BAD_EYECATCHER);
    }
    *word = bigEndian32(parser->in);
    parser->in += 4;
    if (!reserve(parser, 4)) {
        return 0;
    }
    putWord(parser, *word);
    return 1;
}

static int skipResponseHead(Parser* parser) {
    if (!skip(parser, 6) || !skipText(parser) || !skip(parser, 13) || !skipText(parser) || !skip(parser, 13) ||
        !has(parser, 1)) {
        return fail(parser, STAPI_RC_BAD_EYECATCHER);
    }
    return skip(parser, *parser->in == 0x77 ? 2 : 5);
}

/* The blocks of a value behind its first one. */
static int passFurtherBlocks(Parser* parser, size_t missing) {
    while (missing > 0) {
        if (!has(parser, 5)) {
            return fail(parser, STAPI_RC_BAD_EYECATCHER);
        }
        const int isLong = *parser->in == 0x7A;
        const size_t length = isLong ? bigEndian16(parser->in + 3) : parser->in[1];
        parser->in += isLong ? 5 : 2;
        if (length == 0 || length > missing || !has(parser, length) || !reserve(parser, length)) {
            return parser->rc != 0 ? 0 : fail(parser, STAPI_RC_BAD_EYECATCHER);
        }
        passBytes(parser, length);
        missing -= length;
    }
    return 1;
}

static inline int passStatistic(Parser* parser) {
    /* 5 bytes of description, the block's tag and at least one length byte, the length of the id. */
    if (!has(parser, 12)) {
        return fail(parser, STAPI_RC_BAD_EYECATCHER);
    }
    const int isLong = parser->in[5] == 0x7A;
    size_t room = SIZE_MAX;
    if (isLong) {
        room = bigEndian16(parser->in + 8);
        parser->in += 10;
    } else {
        parser->in += 7;
    }
    const size_t idLength = bigEndian16(parser->in);
    if (idLength > INT16_MAX || !has(parser, 4 + idLength)) {
        return fail(parser, STAPI_RC_BAD_EYECATCHER);
    }
    const size_t valueLength = bigEndian16(parser->in + 2 + idLength);
    size_t firstPart = valueLength;
    if (isLong && idLength + valueLength + 4 > room) {
        firstPart = room - idLength - 4;
    }
    if (valueLength > INT16_MAX || firstPart > valueLength || !has(parser, 6 + idLength + firstPart)) {
        return fail(parser, STAPI_RC_BAD_EYECATCHER);
    }
    if (!reserve(parser, 8 + idLength + valueLength)) {
        return 0;
    }
    putWord(parser, (uint32_t)idLength);
    parser->in += 2;
    passBytes(parser, idLength);
    putWord(parser, (uint32_t)valueLength);
    parser->in += 2;
    passBytes(parser, firstPart);
    if (firstPart < valueLength && !passFurtherBlocks(parser, valueLength - firstPart)) {
        return 0;
    }
    return skip(parser, 2);
}

static int passStatistics(Parser* shared, uint32_t count) {
    Parser parser = *shared; /* where the compiler can keep it in registers */
    int good = skip(&parser, 2) && skipText(&parser) && skip(&parser, 8);
    for (uint32_t index = 0; good && index < count; ++index) {
        good = passStatistic(&parser);
    }
    *shared = parser;
    return good;
}

static int passIds(Parser* shared, uint32_t count) {
    Parser parser = *shared;
    int good = 1;
    for (uint32_t index = 0; good && index < count; ++index) {
        good = passText(&parser);
    }
    *shared = parser;
    return good && skip(shared, 1);
}

static int passResponse(Parser* parser, LimitContent content) {
    uint32_t rc = 0;
    uint32_t count = 0;
    if (!skipResponseHead(parser) || !passText(parser) || !passWord(parser, &rc)) {
        return 0;
    }
    if ((int32_t)rc < 0) {
        return skip(parser, 1);
    }
    if (!passWord(parser, &count)) {
        return 0;
    }
    return content == LIMIT_STATS ? passStatistics(parser, count) : passIds(parser, count);
}

static int32_t parse(const uint8_t* payload, size_t payloadSize, LimitSet* set, LimitContent content) {
    Parser parser = {payload, payload + payloadSize, set->buffer, set->buffer + set->capacity, set, STAPI_RC_OK};
    uint32_t responses = 1;
    if (!has(&parser, 5)) {
        return STAPI_RC_BAD_EYECATCHER;
    }
    const int isMany = *parser.in == 1;
    ++parser.in;
    if (isMany) {
        responses = bigEndian32(parser.in);
        parser.in += 4;
    }
    memcpy(parser.out, content == LIMIT_STATS ? "ZULSTSET" : "ZULIDSET", EYECATCHER_LENGTH);
    parser.out += EYECATCHER_LENGTH;
    putWord(&parser, responses);
    for (uint32_t index = 0; index < responses && passResponse(&parser, content); ++index) {
    }
    putWord(&parser, TERMINATOR);
    set->size = (size_t)(parser.out - set->buffer);
    set->cursor = set->buffer;
    set->entriesLeft = 0;
    set->content = content;
    return parser.rc;
}

int32_t limitParseStats(const uint8_t* payload, size_t payloadSize, LimitSet* set) {
    return parse(payload, payloadSize, set, LIMIT_STATS);
}

int32_t limitParseIds(const uint8_t* payload, size_t payloadSize, LimitSet* set) {
    return parse(payload, payloadSize, set, LIMIT_IDS);
}

/* ---- Walking ---- */

static const char* endOf(const LimitSet* set) {
    return set->buffer + set->capacity + sizeof(uint32_t);
}

/* The code of a caller that may not walk this set. */
static inline int32_t checkCaller(const LimitSet* set, LimitContent content) {
    if (set->content != content) {
        return STAPI_RC_WRONG_CONTENT;
    }
    if (set->owningPid != currentProcess()) {
        return STAPI_RC_WRONG_PROCESS;
    }
    return set->owningTid != currentThread() ? STAPI_RC_WRONG_THREAD : STAPI_RC_OK;
}

/* A length and its text at a cursor; null when the buffer ends before. */
static inline const char* readText(const char* cursor, const char* end, uint32_t* length, const char** text) {
    if ((size_t)(end - cursor) < sizeof *length) {
        return NULL;
    }
    *length = wordAt(cursor);
    *text = cursor + sizeof *length;
    return (size_t)(end - *text) < *length ? NULL : *text + *length;
}

/* The header of the query element at the cursor. */
__attribute__((noinline)) static int32_t enterElement(LimitSet* set) {
    const char* const end = endOf(set);
    const char* const behind = readText(set->cursor, end, &set->queryElementLen, &set->queryElementPtr);
    if (behind == NULL || end - behind < 8) {
        return STAPI_RC_END_OF_DATA;
    }
    set->queryElementRC = (int32_t)wordAt(behind);
    set->cursor = behind + 4;
    if (set->queryElementRC >= 0) {
        set->entriesLeft = wordAt(behind + 4);
        set->cursor = behind + 8;
    }
    return STAPI_RC_OK;
}

static inline int isAtEnd(const LimitSet* set) {
    return (size_t)(endOf(set) - set->cursor) < sizeof(uint32_t) || wordAt(set->cursor) == TERMINATOR;
}

static inline int32_t nextStat(LimitSet* set, StatData* record) {
    if (isAtEnd(set)) {
        return STAPI_RC_END_OF_DATA;
    }
    if (set->entriesLeft == 0 && enterElement(set) != STAPI_RC_OK) {
        return STAPI_RC_END_OF_DATA;
    }
    if (set->queryElementRC >= 0) {
        uint32_t idLength;
        uint32_t valueLength;
        const char* id;
        const char* value;
        const char* const end = endOf(set);
        const char* behind = readText(set->cursor, end, &idLength, &id);
        behind = behind == NULL ? NULL : readText(behind, end, &valueLength, &value);
        if (behind == NULL) {
            return STAPI_RC_END_OF_DATA;
        }
        record->statIdLen = idLength;
        record->statIdPtr = id;
        record->statValueLen = valueLength;
        record->statValuePtr = value;
        set->cursor = behind;
        --set->entriesLeft;
    }
    record->queryElementPtr = set->queryElementPtr;
    record->queryElementLen = set->queryElementLen;
    record->queryElementRC = set->queryElementRC;
    return STAPI_RC_OK;
}

static inline int32_t nextId(LimitSet* set, IdData* record) {
    if (isAtEnd(set)) {
        return STAPI_RC_END_OF_DATA;
    }
    if (set->entriesLeft == 0 && enterElement(set) != STAPI_RC_OK) {
        return STAPI_RC_END_OF_DATA;
    }
    if (set->queryElementRC >= 0) {
        uint32_t length;
        const char* id;
        const char* const behind = readText(set->cursor, endOf(set), &length, &id);
        if (behind == NULL) {
            return STAPI_RC_END_OF_DATA;
        }
        record->idLen = length;
        record->idPtr = id;
        set->cursor = behind;
        --set->entriesLeft;
    }
    record->queryElementPtr = set->queryElementPtr;
    record->queryElementLen = set->queryElementLen;
    record->queryElementRC = set->queryElementRC;
    return STAPI_RC_OK;
}

static void rewindSet(LimitSet* set) {
    set->cursor = set->buffer + EYECATCHER_LENGTH + sizeof(uint32_t);
    set->entriesLeft = 0;
}

int32_t limitGetFirstStat(LimitSet* set, StatData* record) {
    if (set == NULL) {
        return STAPI_RC_NULL_RESULT_SET;
    }
    if (record == NULL) {
        return STAPI_RC_NULL_STAT_DATA;
    }
    const int32_t rc = checkCaller(set, LIMIT_STATS);
    if (rc != STAPI_RC_OK) {
        return rc;
    }
    rewindSet(set);
    memcpy(record->eyecatcher, set->buffer, sizeof record->eyecatcher);
    return nextStat(set, record);
}

int32_t limitGetNextStat(LimitSet* set, StatData* record) {
    if (set == NULL) {
        return STAPI_RC_NULL_RESULT_SET;
    }
    if (record == NULL) {
        return STAPI_RC_NULL_STAT_DATA;
    }
    const int32_t rc = checkCaller(set, LIMIT_STATS);
    return rc != STAPI_RC_OK ? rc : nextStat(set, record);
}

int32_t limitGetFirstId(LimitSet* set, IdData* record) {
    if (set == NULL) {
        return STAPI_RC_NULL_RESULT_SET;
    }
    if (record == NULL) {
        return STAPI_RC_NULL_ID_DATA;
    }
    const int32_t rc = checkCaller(set, LIMIT_IDS);
    if (rc != STAPI_RC_OK) {
        return rc;
    }
    rewindSet(set);
    memcpy(record->eyecatcher, set->buffer, sizeof record->eyecatcher);
    return nextId(set, record);
}

int32_t limitGetNextId(LimitSet* set, IdData* record) {
    if (set == NULL) {
        return STAPI_RC_NULL_RESULT_SET;
    }
    if (record == NULL) {
        return STAPI_RC_NULL_ID_DATA;
    }
    const int32_t rc = checkCaller(set, LIMIT_IDS);
    return rc != STAPI_RC_OK ? rc : nextId(set, record);
}
