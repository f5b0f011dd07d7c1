#include "rs_hand_built_set.h"

#include <cstring>
#include <functional>

#include "platform/platform.h"

namespace unit_test {

namespace {

constexpr size_t kQueryStringArea = 32000;

}  // namespace

SetBytes::SetBytes(std::string_view eyecatcher, uint32_t blockCount) {
    raw(eyecatcher).word(blockCount);
}

SetBytes& SetBytes::raw(std::string_view bytes) {
    bytes_ += bytes;
    return *this;
}

SetBytes& SetBytes::word(uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8) {
        bytes_ += static_cast<char>(value >> shift & 0xFF);
    }
    return *this;
}

SetBytes& SetBytes::text(std::string_view text) {
    return word(static_cast<uint32_t>(text.size())).raw(text);
}

SetBytes& SetBytes::block(std::string_view queryElement, int32_t code, uint32_t entryCount) {
    return text(queryElement).word(static_cast<uint32_t>(code)).word(entryCount);
}

SetBytes& SetBytes::failedBlock(std::string_view queryElement, int32_t code) {
    return text(queryElement).word(static_cast<uint32_t>(code));
}

SetBytes& SetBytes::id(std::string_view id) {
    return text(id);
}

SetBytes& SetBytes::stat(std::string_view id, std::string_view value) {
    return text(id).text(value);
}

SetBytes& SetBytes::end() {
    return word(kEndMark);
}

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
