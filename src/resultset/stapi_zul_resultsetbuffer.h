// Result-set tokens, and the writers that lay down a result-set buffer.
//
// A result-set buffer is flat: content eyecatcher (8 bytes), number of query elements (4), the query element blocks,
// and the terminator word. Integers are 4 bytes in the host's order, texts carry no NUL, nothing is padded. A block is
// the query element's length and text, its return code and, when that is not negative, the number of entries and the
// entries. An entry is a length and an id, followed in a statistics set by a length and a value.
#ifndef ZULSTATS_RESULTSET_STAPI_ZUL_RESULTSETBUFFER_H
#define ZULSTATS_RESULTSET_STAPI_ZUL_RESULTSETBUFFER_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "platform/platform.h"

// A handle on the reply to one query: that of a connection, or the caller's copy.
struct ResultSetToken {
    char eyecatcher[8];         // "ZULRSROB" (connection) or "ZULRSUSR" (copy), no NUL
    uint32_t owner;             // OWNER_GATEWAY or OWNER_USER
    uint32_t rsState;           // 0; copied, but read by nobody
    char* asciiIdList;          // copy of the id list of the last list query, or null; owned
    char* verifiedQueryString;  // area of kQueryStringArea bytes for getIdQuery; owned
    char* resultSetBuf;         // the connection's buffer, or the copy's own
    int32_t resultSetBufLen;    // its capacity; kResultSetSlack more bytes are allocated
    char* dataCursor;           // where the walk goes on; other threads may read it while they dump
    uint32_t queryHeaderCount;
    uint32_t queryIndex;          // 1-based number of the query element being walked; 0: no walk has begun
    int32_t elementResultCount;   // entries of the current query element
    int32_t elementResultIndex;   // 1-based number of the next entry; 0: the next step reads a new block header
    uint32_t owningPid;           // connections only
    uint32_t owningTid;           // connections only
    const char* queryElementPtr;  // the current query element, handed out with each of its entries
    uint32_t queryElementLen;
    int32_t queryElementRC;
    // Behind the record proper: what the connection's last query left in the buffer, a stapi::ResultSetContent. Other
    // threads look here, because the owner's next query may be moving the buffer.
    int32_t keptContent;
};

