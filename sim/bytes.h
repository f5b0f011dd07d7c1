#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace gatewaysim {

using Bytes = std::vector<std::uint8_t>;

// Appends integers in network byte order.
class ByteWriter {
  public:
    void u8(std::uint8_t value);
    void u16(std::uint16_t value);
    void u32(std::uint32_t value);
    void u64(std::uint64_t value);
    void raw(std::span<const std::uint8_t> bytes);
    void text(std::string_view characters);
    // A 16-bit byte count and the characters. Throws std::length_error where the count does not fit.
    void countedText(std::string_view characters);

    std::size_t size() const {
        return bytes_.size();
    }
    Bytes take() {
        return std::move(bytes_);
    }

  private:
    Bytes bytes_;
};

class EndOfBytes : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Takes integers in network byte order; every call names what it wants, so that a short body is reported by that name.
class ByteReader {
  public:
    explicit ByteReader(std::span<const std::uint8_t> bytes) : rest_(bytes) {}

    std::uint8_t u8(const char* what);
    std::uint16_t u16(const char* what);
    std::uint32_t u32(const char* what);
    std::span<const std::uint8_t> raw(std::size_t count, const char* what);
    std::string countedText(const char* what);

    std::size_t remaining() const {
        return rest_.size();
    }

  private:
    std::span<const std::uint8_t> rest_;
};

}  // namespace gatewaysim
