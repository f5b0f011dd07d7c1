#include "impl/stapi_zul_impl.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>

#include "api/zulstats64.h"
#include "diag/heap_blocks.h"
#include "diag/trace_point.h"
#include "diag/version.h"
#include "gateway/stapi_zul_gwytok.h"
#include "platform/platform.h"

namespace stapi {

char apiVersion[] = ZULSTATS_API_VERSION;

std::atomic<int32_t> stapiInitialised{0};

namespace {

constexpr int32_t kDuplicationNoMemory = -1;
constexpr int32_t kDuplicationBadInput = -2;
constexpr int32_t kDuplicationSizeLimit = 32767;  // terminator included; this size is refused

// A fork copies this process with one thread alone, whatever the others are at. It is made while no other thread holds
// a lock of the library, so that what the locks guard is whole in the child, and the child gets locks of its own.
// Each lock's flag names the thread that holds it for a fork; 0 is no thread.
std::atomic<uint32_t> listLockForker{0};
std::atomic<uint32_t> traceLockForker{0};

void holdForFork(LockRecord* lockPtr, std::atomic<uint32_t>* forker) {
    if (lockState(lockPtr) == kLockInitialised && requestLock(lockPtr) == 0) {
        forker->store(platform::currentThreadId(), std::memory_order_relaxed);
    }
}

void releaseAfterFork(LockRecord* lockPtr, std::atomic<uint32_t>* forker) {
    if (forker->load(std::memory_order_relaxed) == platform::currentThreadId()) {
        forker->store(0, std::memory_order_relaxed);
        releaseLock(lockPtr);
    }
}

void holdLocksForFork() {
    holdForFork(&gtlLock, &listLockForker);
    holdForFork(&traceLock, &traceLockForker);
}

void releaseLocksInParent() {
    releaseAfterFork(&traceLock, &traceLockForker);
    releaseAfterFork(&gtlLock, &listLockForker);
}

void renewLocksInChild() {
    listLockForker.store(0, std::memory_order_relaxed);
    traceLockForker.store(0, std::memory_order_relaxed);
    renewLock(&traceLock);
    renewLock(&gtlLock);
    if (stapiInitialised.load(std::memory_order_acquire) != 1) {
        // Another thread was half-way through the start-up: the child's first call makes it whole.
        gtlLock.state.store(0, std::memory_order_release);
    }
}

// Bytes of a string with its terminator; 0 for null.
int32_t duplicationSize(const char* dataPtr) {
    constexpr size_t kLongestCount = INT32_MAX - 1;
    return dataPtr == nullptr ? 0 : static_cast<int32_t>(std::min(std::strlen(dataPtr), kLongestCount)) + 1;
}

bool isDuplicable(const char* dataPtr, char* const* outputPtr, int32_t size) {
    return dataPtr != nullptr && outputPtr != nullptr && size < kDuplicationSizeLimit;
}

// What is particular to one of the two copies.
struct Duplication {
    bool releasesOldOutput;
    TracePoint<const void*, const void*> entry;
    TracePoint<> badInput;
    TracePoint<int32_t, const void*> allocated;
    TracePoint<int32_t> notAllocated;
    TracePoint<const void*, int32_t> copyTo;
    TracePoint<int32_t> copy;
    TracePoint<int32_t, int32_t> exit;
};

constexpr Duplication kAsciiDuplication = {
    .releasesOldOutput = true,
    .entry = {TraceWord::entry, 1108, "stapi_zul_impl.dup2ASCIIString(dataPtr=%p, &outputPtr=%p) \n"},
    .badInput = {TraceWord::exception, 1114,
                 "stapi_zul_impl.dup2ASCIIString() supplied input data pointer was NULL or overlength\n"},
    .allocated = {TraceWord::debug, 1109, "stapi_zul_impl.dup2ASCIIString() called malloc for %d bytes. rc=%p\n"},
    .notAllocated = {TraceWord::exception, 1113, "stapi_zul_impl.dup2ASCIIString() malloc failed for %d bytes\n"},
    .copyTo = {TraceWord::debug, 1112, "stapi_zul_impl.dup2ASCIIString() using memcpy() on writePtr(%p) bytes(%d)\n"},
    .copy = {},
    .exit = {TraceWord::exit, 1115, "stapi_zul_impl.dup2ASCIIString() readByteCount=%d rc=%d\n"},
};

constexpr Duplication kNativeDuplication = {
    .releasesOldOutput = false,
    .entry = {TraceWord::entry, 1116, "stapi_zul_impl.dup2NativeString(source dataPtr=%p, &outputPtr=%p) \n"},
    .badInput = {TraceWord::exception, 1122,
                 "stapi_zul_impl.dup2NativeString() supplied input data pointer was NULL or overlength\n"},
    .allocated = {TraceWord::debug, 1117, "stapi_zul_impl.dup2NativeString() called strdup for %d bytes. rc=0x%p\n"},
    .notAllocated = {TraceWord::exception, 1121, "stapi_zul_impl.dup2NativeString() malloc failed for %d bytes\n"},
    .copyTo = {},
    .copy = {TraceWord::debug, 1120, "stapi_zul_impl.dup2NativeString() about to memcpy for %d bytes. \n"},
    .exit = {TraceWord::exit, 1123, "stapi_zul_impl.dup2NativeString() readByteCount=%d rc=%d\n"},
};

int32_t copyIntoFreshBlock(const Duplication& duplication, const char* dataPtr, int32_t size, char** outputPtr) {
    int32_t rc = 0;
    *outputPtr = static_cast<char*>(allocateMemory(static_cast<size_t>(size)));
    TRACE_POINT(duplication.allocated, size, at(*outputPtr));
    if (*outputPtr == nullptr) {
        TRACE_POINT(duplication.notAllocated, size);
        rc = kDuplicationNoMemory;
    } else {
        TRACE_POINT(duplication.copyTo, at(*outputPtr), size);
        TRACE_POINT(duplication.copy, size);
        std::memcpy(*outputPtr, dataPtr, static_cast<size_t>(size));
    }
    return rc;
}

int32_t duplicate(const Duplication& duplication, const char* dataPtr, char** outputPtr) {
    int32_t rc = 0;
    TRACE_POINT(duplication.entry, at(dataPtr), at(outputPtr));
    const int32_t size = duplicationSize(dataPtr);
    if (!isDuplicable(dataPtr, outputPtr, size)) {
        TRACE_POINT(duplication.badInput);
        rc = kDuplicationBadInput;
    } else {
        if (duplication.releasesOldOutput) {
            releaseMemory(*outputPtr);
        }
        rc = copyIntoFreshBlock(duplication, dataPtr, size, outputPtr);
    }
    TRACE_POINT(duplication.exit, size, rc);
    return rc;
}

}  // namespace

int32_t stapiInit() {
    int32_t rc = STAPI_RC_OK;
    if (stapiInitialised.load(std::memory_order_acquire) != 1) {
        traceLevel.store(1, std::memory_order_relaxed);  // so that failures of the start-up can be traced
        rc = traceInit();
        if (rc != STAPI_RC_OK) {
            tracePrintf(stderr, "stapi_zul_impl.stapiInit() Initialization of zulstats API trace has failed. rc=%d\n",
                        rc);
        } else {
            rc = initGTL();
            if (rc != STAPI_RC_OK) {
                TRACE_EXC(
                    1124,
                    "stapi_zul_impl.stapiInit() Initialization of zulstats API Gateway Token List has failed. rc=%d\n",
                    rc);
            } else {
                // In this order, or a level that another thread sets at once would be lost.
                traceLevel.store(0, std::memory_order_relaxed);
                stapiInitialised.store(1, std::memory_order_release);
            }
        }
    }
    return rc;
}

void libraryLoaded() {
    platform::watchForks(holdLocksForFork, releaseLocksInParent, renewLocksInChild);
    const int32_t rc = platform::startSocketLayer();
    if (rc != 0) {
        tracePrintf(stderr, "zulstats API: Unable to initialise winsock. rc=%d\n", rc);
    }
}

void libraryUnloading() {
    TRACE_DEBUG(1127, "stapi_zul_impl.DllMain() DLL_PROCESS_DETACH calling WSACleanup()\n");
    platform::stopSocketLayer();
}

int32_t dup2ASCIIString(const char* dataPtr, char** outputPtr) {
    return duplicate(kAsciiDuplication, dataPtr, outputPtr);
}

int32_t dup2NativeString(const char* dataPtr, char** outputPtr) {
    return duplicate(kNativeDuplication, dataPtr, outputPtr);
}

}  // namespace stapi