namespace stapi {

constexpr uint32_t OWNER_GATEWAY = 0x8888;
constexpr uint32_t OWNER_USER = 0x9999;
constexpr const char* kConnectionEyecatcher = "ZULRSROB";
constexpr const char* kUserEyecatcher = "ZULRSUSR";

constexpr size_t kEyecatcherLength = 8;
constexpr const char* kIdSetEyecatcher = "ZULIDSET";
constexpr const char* kStatSetEyecatcher = "ZULSTSET";

constexpr uint32_t kTerminator = 0x0E0F0E0F;
constexpr int32_t kQueryStringArea = 32000;

// Every buffer is allocated with this much more than its capacity: 4 bytes in which the terminator always fits, the
// rest of a hex-dump line that begins with it, and with that zero bytes behind it, at which a text that runs on beyond
// the terminator ends.
constexpr size_t kResultSetSlack = 16;

// What a connection's buffer is made with.
constexpr int32_t kInitialResultSetCapacity = 32768;

// The bytes to allocate for a buffer of this capacity.
constexpr size_t resultSetAllocation(int32_t capacity) {
    return static_cast<size_t>(capacity) + kResultSetSlack;
}

// What a result set holds: no buffer at all, one without content, ids or statistics.
enum class ResultSetContent : int32_t { noBuffer, none, ids, statistics };
// What a buffer (or none) holds.
inline ResultSetContent contentOfBuffer(const char* buffer) {
    ResultSetContent content = ResultSetContent::none;
    if (buffer == nullptr) {
        content = ResultSetContent::noBuffer;
    } else if (std::memcmp(buffer, kIdSetEyecatcher, kEyecatcherLength) == 0) {
        content = ResultSetContent::ids;
    } else if (std::memcmp(buffer, kStatSetEyecatcher, kEyecatcherLength) == 0) {
        content = ResultSetContent::statistics;
    }
    return content;
}
// That of a connection's result set is what its last query has left behind, so that any thread may ask.
inline ResultSetContent resultSetContent(const ResultSetToken* rsPtr) {
    ResultSetContent content = ResultSetContent::noBuffer;
    if (rsPtr->owner == OWNER_GATEWAY) {
        auto* const shared = const_cast<ResultSetToken*>(rsPtr);
        content = static_cast<ResultSetContent>(
            std::atomic_ref<int32_t>(shared->keptContent).load(std::memory_order_relaxed));
    } else {
        content = contentOfBuffer(rsPtr->resultSetBuf);
    }
    return content;
}
// Notes what the buffer of a connection's result set holds now.
void keepContent(ResultSetToken* rsPtr);

// Makes a token without a buffer, with its query-string area. 0; -103 (newRsTokPtr or eyecatcher null); -116 (owner is
// neither OWNER_GATEWAY nor OWNER_USER); -111: *newRsTokPtr is null when there was no memory for the token, unchanged
// when there was none for the area.
int32_t createResultSet(ResultSetToken** newRsTokPtr, const char* eyecatcher, uint32_t owner);

// Releases a token and what it owns, but not its buffer, and sets *rsPtr to null. 0; -125 (rsPtr null); -127 (*rsPtr
// null).
int32_t deleteResultSet(ResultSetToken** rsPtr);

// 0 when the calling process and thread made the token; -123 another process, -124 another thread.
int32_t verifyAPIResultSetToken(const ResultSetToken* rsPtr);

// The same as a question, untraced, for a copy too, which is anybody's.
inline bool isForCaller(const ResultSetToken* rsPtr) {
    return rsPtr->owner != OWNER_GATEWAY || platform::isCallingThread(rsPtr->owningPid, rsPtr->owningTid);
}

// Writes the token and a hex dump of its buffer to the trace destination, whatever the trace level. 0; -103 (null).
int32_t dumpResultSetInternal(const ResultSetToken* rsPtr);

// Hex dump of a buffer up to its terminator, and the number of bytes dumped; takes the trace lock.
int32_t dumpResultSetBuffer(const char* buffer, int32_t capacity);

// The walk's position. It is the one field that another thread's dump may read while the owner walks.
inline char* loadDataCursor(const ResultSetToken* rsPtr) {
    return std::atomic_ref<char*>(const_cast<ResultSetToken*>(rsPtr)->dataCursor).load(std::memory_order_relaxed);
}
inline void storeDataCursor(ResultSetToken* rsPtr, char* cursor) {
    std::atomic_ref<char*>(rsPtr->dataCursor).store(cursor, std::memory_order_relaxed);
}

// The writers. Each writes at the cursor *bufWPtr and moves it behind what it wrote; the caller has made sure that
// there is room. 0, or -103 when the cursor is null: nothing is written then.
int32_t addInteger(char** bufWPtr, uint32_t rsInt);
int32_t addChars(char** bufWPtr, const char* textPtr, int32_t charCount);
// For texts of this library's own; addChars is for bytes that the daemon sent.
int32_t addPlatformChars(char** bufWPtr, const char* textPtr, int32_t charCount);
// Length, text, and a NUL that the next write overwrites. -103 also when idString is null.
int32_t addIdStr(char** bufWPtr, const char* idString);
// Writes the terminator, which the next write at the same place overwrites. 0; -103 (writeCursor null).
int32_t addTerminator(char* writeCursor);
// Sets *isRSTermPtr to 1 when the 4 bytes at the cursor are the terminator, else to 0. 0; -103 (an argument is null).
int32_t checkTerminator(const char* dataCursor, uint32_t* isRSTermPtr);

}  // namespace stapi

#endif
