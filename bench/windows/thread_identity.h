/* The ids of the calling process and thread. Here asking for the thread's is cheap. */
#ifndef ZULSTATS_BENCH_WINDOWS_THREAD_IDENTITY_H
#define ZULSTATS_BENCH_WINDOWS_THREAD_IDENTITY_H

#include <stdint.h>
#include <windows.h>

extern uint32_t knownProcess;

static inline uint32_t currentThread(void) {
    return GetCurrentThreadId();
}

static inline uint32_t currentProcess(void) {
    if (knownProcess == 0) {
        knownProcess = GetCurrentProcessId();
    }
    return knownProcess;
}

#endif
