// Bytes as tests write them down and look at them.
#ifndef ZULSTATS_TESTS_SUPPORT_BYTES_H
#define ZULSTATS_TESTS_SUPPORT_BYTES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace test_support {

using Bytes = std::vector<uint8_t>;

// "47 61 74 65": upper-case hexadecimal digits, blanks are free.
Bytes hex(std::string_view digits);
// The characters, without a length.
Bytes characters(std::string_view text);
Bytes operator+(Bytes left, const Bytes& right);

// Numbers in the daemon's order, which is big-endian.
Bytes u16(size_t value);
Bytes u32(size_t value);
uint32_t u32At(const Bytes& bytes, size_t offset);

// Throws std::out_of_range when there are not so many bytes.
Bytes part(const Bytes& bytes, size_t offset, size_t size);
// The bytes at an address.
Bytes bytesAt(const void* address, size_t count);

// For readable failures: byte vectors compare as this text, "47617465 00700000".
std::string shown(const Bytes& bytes);

// Puts bytes in the daemon's order together, field by field.
class BytesWriter {
  public:
    BytesWriter& u8(uint32_t value);
    BytesWriter& u16(uint32_t value);
    BytesWriter& u32(uint32_t value);
    BytesWriter& raw(std::string_view bytes);
    BytesWriter& raw(const Bytes& bytes);
    // A 16-bit length and the bytes.
    BytesWriter& text(std::string_view bytes);
    BytesWriter& fill(size_t count, uint8_t value);

    const Bytes& bytes() const {
        return bytes_;
    }

  private:
    Bytes bytes_;
};

}  // namespace test_support

#endif
