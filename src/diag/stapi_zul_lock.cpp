#include "diag/stapi_zul_lock.h"

#include "diag/stapi_zul_diag.h"

namespace stapi {

namespace {

bool isInitialised(const LockRecord* lockPtr) {
    return lockPtr->state.load(std::memory_order_acquire) == kLockInitialised;
}

}  // namespace

int32_t initializeLock(LockRecord* lockPtr) {
    int32_t rc = 1;
    uint32_t found = lockPtr->state.load(std::memory_order_acquire);
    while (found != kLockInitialised && rc == 1) {
        if (found == kLockBeingInitialised) {
            platform::yieldThread();
            found = lockPtr->state.load(std::memory_order_acquire);
        } else if (lockPtr->state.compare_exchange_weak(found, kLockBeingInitialised, std::memory_order_acquire)) {
            platform::initialiseMutex(&lockPtr->criticalSection);
            lockPtr->state.store(kLockInitialised, std::memory_order_release);
            rc = 0;
        }
    }
    return rc;
}

int32_t requestLock(LockRecord* lockPtr) {
    int32_t rc = 0;
    if (isInitialised(lockPtr)) {
        platform::enterMutex(&lockPtr->criticalSection);
    } else {
        TRACE_EXC_UNLOCKED(3104, "stapi_zul_lock.requestLock(lockPtr=%p) Lock not initialized\n", at(lockPtr));
        rc = -1;
    }
    return rc;
}

int32_t releaseLock(LockRecord* lockPtr) {
    int32_t rc = 0;
    if (isInitialised(lockPtr)) {
        platform::leaveMutex(&lockPtr->criticalSection);
    } else {
        TRACE_EXC_UNLOCKED(3108, "stapi_zul_lock.releaseLock(lockPtr=%p) Lock not initialized\n", at(lockPtr));
        rc = -1;
    }
    return rc;
}

int32_t destroyLock(LockRecord* lockPtr) {
    int32_t rc = 0;
    if (isInitialised(lockPtr)) {
        platform::destroyMutex(&lockPtr->criticalSection);
        lockPtr->state.store(kLockDestroyed, std::memory_order_release);
    } else {
        TRACE_EXC_UNLOCKED(3112, "stapi_zul_lock.destroyLock(lockPtr=%p) Lock not initialized\n", at(lockPtr));
        rc = -1;
    }
    return rc;
}

uint32_t lockState(const LockRecord* lockPtr) {
    return lockPtr->state.load(std::memory_order_acquire);
}

}  // namespace stapi
