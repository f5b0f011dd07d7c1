#include "resultset/stapi_zul_resultsetbuffer.h"

#include <atomic>
#include <cstddef>
#include <cstring>

#include "api/zulstats64.h"
#include "diag/heap_blocks.h"
#include "diag/trace_point.h"
#include "platform/platform.h"
#include "resultset/result_set_writer.h"

namespace stapi {

namespace {

bool isCursor(char* const* bufWPtr) {
    return bufWPtr != nullptr && *bufWPtr != nullptr;
}

size_t charsToWrite(const char* textPtr, int32_t charCount) {
    return textPtr == nullptr || charCount < 0 ? 0 : static_cast<size_t>(charCount);
}

void fillNewToken(ResultSetToken* token, const char* eyecatcher, uint32_t owner) {
    std::memcpy(token->eyecatcher, eyecatcher, boundedLength(eyecatcher, sizeof token->eyecatcher));
    token->owner = owner;
    if (owner == OWNER_GATEWAY) {
        getPidTid(&token->owningPid, &token->owningTid);
    }
}

void releaseQueryString(ResultSetToken* token) {
    if (token->verifiedQueryString != nullptr) {
        const void* const area = token->verifiedQueryString;
        TRACE_DEBUG(2134, "stapi_zul_resultsetbuffer.deleteResultSet Free result set verifiedQueryString(%p)\n", area);
        releaseMemory(token->verifiedQueryString);
        TRACE_DEBUG(2135, "stapi_zul_resultsetbuffer.deleteResultSet Freed result set token(%p)\n", area);
        token->verifiedQueryString = nullptr;
    }
}

void releaseIdList(ResultSetToken* token) {
    releaseMemory(token->asciiIdList);
    token->asciiIdList = nullptr;
}

void releaseToken(ResultSetToken** rsPtr) {
    const void* const token = *rsPtr;
    TRACE_DEBUG(2136, "stapi_zul_resultsetbuffer.deleteResultSet Free result set token(%p)\n", token);
    releaseMemory(*rsPtr);
    TRACE_DEBUG(2137, "stapi_zul_resultsetbuffer.deleteResultSet Freed result set token(%p)\n", token);
    *rsPtr = nullptr;
}

// What one of the two text writers writes to the trace.
struct TextWriterPoints {
    TracePoint<const void*, const void*, int32_t> entry;
    TracePoint<const void*, const void*, const void*, int32_t> copy;
    TracePoint<const void*> nullParameter;
    TracePoint<const void*, const void*, int32_t, int32_t> exit;
};

constexpr TextWriterPoints kAddCharsPoints = {
    .entry = {TraceWord::entry, 2111, "stapi_zul_resultsetbuffer.addChars(&bufWPtr=%p,textPtr=%p,charCount=%d)\n"},
    .copy = {TraceWord::debug, 2114,
             "stapi_zul_resultsetbuffer.addChars bufWPtr(%p) *bufWPtr(%p) textPtr(%p) charCount(%d)\n"},
    .nullParameter = {TraceWord::exception, 2112,
                      "stapi_zul_resultsetbuffer.addChars(&bufWPtr=%p) function received a null parameter\n"},
    .exit = {TraceWord::exit, 2115, "stapi_zul_resultsetbuffer.addChars(&bufWPtr=%p,textPtr=%p,charCount=%d) rc=%d\n"},
};

constexpr TextWriterPoints kAddPlatformCharsPoints = {
    .entry = {TraceWord::entry, 2116,
              "stapi_zul_resultsetbuffer.addPlatformChars(&bufWPtr=%p,textPtr=%p,charCount=%d)\n"},
    .copy = {TraceWord::debug, 2118,
             "stapi_zul_resultsetbuffer.addPlatformChars bufWPtr(%p) *bufWPtr(%p) textPtr(%p) charCount(%d)\n"},
    .nullParameter = {TraceWord::exception, 2117,
                      "stapi_zul_resultsetbuffer.addPlatformChars(&bufWPtr=%p) function received a null parameter\n"},
    .exit = {TraceWord::exit, 2119,
             "stapi_zul_resultsetbuffer.addPlatformChars(&bufWPtr=%p,textPtr=%p,charCount=%d) rc=%d\n"},
};

int32_t addText(const TextWriterPoints& points, char** bufWPtr, const char* textPtr, int32_t charCount) {
    int32_t rc = STAPI_RC_OK;
    TRACE_POINT(points.entry, at(bufWPtr), at(textPtr), charCount);
    if (isCursor(bufWPtr)) {
        TRACE_POINT(points.copy, at(bufWPtr), at(*bufWPtr), at(textPtr), charCount);
        writeAtCursor(bufWPtr, textPtr, charsToWrite(textPtr, charCount));
    } else {
        TRACE_POINT(points.nullParameter, at(bufWPtr));
        rc = STAPI_RC_NO_DATA;
    }
    TRACE_POINT(points.exit, at(bufWPtr), at(textPtr), charCount, rc);
    return rc;
}

}  // namespace

void keepContent(ResultSetToken* rsPtr) {
    const auto content = static_cast<int32_t>(contentOfBuffer(rsPtr->resultSetBuf));
    std::atomic_ref<int32_t>(rsPtr->keptContent).store(content, std::memory_order_relaxed);
}

int32_t createResultSet(ResultSetToken** newRsTokPtr, const char* eyecatcher, uint32_t owner) {
    // The trace tells the size of the record proper.
    constexpr auto kTokenSize = static_cast<int32_t>(offsetof(ResultSetToken, keptContent));
    static_assert(kTokenSize == 96);
    int32_t rc = STAPI_RC_OK;
    TRACE_ENTRY(2127, "stapi_zul_resultsetbuffer.createResultSet(&newRsTokPtr=%p,eyecatcher=%s,owner=%d)\n",
                at(newRsTokPtr), eyecatcher, owner);
    if (newRsTokPtr == nullptr || eyecatcher == nullptr) {
        rc = STAPI_RC_NO_DATA;
    } else if (owner != OWNER_GATEWAY && owner != OWNER_USER) {
        rc = STAPI_RC_BAD_OWNER;
    }
    MemoryHolder<ResultSetToken> token;
    if (rc == STAPI_RC_OK) {
        token.reset(static_cast<ResultSetToken*>(allocateMemory(sizeof(ResultSetToken))));
        TRACE_DEBUG(2128, "stapi_zul_resultsetbuffer.createResultSet Called malloc for %d bytes. rc=%p\n", kTokenSize,
                    at(token.get()));
        if (token == nullptr) {
            TRACE_EXC(2129, "stapi_zul_resultsetbuffer.createResultSet Failed to allocate %d bytes\n", kTokenSize);
            *newRsTokPtr = nullptr;
            rc = STAPI_RC_NO_MEMORY;
        }
    }
    if (rc == STAPI_RC_OK) {
        token->verifiedQueryString = static_cast<char*>(allocateMemory(kQueryStringArea));
        TRACE_DEBUG(2130, "stapi_zul_resultsetbuffer.createResultSet Called malloc for %d bytes. rc=%p\n",
                    kQueryStringArea, at(token->verifiedQueryString));
        if (token->verifiedQueryString == nullptr) {
            TRACE_EXC(2131, "stapi_zul_resultsetbuffer.createResultSet Failed to allocate %d bytes\n", kTokenSize);
            rc = STAPI_RC_NO_MEMORY;
        }
    }
    if (rc == STAPI_RC_OK) {
        fillNewToken(token.get(), eyecatcher, owner);
        *newRsTokPtr = token.release();
    }
    TRACE_EXIT(2132, "stapi_zul_resultsetbuffer.createResultSet(&newRsTokPtr=%p,eyecatcher=%s,owner=%d) rc=%d\n",
               at(newRsTokPtr), eyecatcher, owner, rc);
    return rc;
}

int32_t deleteResultSet(ResultSetToken** rsPtr) {
    int32_t rc = STAPI_RC_OK;
    TRACE_ENTRY(2133, "stapi_zul_resultsetbuffer.deleteResultSet(&rsPtr=%p)\n", at(rsPtr));
    if (rsPtr == nullptr) {
        rc = STAPI_RC_NULL_RESULT_SET_POINTER;
    } else if (*rsPtr == nullptr) {
        rc = STAPI_RC_NULL_RESULT_SET;
    }
    if (rc == STAPI_RC_OK) {
        releaseQueryString(*rsPtr);
        releaseIdList(*rsPtr);
        releaseToken(rsPtr);
    }
    TRACE_EXIT(2138, "stapi_zul_resultsetbuffer.deleteResultSet(&rsPtr=%p) rc=%d\n", at(rsPtr), rc);
    return rc;
}

int32_t verifyAPIResultSetToken(const ResultSetToken* rsPtr) {
    int32_t rc = STAPI_RC_OK;
    TRACE_ENTRY(2141, "stapi_zul_resultsetbuffer.verifyAPIResultSetToken(rsPtr=%p)\n", at(rsPtr));
    uint32_t pid = 0;
    uint32_t tid = 0;
    getPidTid(&pid, &tid);
    if (idsEqual(pid, rsPtr->owningPid) == 0) {
        rc = STAPI_RC_WRONG_PROCESS;
        TRACE_EXC(2142, "stapi_zul_resultsetbuffer.verifyAPIResultSetToken PID mismatch: currentPid=%x, owningPid=%x\n",
                  pid, rsPtr->owningPid);
    } else if (idsEqual(tid, rsPtr->owningTid) == 0) {
        rc = STAPI_RC_WRONG_THREAD;
        TRACE_EXC(2143, "stapi_zul_resultsetbuffer.verifyAPIResultSetToken TID mismatch: currentTid=%x, owningTid=%x\n",
                  tid, rsPtr->owningTid);
    }
    TRACE_EXIT(2144, "stapi_zul_resultsetbuffer.verifyAPIResultSetToken(rsPtr=%p) rc=%d\n", at(rsPtr), rc);
    return rc;
}

int32_t dumpResultSetInternal(const ResultSetToken* rsPtr) {
    int32_t rc = STAPI_RC_OK;
    int32_t bytesDumped = 0;
    TRACE_ENTRY(2139, "stapi_zul_resultsetbuffer.dumpResultSetInternal(rsPtr=%p)\n", at(rsPtr));
    if (rsPtr == nullptr) {
        rc = STAPI_RC_NO_DATA;
    } else {
        writeTraceDirect("Dump of ResultSet(%p) owner(%x) head(%p) next(%p)\n", at(rsPtr), rsPtr->owner,
                         at(rsPtr->resultSetBuf), at(loadDataCursor(rsPtr)));
        writeDashLine();
        bytesDumped = dumpResultSetBuffer(rsPtr->resultSetBuf, rsPtr->resultSetBufLen);
        writeDashLine();
    }
    TRACE_EXIT(2140, "stapi_zul_resultsetbuffer.dumpResultSetInternal(rsPtr=%p) bytes dumped=%d rc=%d\n", at(rsPtr),
               bytesDumped, rc);
    return rc;
}

int32_t dumpResultSetBuffer(const char* buffer, int32_t capacity) {
    const HexDumpArea area = {buffer, 0, kTerminator, buffer == nullptr ? 0 : resultSetAllocation(capacity)};
    return dumpTraceDirect(area);
}

int32_t addInteger(char** bufWPtr, uint32_t rsInt) {
    int32_t rc = STAPI_RC_OK;
    TRACE_ENTRY(2108, "stapi_zul_resultsetbuffer.addInteger(&bufWPtr=%p,rsInt=%d)\n", at(bufWPtr), rsInt);
    if (isCursor(bufWPtr)) {
        writeAtCursor(bufWPtr, &rsInt, sizeof rsInt);
    } else {
        TRACE_EXC(2109, "stapi_zul_resultsetbuffer.addInteger(&bufWPtr=%p) function received a null parameter\n",
                  at(bufWPtr));
        rc = STAPI_RC_NO_DATA;
    }
    TRACE_EXIT(2110, "stapi_zul_resultsetbuffer.addInteger(&bufWPtr=%p,rsInt=%d) rc=%d\n", at(bufWPtr), rsInt, rc);
    return rc;
}

int32_t addChars(char** bufWPtr, const char* textPtr, int32_t charCount) {
    return addText(kAddCharsPoints, bufWPtr, textPtr, charCount);
}

int32_t addPlatformChars(char** bufWPtr, const char* textPtr, int32_t charCount) {
    return addText(kAddPlatformCharsPoints, bufWPtr, textPtr, charCount);
}

int32_t addIdStr(char** bufWPtr, const char* idString) {
    int32_t rc = STAPI_RC_OK;
    TRACE_ENTRY(2100, "stapi_zul_resultsetbuffer.addIdStr(&bufWPtr=%p,idString=%p)\n", at(bufWPtr), at(idString));
    if (isCursor(bufWPtr) && idString != nullptr) {
        const auto length = static_cast<uint32_t>(std::strlen(idString));
        TRACE_DEBUG(2102,
                    "stapi_zul_resultsetbuffer.addIdStr bufWPtr(%p) *bufWPtr(%p) source string(%s) string lentgh(%d)\n",
                    at(bufWPtr), at(*bufWPtr), idString, length);
        writeAtCursor(bufWPtr, &length, sizeof length);
        TRACE_DEBUG(2103, "stapi_zul_resultsetbuffer.addIdStr wrote length(%d)\n", length);
        const void* const textStart = *bufWPtr;
        writeAtCursor(bufWPtr, idString, length);
        TRACE_DEBUG(2104, "stapi_zul_resultsetbuffer.addIdStr copied text to (%p)\n", textStart);
        **bufWPtr = '\0';
        TRACE_DEBUG(2105, "stapi_zul_resultsetbuffer.addIdStr stored NUL at (%p)\n", at(*bufWPtr));
        TRACE_DEBUG(2106, "stapi_zul_resultsetbuffer.addIdStr bufWPtr(%p) *bufWPtr(%p)\n", at(bufWPtr), at(*bufWPtr));
    } else {
        TRACE_EXC(2101,
                  "stapi_zul_resultsetbuffer.addIdStr(&bufWPtr=%p,idString=%p) function received a null parameter\n",
                  at(bufWPtr), at(idString));
        rc = STAPI_RC_NO_DATA;
    }
    TRACE_EXIT(2107, "stapi_zul_resultsetbuffer.addIdStr(&bufWPtr=%p,idString=%p) rc=%d\n", at(bufWPtr), at(idString),
               rc);
    return rc;
}

int32_t addTerminator(char* writeCursor) {
    int32_t rc = STAPI_RC_OK;
    TRACE_ENTRY(2120, "stapi_zul_resultsetbuffer.addTerminator(writeCursor=%p)\n", at(writeCursor));
    if (writeCursor == nullptr) {
        TRACE_EXC(2121, "stapi_zul_resultsetbuffer.addTerminator(writeCursor=%p) function received a null parameter\n",
                  at(writeCursor));
        rc = STAPI_RC_NO_DATA;
    } else {
        std::memcpy(writeCursor, &kTerminator, sizeof kTerminator);
    }
    TRACE_EXIT(2122, "stapi_zul_resultsetbuffer.addTerminator(writeCursor=%p) rc=%d\n", at(writeCursor), rc);
    return rc;
}

int32_t checkTerminator(const char* dataCursor, uint32_t* isRSTermPtr) {
    int32_t rc = STAPI_RC_OK;
    TRACE_ENTRY(2123, "stapi_zul_resultsetbuffer.checkTerminator(dataCursor=%p, isRSTermPtr=%p)\n", at(dataCursor),
                at(isRSTermPtr));
    if (dataCursor == nullptr || isRSTermPtr == nullptr) {
        TRACE_EXC(
            2124,
            "stapi_zul_resultsetbuffer.checkTerminator(dataCursor=%p, isRSTermPtr=%p) function received a null parameter\n",
            at(dataCursor), at(isRSTermPtr));
        rc = STAPI_RC_NO_DATA;
    } else {
        *isRSTermPtr = std::memcmp(dataCursor, &kTerminator, sizeof kTerminator) == 0 ? 1 : 0;
        TRACE_DEBUG(2125, "stapi_zul_resultsetbuffer.checkTerminator(dataCursor=%p, *isRSTermPtr=%d)\n", at(dataCursor),
                    *isRSTermPtr);
    }
    TRACE_EXIT(2126, "stapi_zul_resultsetbuffer.checkTerminator(dataCursor=%p, isRSTermPtr=%p) rc=%d\n", at(dataCursor),
               at(isRSTermPtr), rc);
    return rc;
}

}  // namespace stapi
