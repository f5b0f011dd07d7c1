// Result sets whose bytes a test lays down by hand.
#ifndef ZULSTATS_TESTS_UNIT_HAND_BUILT_SET_H
#define ZULSTATS_TESTS_UNIT_HAND_BUILT_SET_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "resultset/stapi_zul_resultsetbuffer.h"
#include "set_bytes.h"

namespace unit_test {

using test_support::kEndMark;
using test_support::SetBytes;

constexpr uint32_t kConnectionOwner = 0x8888;
constexpr uint32_t kUserOwner = 0x9999;
constexpr size_t kSlackBehindCapacity = 16;

// A token over a heap block of exactly the size that the library allocates for such a capacity, so that an address
// sanitizer sees every byte read or written beyond it. As long as the test changes nothing, the token is one of the
// calling thread's.
class HeldSet {
  public:
    explicit HeldSet(const SetBytes& set, uint32_t owner = kConnectionOwner, char slackFill = '\0');
    HeldSet(std::string_view bytes, uint32_t owner, char slackFill);

    ResultSetToken* token() {
        return &token_;
    }
    char* buffer() const {
        return block_.get();
    }
    // The address of a position in the buffer.
    char* at(size_t position) const {
        return block_.get() + position;
    }
    size_t capacity() const {
        return original_.size() - kSlackBehindCapacity;
    }
    // Whether count bytes from here on lie in the buffer, the terminator's place behind its capacity included.
    bool holds(const char* start, size_t count) const;
    bool bufferIsUnchanged() const;

  private:
    std::string original_;  // all bytes of the block
    std::unique_ptr<char[]> block_;
    std::unique_ptr<char[]> queryString_;
    ResultSetToken token_ = {};
};

}  // namespace unit_test

#endif
