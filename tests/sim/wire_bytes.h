#ifndef ZULSTATS_TESTS_SIM_WIRE_BYTES_H
#define ZULSTATS_TESTS_SIM_WIRE_BYTES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace sim_test {

using Bytes = std::vector<uint8_t>;

// Hexadecimal digits, blanks between them as wanted.
Bytes hex(std::string_view digits);
Bytes text(std::string_view characters);
Bytes operator+(Bytes left, const Bytes& right);

// Big-endian.
Bytes u16(size_t value);
Bytes u32(size_t value);
uint32_t u32At(const Bytes& bytes, size_t offset);
Bytes part(const Bytes& bytes, size_t offset, size_t size);

// For readable failures: byte vectors compare as this text.
std::string shown(const Bytes& bytes);

// The requests of a faultless client.
Bytes handshakeRequest();
Bytes firstAuthorisationRequest();
Bytes secondAuthorisationRequest(const Bytes& credential, const Bytes& qualifier);
Bytes initRequest();
Bytes attributeRequest(const Bytes& handle);
Bytes invokeRequest(const Bytes& handle, std::string_view operation, std::string_view argument);
Bytes closeRequest();

}  // namespace sim_test

#endif
