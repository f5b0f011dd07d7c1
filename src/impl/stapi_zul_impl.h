// Start-up of the library, copies of strings that cross its boundary, and the walk over a result set.
#ifndef ZULSTATS_IMPL_STAPI_ZUL_IMPL_H
#define ZULSTATS_IMPL_STAPI_ZUL_IMPL_H

#include <atomic>
#include <cstdint>

#include "api/zulstats64.h"
#include "resultset/stapi_zul_resultsetbuffer.h"

namespace stapi {

// The API version text that callers get a pointer to.
extern char apiVersion[];

// Sets the library up on the first call. 0; -111 the trace could not be set up; 1 another thread is doing the same, or
// an earlier attempt got half-way. After a failure the trace level stays 1 and a later call tries again. Takes no lock.
int32_t stapiInit();

// Whether stapiInit has set the library up.
extern std::atomic<int32_t> stapiInitialised;
inline bool isStarted() {
    return stapiInitialised.load(std::memory_order_acquire) == 1;
}

// What happens when the library is loaded into a process and unloaded from it.
void libraryLoaded();
void libraryUnloading();

// Copy a string into a fresh block through outputPtr, which the caller releases. dup2ASCIIString releases what
// *outputPtr held before, dup2NativeString overwrites it. 0; -1 no memory (*outputPtr is null); -2 an argument is null,
// or the string has more than 32,765 characters (*outputPtr is unchanged).
int32_t dup2ASCIIString(const char* dataPtr, char** outputPtr);
int32_t dup2NativeString(const char* dataPtr, char** outputPtr);

// One step of a walk over a result set, which holds ids or statistics as the function's name says. Fills the record and
// moves the token's position. 0; -113 the end, or a step that would leave the buffer: record and token are unchanged.
int32_t getFirstIdInternal(ResultSetToken* rsPtr, IdData* idDataPtr);
int32_t getNextIdInternal(ResultSetToken* rsPtr, IdData* idDataPtr);
int32_t getFirstStatInternal(ResultSetToken* rsPtr, StatData* statDataPtr);
int32_t getNextStatInternal(ResultSetToken* rsPtr, StatData* statDataPtr);

}  // namespace stapi

#endif
