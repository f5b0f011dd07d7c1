// The trace facility: trace points, the trace's level and destination, hex dumps and the banner.
//
// A trace point is one of the TRACE_* macros below with its id, its text and the text's arguments. The arguments are
// evaluated only when the level of the point's word is on; at level 0 a point costs one relaxed load and a branch. The
// compiler holds the text against its arguments. A line of up to 65,536 bytes reaches the stream by one write; a longer
// one (an id list in it can be that long) by several, in one hold of the trace lock.
#ifndef ZULSTATS_DIAG_STAPI_ZUL_DIAG_H
#define ZULSTATS_DIAG_STAPI_ZUL_DIAG_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "diag/stapi_zul_lock.h"
#include "diag/text_format.h"
#include "diag/version.h"

namespace stapi {

constexpr const char* kApiVersion = ZULSTATS_API_VERSION;
constexpr const char* kProductVersion = ZULSTATS_PRODUCT_VERSION;
constexpr const char* kBuildLevel = ZULSTATS_BUILD_LEVEL;

constexpr int32_t kLowestTraceLevel = 0;
constexpr int32_t kHighestTraceLevel = 5;
constexpr size_t kTraceMessageArea = 256;  // a message and its terminating zero
constexpr size_t kTraceFileNameArea = 1024;
constexpr size_t kTimeStampArea = 24;
constexpr size_t kDateStampArea = 10;
constexpr int32_t kHexDumpBytesPerLine = 16;
constexpr size_t kHexDumpUnbounded = SIZE_MAX;

// The words of trace points; each names the lowest level at which its points are written.
enum class TraceWord : int32_t { exception, event, entry, exit, debug, data };

extern std::atomic<int32_t> traceLevel;  // 0 (off) to 5; read without a lock by design
extern LockRecord traceLock;             // guards what follows, and every write to the stream
extern std::FILE* traceStream;
extern char* statAPITraceFile;  // name of the destination, an area of kTraceFileNameArea bytes, never released
extern int32_t traceBannerWritten;

// Whether points of this word are written at this level.
constexpr bool isTraced(TraceWord word, int32_t level) {
    constexpr int32_t kLowestLevels[] = {1, 2, 3, 3, 4, 4};
    return level >= kLowestLevels[static_cast<int32_t>(word)];
}

// With ZULSTATS_NO_TRACE_POINTS, which the benchmarks alone define, every trace point vanishes: what the points cost at
// level 0 is measured against such a build.
inline bool isTraceOn([[maybe_unused]] TraceWord word) {
#ifdef ZULSTATS_NO_TRACE_POINTS
    return false;
#else
    return isTraced(word, traceLevel.load(std::memory_order_relaxed));
#endif
}

// Memory to dump behind a DATA line: by length, or up to a stop word when length is 0; never beyond available bytes.
struct HexDumpArea {
    const void* address;
    int32_t length;
    uint32_t stopWord;
    size_t available;
};

// An address as an argument of a trace text's %p.
inline const void* at(const void* address) {
    return address;
}

// Which parts of the usual writing of a line a point goes without.
enum class TraceLineMode : int32_t {
    usual,
    staleTimeStamp,  // prints the time stamp of the line before
    unlocked         // does not take the trace lock; for the lock module, which cannot rely on a lock
};

// Writes one trace line: time stamp, process and thread id, point id, word, message. Takes the trace lock.
void writeTraceLine(TraceWord word, TraceLineMode mode, int32_t pointId, const char* message, ...)
    STAPI_PRINTF_LIKE(4, 5);
// Writes one DATA line and the hex dump of the area in one hold of the trace lock.
void writeTraceData(const HexDumpArea& area, int32_t pointId, const char* message, ...) STAPI_PRINTF_LIKE(3, 4);

// The same two for a message that a TracePoint has already held against its arguments.
void writeCheckedTraceLine(TraceWord word, int32_t pointId, const char* message, ...);
void writeCheckedTraceData(const HexDumpArea& area, int32_t pointId, const char* message, ...);

#define STAPI_TRACE_POINT(word, mode, pointId, message, ...)                                               \
    do {                                                                                                   \
        static_assert(sizeof(message) <= ::stapi::kTraceMessageArea, "a trace message must fit its area"); \
        if (::stapi::isTraceOn(word)) {                                                                    \
            ::stapi::writeTraceLine(word, mode, pointId, message __VA_OPT__(, ) __VA_ARGS__);              \
        }                                                                                                  \
    } while (false)

#define STAPI_TRACE_USUAL(word, pointId, message, ...) \
    STAPI_TRACE_POINT(::stapi::TraceWord::word, ::stapi::TraceLineMode::usual, pointId, message, __VA_ARGS__)

#define TRACE_EXC(pointId, message, ...) STAPI_TRACE_USUAL(exception, pointId, message, __VA_ARGS__)
#define TRACE_EVENT(pointId, message, ...) STAPI_TRACE_USUAL(event, pointId, message, __VA_ARGS__)
#define TRACE_ENTRY(pointId, message, ...) STAPI_TRACE_USUAL(entry, pointId, message, __VA_ARGS__)
#define TRACE_EXIT(pointId, message, ...) STAPI_TRACE_USUAL(exit, pointId, message, __VA_ARGS__)
#define TRACE_DEBUG(pointId, message, ...) STAPI_TRACE_USUAL(debug, pointId, message, __VA_ARGS__)
#define TRACE_ENTRY_STALE_TIME(pointId, message, ...) \
    STAPI_TRACE_POINT(::stapi::TraceWord::entry, ::stapi::TraceLineMode::staleTimeStamp, pointId, message, __VA_ARGS__)
#define TRACE_EXC_UNLOCKED(pointId, message, ...) \
    STAPI_TRACE_POINT(::stapi::TraceWord::exception, ::stapi::TraceLineMode::unlocked, pointId, message, __VA_ARGS__)
// area is the HexDumpArea that is dumped behind the line.
#define TRACE_DATA(pointId, area, message, ...)                                                            \
    do {                                                                                                   \
        static_assert(sizeof(message) <= ::stapi::kTraceMessageArea, "a trace message must fit its area"); \
        if (::stapi::isTraceOn(::stapi::TraceWord::data)) {                                                \
            ::stapi::writeTraceData(area, pointId, message __VA_OPT__(, ) __VA_ARGS__);                    \
        }                                                                                                  \
    } while (false)

// Sets up the trace: standard error as its stream, the trace lock, the area of the destination's name. 0, also when the
// lock was initialised already; STAPI_RC_NO_MEMORY when the area could not be allocated (a later call tries again).
int32_t traceInit();

// Writes the current local time as "dd/mm/yy hh:mm:ss:mmm" into an area of kTimeStampArea bytes.
void makeTimeStamp(char* out);
// Writes the current local date as "dd/mm/yy" into an area of kDateStampArea bytes.
void makeDateStamp(char* out);
// Stores the ids of the calling process and thread; a null pointer is skipped.
void getPidTid(uint32_t* pid, uint32_t* tid);
// 1 when the two identifiers are equal, else 0.
int32_t idsEqual(uint32_t a, uint32_t b);

// Formatted write to a stream, by one write for text of usual length. Returns the number of bytes, or a negative value.
int32_t tracePrintf(std::FILE* stream, const char* format, ...) STAPI_PRINTF_LIKE(2, 3);
// Formatted write into a buffer of size bytes, its terminating zero included. Returns the number of bytes, or -1 when
// the text does not fit; the buffer then holds what fits.
int32_t traceSprintf(char* buffer, size_t size, const char* format, ...) STAPI_PRINTF_LIKE(3, 4);

// Writes a hex dump to the trace stream and returns the number of bytes dumped. With a length, that many bytes; with
// length 0 and a stop word, up to the 32-bit word that equals it. A stop word at the first position of a line still has
// that line's bytes written in hex. Never reads beyond available bytes. The caller holds the trace lock.
int32_t traceHexDump(const void* address, int32_t length, uint32_t stopWord, int32_t bytesPerLine,
                     size_t available = kHexDumpUnbounded);

// Writes text without prefix to the trace stream, whatever the level, and flushes it; takes the trace lock.
void writeTraceDirect(const char* format, ...) STAPI_PRINTF_LIKE(1, 2);
// Writes a line of 80 dashes in the same way.
void writeDashLine();
// Hex dump of an area to the trace stream, whatever the level; takes the trace lock. Returns the number of bytes
// dumped.
int32_t dumpTraceDirect(const HexDumpArea& area);

// Runs the runtime library's heap check and writes one line about its result, without prefix or lock.
void stapiCheckHeap(const char* where);

// Sets the level (one of 0 to 5) under the trace lock, with a banner when it rises from 0 and none was written.
void changeTraceLevel(int32_t level);

// What a switch of the destination did.
struct TraceSwitch {
    bool failed;
    bool switched;
    int32_t error;  // the C library's error number of a failed open
};

// Switches the trace to a file, opened for appending, or to standard error when traceFile is null, under the trace
// lock; then writes the banner if the level is 1 or more and the destination has none.
TraceSwitch switchTraceDestination(const char* traceFile);

// Copies the destination's name into an area of kTraceFileNameArea bytes, under the trace lock.
void copyTraceDestination(char* name);

}  // namespace stapi

#endif
