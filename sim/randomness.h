#ifndef ZULSTATS_SIM_RANDOMNESS_H
#define ZULSTATS_SIM_RANDOMNESS_H

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "bytes.h"

namespace gatewaysim {

// Spreads every bit of the value over all bits of the result.
uint64_t scramble(uint64_t value);
uint64_t hashOf(std::string_view text);

// Opaque values for the client to hand back. All their bytes differ and 0x00 and 0xFF are among them, so that a value
// that was swapped, cut at a zero byte or widened with its sign never passes for the right one.
class OpaqueValues {
  public:
    explicit OpaqueValues(uint64_t seed) : state_(seed) {}

    // Never the value of the call before. The size is at least 4.
    Bytes next(size_t size);

  private:
    uint64_t number();
    Bytes candidate(size_t size);

    uint64_t state_;
    Bytes previous_;
};

}  // namespace gatewaysim

#endif
