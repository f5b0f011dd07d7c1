// The bytes of a result-set buffer, as a test lays them down by hand or expects them.
#ifndef ZULSTATS_TESTS_SUPPORT_SET_BYTES_H
#define ZULSTATS_TESTS_SUPPORT_SET_BYTES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "bytes.h"

namespace test_support {

// The mark behind the last entry, in the host's order like every number of a result set.
constexpr uint32_t kEndMark = 0x0E0F0E0F;

// Puts the bytes of a result-set buffer together, field by field.
class SetBytes {
  public:
    SetBytes() = default;
    SetBytes(std::string_view eyecatcher, uint32_t blockCount);

    SetBytes& raw(std::string_view bytes);
    SetBytes& word(uint32_t value);
    // A length word and the text.
    SetBytes& text(std::string_view text);
    // The header of a query element that was answered.
    SetBytes& block(std::string_view queryElement, int32_t code, uint32_t entryCount);
    // The header of one that failed: nothing follows its code.
    SetBytes& failedBlock(std::string_view queryElement, int32_t code);
    SetBytes& id(std::string_view id);
    SetBytes& stat(std::string_view id, std::string_view value);
    SetBytes& end();

    size_t size() const {
        return bytes_.size();
    }
    const std::string& bytes() const {
        return bytes_;
    }
    // The bytes with the end mark behind them.
    Bytes terminated() const;

  private:
    std::string bytes_;
};

SetBytes idSet(uint32_t blockCount);
SetBytes statSet(uint32_t blockCount);

}  // namespace test_support

#endif
