#include "thread_identity.h"

#include <windows.h>

__thread uint32_t knownThread;
uint32_t knownProcess;

void learnIdentity(void) {
    knownThread = GetCurrentThreadId();
    knownProcess = GetCurrentProcessId();
}
