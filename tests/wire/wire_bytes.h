// Bytes as the tests of the wire write them down, and the frames of a gateway.
#ifndef ZULSTATS_TESTS_WIRE_WIRE_BYTES_H
#define ZULSTATS_TESTS_WIRE_WIRE_BYTES_H

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "scripted_peer.h"

namespace wire_test {

using test_support::Bytes;

// "47 61 74 65": hexadecimal digits, blanks are free.
Bytes hex(std::string_view digits);

// Bytes in the daemon's order.
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

Bytes operator+(const Bytes& first, const Bytes& second);

// A reply's header with an announced length of its own, and a whole reply.
Bytes replyHeader(std::string_view name, uint32_t returnCode, uint32_t dataLength);
Bytes reply(std::string_view name, const Bytes& body, uint32_t returnCode = 0);

// A block as the exchanges want it: allocated by the library, and as large as what it holds.
uint8_t* libraryBlock(const Bytes& content);

// The bytes at an address.
Bytes bytesAt(const void* address, size_t count);

}  // namespace wire_test

#endif
