// Result sets whose bytes a test lays down by hand.
#ifndef TESTS_UNIT_RS_HAND_BUILT_SET_H
#define TESTS_UNIT_RS_HAND_BUILT_SET_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "resultset/stapi_zul_resultsetbuffer.h"

namespace unit_test {

constexpr std::uint32_t endMark = 0x0E0F0E0F;
constexpr std::uint32_t connectionOwner = 0x8888;
constexpr std::uint32_t userOwner = 0x9999;
constexpr std::size_t slackBehindCapacity = 16;

// Puts the bytes of a result-set buffer together, field by field.
class SetBytes {
  public:
    SetBytes() = default;
    SetBytes(std::string_view eyecatcher, std::uint32_t blockCount);

    SetBytes& raw(std::string_view bytes);
    SetBytes& word(std::uint32_t value);
    // A length word and the text.
    SetBytes& text(std::string_view text);
    // The header of a query element that was answered.
    SetBytes& block(std::string_view queryElement, std::int32_t code, std::uint32_t entryCount);
    // The header of one that failed: nothing follows its code.
    SetBytes& failedBlock(std::string_view queryElement, std::int32_t code);
    SetBytes& id(std::string_view id);
    SetBytes& stat(std::string_view id, std::string_view value);
    SetBytes& end();

    std::size_t size() const {
        return bytes_.size();
    }
    const std::string& bytes() const {
        return bytes_;
    }

  private:
    std::string bytes_;
};

// A token over a heap block of exactly the size that the library allocates for such a capacity, so that an address
// sanitizer sees every byte read or written beyond it. As long as the test changes nothing, the token is one of the
// calling thread's.
class HeldSet {
  public:
    explicit HeldSet(const SetBytes& set, std::uint32_t owner = connectionOwner, char slackFill = '\0');
    HeldSet(std::string_view bytes, std::uint32_t owner, char slackFill);

    ResultSetToken* token() {
        return &token_;
    }
    char* buffer() const {
        return block_.get();
    }
    // The address of a position in the buffer.
    char* at(std::size_t position) const {
        return block_.get() + position;
    }
    std::size_t capacity() const {
        return original_.size() - slackBehindCapacity;
    }
    // Whether count bytes from here on lie in the buffer, the terminator's place behind its capacity included.
    bool holds(const char* start, std::size_t count) const;
    bool bufferIsUnchanged() const;

  private:
    std::string original_;  // all bytes of the block
    std::unique_ptr<char[]> block_;
    std::unique_ptr<char[]> queryString_;
    ResultSetToken token_ = {};
};

}  // namespace unit_test

#endif
