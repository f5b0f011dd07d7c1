#ifndef ZULSTATS_SIM_BYTES_H
#define ZULSTATS_SIM_BYTES_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace gatewaysim {

using Bytes = std::vector<uint8_t>;

// Two digits for each byte, in upper case.
std::string hexText(std::span<const uint8_t> bytes);
// Nothing for anything but two digits, of either case, for each byte.
std::optional<Bytes> bytesFromHex(std::string_view text);

// Appends integers in network byte order.
class ByteWriter {
  public:
    void u8(uint8_t value);
    void u16(uint16_t value);
    void u32(uint32_t value);
    void u64(uint64_t value);
    void raw(std::span<const uint8_t> bytes);
    void text(std::string_view characters);
    // A 16-bit byte count and the characters. Throws std::length_error where the count does not fit.
    void countedText(std::string_view characters);

    size_t size() const {
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
    explicit ByteReader(std::span<const uint8_t> bytes) : rest_(bytes) {}

    uint8_t u8(const char* what);
    uint16_t u16(const char* what);
    uint32_t u32(const char* what);
    std::span<const uint8_t> raw(size_t count, const char* what);
    std::string countedText(const char* what);

    size_t remaining() const {
        return rest_.size();
    }

  private:
    std::span<const uint8_t> rest_;
};

}  // namespace gatewaysim

#endif
