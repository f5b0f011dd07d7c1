#include "impl/stapi_zul_impl.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>

#include "diag/return_codes.h"
#include "diag/stapi_zul_diag.h"
#include "diag/stapi_zul_memory.h"
#include "diag/version.h"
#include "gateway/stapi_zul_gwytok.h"
#include "platform/platform.h"

namespace stapi {

char apiVersion[] = ZULSTATS_API_VERSION;

namespace {

constexpr int32_t kDuplicationNoMemory = -1;
constexpr int32_t kDuplicationBadInput = -2;
constexpr int32_t kDuplicationSizeLimit = 32767;  // terminator included; this size is refused

std::atomic<int32_t> stapiInitialised{0};

// Bytes of a string with its terminator; 0 for null.
int32_t duplicationSize(const char* dataPtr) {
    constexpr size_t kLongestCount = INT32_MAX - 1;
    return dataPtr == nullptr ? 0 : static_cast<int32_t>(std::min(std::strlen(dataPtr), kLongestCount)) + 1;
}

bool isDuplicable(const char* dataPtr, char* const* outputPtr, int32_t size) {
    return dataPtr != nullptr && outputPtr != nullptr && size < kDuplicationSizeLimit;
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
    int32_t rc = 0;
    TRACE_ENTRY(1108, "stapi_zul_impl.dup2ASCIIString(dataPtr=%p, &outputPtr=%p) \n", static_cast<const void*>(dataPtr),
                static_cast<void*>(outputPtr));
    const int32_t size = duplicationSize(dataPtr);
    if (!isDuplicable(dataPtr, outputPtr, size)) {
        TRACE_EXC(1114, "stapi_zul_impl.dup2ASCIIString() supplied input data pointer was NULL or overlength\n");
        rc = kDuplicationBadInput;
    } else {
        releaseMemory(*outputPtr);
        *outputPtr = static_cast<char*>(allocateMemory(static_cast<size_t>(size)));
        TRACE_DEBUG(1109, "stapi_zul_impl.dup2ASCIIString() called malloc for %d bytes. rc=%p\n", size,
                    static_cast<void*>(*outputPtr));
        if (*outputPtr == nullptr) {
            TRACE_EXC(1113, "stapi_zul_impl.dup2ASCIIString() malloc failed for %d bytes\n", size);
            rc = kDuplicationNoMemory;
        } else {
            TRACE_DEBUG(1112, "stapi_zul_impl.dup2ASCIIString() using memcpy() on writePtr(%p) bytes(%d)\n",
                        static_cast<void*>(*outputPtr), size);
            std::memcpy(*outputPtr, dataPtr, static_cast<size_t>(size));
        }
    }
    TRACE_EXIT(1115, "stapi_zul_impl.dup2ASCIIString() readByteCount=%d rc=%d\n", size, rc);
    return rc;
}

int32_t dup2NativeString(const char* dataPtr, char** outputPtr) {
    int32_t rc = 0;
    TRACE_ENTRY(1116, "stapi_zul_impl.dup2NativeString(source dataPtr=%p, &outputPtr=%p) \n",
                static_cast<const void*>(dataPtr), static_cast<void*>(outputPtr));
    const int32_t size = duplicationSize(dataPtr);
    if (!isDuplicable(dataPtr, outputPtr, size)) {
        TRACE_EXC(1122, "stapi_zul_impl.dup2NativeString() supplied input data pointer was NULL or overlength\n");
        rc = kDuplicationBadInput;
    } else {
        *outputPtr = static_cast<char*>(allocateMemory(static_cast<size_t>(size)));
        TRACE_DEBUG(1117, "stapi_zul_impl.dup2NativeString() called strdup for %d bytes. rc=0x%p\n", size,
                    static_cast<void*>(*outputPtr));
        if (*outputPtr == nullptr) {
            TRACE_EXC(1121, "stapi_zul_impl.dup2NativeString() malloc failed for %d bytes\n", size);
            rc = kDuplicationNoMemory;
        } else {
            TRACE_DEBUG(1120, "stapi_zul_impl.dup2NativeString() about to memcpy for %d bytes. \n", size);
            std::memcpy(*outputPtr, dataPtr, static_cast<size_t>(size));
        }
    }
    TRACE_EXIT(1123, "stapi_zul_impl.dup2NativeString() readByteCount=%d rc=%d\n", size, rc);
    return rc;
}

}  // namespace stapi
