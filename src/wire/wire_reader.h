// Bounded reading of big-endian bytes that came from the daemon. All pointer arithmetic on received bytes stands here.
//
// A reader never leaves its block. What lies beyond the end reads as zero, and the reader remembers that a read went
// beyond; skipping beyond the end is not a read. So a caller may treat a field that it only skips as zeros, and ask
// `overrun` for the fields that matter.
//
// Everything is inline: these are a few instructions each, and a reply has some ten fields for each of its statistics.
#ifndef ZULSTATS_WIRE_WIRE_READER_H
#define ZULSTATS_WIRE_WIRE_READER_H

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace stapi {

// The size of a block whose end is not known.
constexpr size_t kUnboundedPayload = SIZE_MAX;

struct WireReader {
    const uint8_t* data;
    size_t size;
    size_t position;  // may lie beyond size after a skip
    bool overrun;     // a read asked for bytes beyond the end
};

inline WireReader makeWireReader(const void* data, size_t size) {
    return {.data = static_cast<const uint8_t*>(data), .size = size, .position = 0, .overrun = false};
}

inline size_t bytesLeft(const WireReader& reader) {
    return reader.position < reader.size ? reader.size - reader.position : 0;
}

inline void skipBytes(WireReader* reader, size_t count) {
    reader->position = count > SIZE_MAX - reader->position ? SIZE_MAX : reader->position + count;
}

// The address of count bytes at the position, which moves behind them; null, with overrun set, when they are not all
// there.
inline const uint8_t* readBytes(WireReader* reader, size_t count) {
    const uint8_t* bytes = nullptr;
    if (reader->position <= reader->size && reader->size - reader->position >= count) {
        bytes = reader->data + reader->position;
        reader->position += count;
    } else {
        reader->overrun = true;
        skipBytes(reader, count);
    }
    return bytes;
}

// Copies count bytes; those beyond the end are zero.
inline void copyBytes(WireReader* reader, void* target, size_t count) {
    const size_t left = bytesLeft(*reader);
    const size_t present = left < count ? left : count;
    auto* const bytes = static_cast<uint8_t*>(target);
    if (present > 0) {
        std::memcpy(bytes, reader->data + reader->position, present);
    }
    if (present < count) {
        std::memset(bytes + present, 0, count - present);
        reader->overrun = true;
    }
    skipBytes(reader, count);
}

template <size_t width>
constexpr uint32_t fromBigEndian(const uint8_t* bytes) {
    uint32_t value = bytes[0];
    for (size_t index = 1; index < width; ++index) {
        value = (value << 8) | bytes[index];
    }
    return value;
}

// The value of width bytes of which some lie beyond the end. Kept out of the way of the others.
template <size_t width>
[[gnu::noinline, gnu::cold]] uint32_t readBeyondEnd(WireReader* reader) {
    uint8_t bytes[width];
    copyBytes(reader, bytes, width);
    return fromBigEndian<width>(bytes);
}

// The value of width bytes, of which those beyond the end are zero.
template <size_t width>
[[gnu::always_inline]] inline uint32_t readUnsigned(WireReader* reader) {
    uint32_t value = 0;
    if (bytesLeft(*reader) >= width) {
        value = fromBigEndian<width>(reader->data + reader->position);
        reader->position += width;
    } else {
        value = readBeyondEnd<width>(reader);
    }
    return value;
}

// A reader over the next count bytes, which this one moves behind; an empty one, with overrun set in both, when they
// are not all there. One look at the end then serves for all the fields in them.
inline WireReader readPart(WireReader* reader, size_t count) {
    const uint8_t* const bytes = readBytes(reader, count);
    return {.data = bytes, .size = bytes == nullptr ? 0 : count, .position = 0, .overrun = bytes == nullptr};
}

inline uint8_t readU8(WireReader* reader) {
    return static_cast<uint8_t>(readUnsigned<1>(reader));
}

inline uint16_t readU16(WireReader* reader) {
    return static_cast<uint16_t>(readUnsigned<2>(reader));
}

inline int16_t readI16(WireReader* reader) {
    return static_cast<int16_t>(readU16(reader));
}

inline uint32_t readU32(WireReader* reader) {
    return readUnsigned<4>(reader);
}

inline int32_t readI32(WireReader* reader) {
    return static_cast<int32_t>(readU32(reader));
}

// The same for fields that are only looked at: what lies beyond the end is zero, and no overrun.
template <size_t width>
uint32_t readUnsignedOrZero(WireReader* reader) {
    WireReader lenient = *reader;
    const uint32_t value = readUnsigned<width>(&lenient);
    reader->position = lenient.position;
    return value;
}

inline uint8_t readU8OrZero(WireReader* reader) {
    return static_cast<uint8_t>(readUnsignedOrZero<1>(reader));
}

inline uint16_t readU16OrZero(WireReader* reader) {
    return static_cast<uint16_t>(readUnsignedOrZero<2>(reader));
}

// Skips a text: a 16-bit length and that many bytes. A length beyond the end counts as 0 and is no overrun.
inline void skipText(WireReader* reader) {
    skipBytes(reader, readU16OrZero(reader));
}

}  // namespace stapi

#endif
