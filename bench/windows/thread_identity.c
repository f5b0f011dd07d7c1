#include "thread_identity.h"

uint32_t knownProcess;
