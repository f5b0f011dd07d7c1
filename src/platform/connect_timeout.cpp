#include <atomic>

#include "platform/platform.h"

namespace stapi::platform {

namespace {

constexpr int32_t kDefaultConnectTimeout = 60000;
std::atomic<int32_t> connectTimeoutMilliseconds{kDefaultConnectTimeout};

}  // namespace

int32_t connectTimeout() {
    return connectTimeoutMilliseconds.load(std::memory_order_relaxed);
}

void setConnectTimeoutForTest(int32_t milliseconds) {
    connectTimeoutMilliseconds.store(milliseconds, std::memory_order_relaxed);
}

}  // namespace stapi::platform
