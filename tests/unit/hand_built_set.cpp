#include "hand_built_set.h"

#include <cstring>
#include <functional>

#include "platform/platform.h"

namespace unit_test {

namespace {

constexpr size_t kQueryStringArea = 32000;

}  // namespace

HeldSet::HeldSet(const SetBytes& set, uint32_t owner, char slackFill) : HeldSet(set.bytes(), owner, slackFill) {}

HeldSet::HeldSet(std::string_view bytes, uint32_t owner, char slackFill)
    : original_(std::string(bytes) + std::string(kSlackBehindCapacity, slackFill)),
      block_(new char[original_.size()]),
      queryString_(new char[kQueryStringArea]()) {
    std::memcpy(block_.get(), original_.data(), original_.size());
    std::memcpy(token_.eyecatcher, owner == kConnectionOwner ? "ZULRSROB" : "ZULRSUSR", sizeof token_.eyecatcher);
    token_.owner = owner;
    token_.verifiedQueryString = queryString_.get();
    token_.resultSetBuf = block_.get();
    token_.resultSetBufLen = static_cast<int32_t>(bytes.size());
    token_.dataCursor = block_.get();
    if (owner == kConnectionOwner) {
        token_.owningPid = stapi::platform::currentProcessId();
        token_.owningTid = stapi::platform::currentThreadId();
    }
}

bool HeldSet::holds(const char* start, size_t count) const {
    const size_t readable = capacity() + sizeof kEndMark;
    const std::less_equal<const char*> notBehind;
    return notBehind(buffer(), start) && notBehind(start, buffer() + readable) &&
           count <= static_cast<size_t>(buffer() + readable - start);
}

bool HeldSet::bufferIsUnchanged() const {
    return std::memcmp(block_.get(), original_.data(), original_.size()) == 0;
}

}  // namespace unit_test
