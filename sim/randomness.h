#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "bytes.h"

namespace gatewaysim {

// Spreads every bit of the value over all bits of the result.
std::uint64_t scramble(std::uint64_t value);
std::uint64_t hashOf(std::string_view text);

// Opaque values for the client to hand back. All their bytes differ and 0x00 and 0xFF are among them, so that a value
// that was swapped, cut at a zero byte or widened with its sign never passes for the right one.
class OpaqueValues {
  public:
    explicit OpaqueValues(std::uint64_t seed) : state_(seed) {}

    // Never the value of the call before. The size is at least 4.
    Bytes next(std::size_t size);

  private:
    std::uint64_t number();
    Bytes candidate(std::size_t size);

    std::uint64_t state_;
    Bytes previous_;
};

}  // namespace gatewaysim
