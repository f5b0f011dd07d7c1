#include "diag/stapi_zul_diag.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>

#include "api/zulstats64.h"
#include "diag/heap_blocks.h"

namespace stapi {

std::atomic<int32_t> traceLevel{0};
LockRecord traceLock = {};
std::FILE* traceStream = nullptr;
char* statAPITraceFile = nullptr;
int32_t traceBannerWritten = 0;

namespace {

constexpr const char* kStandardErrorName = "stderr";
constexpr size_t kLineBlock = 65536;
constexpr size_t kUnlockedLineBlock = 512;

char traceTimeString[kTimeStampArea];
char lineBlock[kLineBlock];  // the text being written; guarded by the trace lock

const char* wordText(TraceWord word) {
    constexpr const char* kTexts[] = {"*EXC*", "EVENT", "ENTRY", "EXIT", "DEBUG", "DATA"};
    return kTexts[static_cast<int32_t>(word)];
}

// Before the trace is set up, the lock module may already have something to say.
std::FILE* currentStream() {
    return traceStream == nullptr ? stderr : traceStream;
}

void writeOut(TextSink* sink, platform::StreamWriteHold* hold) {
    if (sink->used > 0) {
        if (std::fwrite(sink->block, 1, sink->used, static_cast<std::FILE*>(sink->destination)) != sink->used) {
            hold->noteFailure();
        }
        sink->used = 0;
    }
}

// Nothing that becomes of a write reaches the caller: neither an error nor a signal. The caller sees to it that the
// thread is not cancelled, which a LockScope does.
void flushToStream(TextSink* sink) {
    platform::StreamWriteHold writeHold(static_cast<std::FILE*>(sink->destination));
    writeOut(sink, &writeHold);
}

TextSink streamSink(std::FILE* stream, char* block, size_t capacity) {
    return {block, capacity, 0, 0, flushToStream, stream};
}

void finishLine(TextSink* sink) {
    platform::StreamWriteHold writeHold(static_cast<std::FILE*>(sink->destination));
    writeOut(sink, &writeHold);
    if (std::fflush(static_cast<std::FILE*>(sink->destination)) != 0) {
        writeHold.noteFailure();
    }
}

void appendFormat(TextSink* sink, const char* format, ...) STAPI_PRINTF_LIKE(2, 3);
void appendFormat(TextSink* sink, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    appendFormatted(sink, format, arguments);
    va_end(arguments);
}

void writeLine(TextSink* sink, const char* timeStamp, int32_t pointId, TraceWord word, const char* message,
               va_list arguments) {
    uint32_t pid = 0;
    uint32_t tid = 0;
    getPidTid(&pid, &tid);
    appendFormat(sink, "%s [0x%8.8X,0x%8.8X] [%4.4d] %-6.6s ", timeStamp, pid, tid, pointId, wordText(word));
    appendFormatted(sink, message, arguments);
    finishLine(sink);
}

void writeUnlockedLine(TraceWord word, int32_t pointId, const char* message, va_list arguments) {
    const platform::CancellationHold cancellationHold;
    char block[kUnlockedLineBlock];
    char timeStamp[kTimeStampArea];
    makeTimeStamp(timeStamp);
    TextSink sink = streamSink(currentStream(), block, sizeof block);
    writeLine(&sink, timeStamp, pointId, word, message, arguments);
}

void writeLockedLine(TraceWord word, TraceLineMode mode, int32_t pointId, const char* message, va_list arguments) {
    const LockScope scope(&traceLock);
    if (mode != TraceLineMode::staleTimeStamp) {
        makeTimeStamp(traceTimeString);
    }
    TextSink sink = streamSink(currentStream(), lineBlock, sizeof lineBlock);
    writeLine(&sink, traceTimeString, pointId, word, message, arguments);
}

void writeBanner() {
    char date[kDateStampArea];
    makeDateStamp(date);
    TextSink sink = streamSink(currentStream(), lineBlock, sizeof lineBlock);
    appendFormat(&sink, "*** %s OXA Quillon ZULSTATS DLL trace V%s API V%s Build Level %s ***\n", date, kProductVersion,
                 kApiVersion, kBuildLevel);
    finishLine(&sink);
}

// Writes a field of a stamp and moves behind it. The C library's function would ask the system for the time zone each
// time.
void writeTwoDigits(char** out, int32_t value, char behind) {
    const int32_t shown = (value % 100 + 100) % 100;
    (*out)[0] = static_cast<char>('0' + shown / 10);
    (*out)[1] = static_cast<char>('0' + shown % 10);
    (*out)[2] = behind;
    *out += 3;
}

void writeDate(char** out, const std::tm& calendar, char behind) {
    writeTwoDigits(out, calendar.tm_mday, '/');
    writeTwoDigits(out, calendar.tm_mon + 1, '/');
    writeTwoDigits(out, calendar.tm_year, behind);
}

uint32_t readWord(const uint8_t* position) {
    uint32_t word = 0;
    std::memcpy(&word, position, sizeof word);
    return word;
}

// The bytes of one line of a hex dump.
struct HexLine {
    const uint8_t* start;
    int32_t hexBytes;   // positions of the hex column that show a byte
    int32_t dataBytes;  // bytes that count as dumped, and stand in the character column
    bool ended;         // the stop word, or the last byte that may be read, is reached
};

// Positions of the line that may be read, and how far its data reaches.
HexLine measureStopWordLine(const uint8_t* start, uint32_t stopWord, int32_t bytesPerLine, size_t available) {
    const auto readable = static_cast<int32_t>(std::min(available, static_cast<size_t>(bytesPerLine)));
    int32_t data = 0;
    bool stopped = false;
    while (data < readable && !stopped) {
        const bool wordReadable = available - static_cast<size_t>(data) >= sizeof stopWord;
        stopped = wordReadable && readWord(start + data) == stopWord;
        data += stopped ? 0 : 1;
    }
    const bool stoppedAtStart = stopped && data == 0;
    return {start, stoppedAtStart ? readable : data, data, data < bytesPerLine};
}

HexLine measureLengthLine(const uint8_t* start, int64_t remaining, int32_t bytesPerLine) {
    const auto data = static_cast<int32_t>(std::min<int64_t>(remaining, bytesPerLine));
    return {start, data, data, remaining <= bytesPerLine};
}

void writeHexLine(const HexLine& line, int32_t bytesPerLine) {
    TextSink sink = streamSink(currentStream(), lineBlock, sizeof lineBlock);
    appendFormat(&sink, "0x%8.8X: ", static_cast<uint32_t>(reinterpret_cast<uintptr_t>(line.start)));
    for (int32_t count = 1; count <= bytesPerLine; ++count) {
        if (count <= line.hexBytes) {
            appendFormat(&sink, "%2.2X", line.start[count - 1]);
        } else {
            appendText(&sink, "  ", 2);
        }
        if (count % bytesPerLine != 0) {
            appendText(&sink, " ", count % 4 == 0 ? 1 : 0);
            appendText(&sink, " ", count % 16 == 0 ? 1 : 0);
        }
    }
    appendText(&sink, " : ", 3);
    for (int32_t count = 1; count <= line.dataBytes; ++count) {
        const uint8_t byte = line.start[count - 1];
        const char shown = byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : '.';
        appendText(&sink, &shown, 1);
        appendText(&sink, " ", count % 16 == 0 ? 1 : 0);
    }
    appendText(&sink, "\n", 1);
    finishLine(&sink);
}

int32_t dumpArea(const HexDumpArea& area) {
    return traceHexDump(area.address, area.length, area.stopWord, kHexDumpBytesPerLine, area.available);
}

void writeLineAndDump(const HexDumpArea& area, int32_t pointId, const char* message, va_list arguments) {
    const LockScope scope(&traceLock);
    writeLockedLine(TraceWord::data, TraceLineMode::usual, pointId, message, arguments);
    dumpArea(area);
}

// The stream that is current is left; standard error is never closed.
void closeCurrentStream() {
    if (traceStream != nullptr && traceStream != stderr) {
        std::fclose(traceStream);
    }
}

void useDestination(std::FILE* stream, const char* name) {
    closeCurrentStream();
    traceStream = stream;
    std::memcpy(statAPITraceFile, name, std::strlen(name) + 1);
    traceBannerWritten = 0;
}

TraceSwitch switchToFile(const char* traceFile) {
    TraceSwitch result = {.failed = true, .switched = false, .error = 0};
    if (std::strlen(traceFile) >= kTraceFileNameArea) {
        result.error = ENAMETOOLONG;
    } else {
        std::FILE* const stream = platform::openForAppending(traceFile, &result.error);
        if (stream != nullptr) {
            useDestination(stream, traceFile);
            result = {.failed = false, .switched = true, .error = 0};
        }
    }
    return result;
}

TraceSwitch switchToStandardError() {
    const bool switched = traceStream != stderr;
    if (switched) {
        useDestination(stderr, kStandardErrorName);
    }
    return {.failed = false, .switched = switched, .error = 0};
}

}  // namespace

void writeTraceLine(TraceWord word, TraceLineMode mode, int32_t pointId, const char* message, ...) {
    va_list arguments;
    va_start(arguments, message);
    if (mode == TraceLineMode::unlocked) {
        writeUnlockedLine(word, pointId, message, arguments);
    } else {
        writeLockedLine(word, mode, pointId, message, arguments);
    }
    va_end(arguments);
}

void writeCheckedTraceLine(TraceWord word, int32_t pointId, const char* message, ...) {
    va_list arguments;
    va_start(arguments, message);
    writeLockedLine(word, TraceLineMode::usual, pointId, message, arguments);
    va_end(arguments);
}

void writeTraceData(const HexDumpArea& area, int32_t pointId, const char* message, ...) {
    va_list arguments;
    va_start(arguments, message);
    writeLineAndDump(area, pointId, message, arguments);
    va_end(arguments);
}

void writeCheckedTraceData(const HexDumpArea& area, int32_t pointId, const char* message, ...) {
    va_list arguments;
    va_start(arguments, message);
    writeLineAndDump(area, pointId, message, arguments);
    va_end(arguments);
}

int32_t traceInit() {
    int32_t rc = STAPI_RC_OK;
    initializeLock(&traceLock);
    const LockScope scope(&traceLock);
    if (traceStream == nullptr) {
        traceStream = stderr;
    }
    if (statAPITraceFile == nullptr) {
        statAPITraceFile = static_cast<char*>(allocateMemory(kTraceFileNameArea));
        if (statAPITraceFile == nullptr) {
            rc = STAPI_RC_NO_MEMORY;
        } else {
            std::memcpy(statAPITraceFile, kStandardErrorName, std::strlen(kStandardErrorName) + 1);
        }
    }
    return rc;
}

void makeTimeStamp(char* out) {
    const platform::LocalTime now = platform::currentLocalTime();
    char* cursor = out;
    writeDate(&cursor, now.calendar, ' ');
    writeTwoDigits(&cursor, now.calendar.tm_hour, ':');
    writeTwoDigits(&cursor, now.calendar.tm_min, ':');
    writeTwoDigits(&cursor, now.calendar.tm_sec, ':');
    *cursor = static_cast<char>('0' + now.milliseconds / 100 % 10);
    ++cursor;
    writeTwoDigits(&cursor, now.milliseconds, '\0');
}

void makeDateStamp(char* out) {
    const platform::LocalTime now = platform::currentLocalTime();
    writeDate(&out, now.calendar, '\0');
}

void getPidTid(uint32_t* pid, uint32_t* tid) {
    const platform::ThreadIdentity caller = platform::callingThread();
    if (pid != nullptr) {
        *pid = caller.process;
    }
    if (tid != nullptr) {
        *tid = caller.thread;
    }
}

int32_t idsEqual(uint32_t a, uint32_t b) {
    return a == b ? 1 : 0;
}

int32_t tracePrintf(std::FILE* stream, const char* format, ...) {
    const platform::CancellationHold cancellationHold;
    char block[1024];
    TextSink sink = streamSink(stream, block, sizeof block);
    va_list arguments;
    va_start(arguments, format);
    const size_t length = appendFormatted(&sink, format, arguments);
    va_end(arguments);
    flushToStream(&sink);
    return std::ferror(stream) != 0 ? -1 : static_cast<int32_t>(length);
}

int32_t traceSprintf(char* buffer, size_t size, const char* format, ...) {
    int32_t result = -1;
    if (size > 0) {
        TextSink sink = {buffer, size - 1, 0, 0, nullptr, nullptr};
        va_list arguments;
        va_start(arguments, format);
        const size_t length = appendFormatted(&sink, format, arguments);
        va_end(arguments);
        buffer[sink.used] = '\0';
        result = length < size ? static_cast<int32_t>(length) : -1;
    }
    return result;
}

int32_t traceHexDump(const void* address, int32_t length, uint32_t stopWord, int32_t bytesPerLine, size_t available) {
    const bool byLength = length > 0;
    const bool nothing = address == nullptr || bytesPerLine < 1 || (!byLength && stopWord == 0);
    const auto* position = static_cast<const uint8_t*>(address);
    int64_t remaining = static_cast<int64_t>(std::min(static_cast<size_t>(std::max(length, 0)), available));
    size_t left = available;
    int32_t dumped = 0;
    bool ended = nothing || (byLength ? remaining == 0 : available == 0);
    while (!ended) {
        const HexLine line = byLength ? measureLengthLine(position, remaining, bytesPerLine)
                                      : measureStopWordLine(position, stopWord, bytesPerLine, left);
        writeHexLine(line, bytesPerLine);
        position += line.dataBytes;
        remaining -= line.dataBytes;
        left -= static_cast<size_t>(line.dataBytes);
        dumped += line.dataBytes;
        ended = line.ended || left == 0;
    }
    return dumped;
}

void writeTraceDirect(const char* format, ...) {
    const LockScope scope(&traceLock);
    TextSink sink = streamSink(currentStream(), lineBlock, sizeof lineBlock);
    va_list arguments;
    va_start(arguments, format);
    appendFormatted(&sink, format, arguments);
    va_end(arguments);
    finishLine(&sink);
}

void writeDashLine() {
    writeTraceDirect("--------------------------------------------------------------------------------\n");
}

int32_t dumpTraceDirect(const HexDumpArea& area) {
    const LockScope scope(&traceLock);
    return dumpArea(area);
}

void stapiCheckHeap(const char* where) {
    const char* format = "stapi_zul_diag.stapiCheckHeap[%s] _heapchk() unknown status\n";
    switch (platform::checkHeap()) {
        case platform::HeapState::badNode:
            format = "stapi_zul_diag.stapiCheckHeap[%s] _heapchk() ERROR - bad node in heap\n";
            break;
        case platform::HeapState::badStart:
            format = "stapi_zul_diag.stapiCheckHeap[%s] _heapchk() ERROR - bad start of heap\n";
            break;
        case platform::HeapState::fine:
            format = "stapi_zul_diag.stapiCheckHeap[%s] _heapchk() OK - heap is fine\n";
            break;
        case platform::HeapState::empty:
            format = "stapi_zul_diag.stapiCheckHeap[%s] _heapchk() OK - heap is empty\n";
            break;
        case platform::HeapState::unknown:
            break;
    }
    std::FILE* const stream = currentStream();
    tracePrintf(stream, format, where);
    std::fflush(stream);
}

void changeTraceLevel(int32_t level) {
    const LockScope scope(&traceLock);
    if (traceBannerWritten == 0 && traceLevel.load(std::memory_order_relaxed) == 0 && level > 0) {
        writeBanner();
    }
    traceLevel.store(level, std::memory_order_relaxed);
}

TraceSwitch switchTraceDestination(const char* traceFile) {
    const LockScope scope(&traceLock);
    const TraceSwitch result = traceFile == nullptr ? switchToStandardError() : switchToFile(traceFile);
    if (traceLevel.load(std::memory_order_relaxed) > 0 && traceBannerWritten == 0) {
        writeBanner();
        traceBannerWritten = 1;
    }
    return result;
}

void copyTraceDestination(char* name) {
    const LockScope scope(&traceLock);
    std::memcpy(name, statAPITraceFile, std::strlen(statAPITraceFile) + 1);
}

}  // namespace stapi
