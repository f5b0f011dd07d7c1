/* The ids of the calling process and thread, asked of the system once for each thread. */
#ifndef ZULSTATS_BENCH_POSIX_THREAD_IDENTITY_H
#define ZULSTATS_BENCH_POSIX_THREAD_IDENTITY_H

#include <stdint.h>

extern __thread uint32_t knownThread;
extern uint32_t knownProcess;
void learnIdentity(void);

static inline uint32_t currentThread(void) {
    if (knownThread == 0) {
        learnIdentity();
    }
    return knownThread;
}

static inline uint32_t currentProcess(void) {
    if (knownProcess == 0) {
        learnIdentity();
    }
    return knownProcess;
}

#endif
