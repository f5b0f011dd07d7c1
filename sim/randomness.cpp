#include "randomness.h"

#include <algorithm>

namespace gatewaysim {

uint64_t scramble(uint64_t value) {
    value += 0x9E3779B97F4A7C15ULL;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9ULL;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBULL;
    return value ^ (value >> 31);
}

uint64_t hashOf(std::string_view text) {
    uint64_t hash = 0xCBF29CE484222325ULL;
    for (const char character : text) {
        hash = (hash ^ static_cast<unsigned char>(character)) * 0x100000001B3ULL;
    }
    return hash;
}

uint64_t OpaqueValues::number() {
    return scramble(state_++);
}

Bytes OpaqueValues::candidate(size_t size) {
    Bytes value{0x00, 0xFF};
    while (value.size() < size) {
        const auto byte = static_cast<uint8_t>(number() & 0xFF);
        if (std::find(value.begin(), value.end(), byte) == value.end()) {
            value.push_back(byte);
        }
    }
    for (size_t last = size - 1; last > 0; --last) {
        std::swap(value[last], value[number() % (last + 1)]);
    }
    return value;
}

Bytes OpaqueValues::next(size_t size) {
    Bytes value = candidate(size);
    while (value == previous_) {
        value = candidate(size);
    }
    previous_ = value;
    return value;
}

}  // namespace gatewaysim
