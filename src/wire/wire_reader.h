// Bounded reading of big-endian bytes that came from the daemon. All pointer arithmetic on received bytes stands here.
//
// A reader never leaves its block. What lies beyond the end reads as zero, and the reader remembers that a read went
// beyond; skipping beyond the end is not a read. So a caller may treat a field that it only skips as zeros, and ask
// `overrun` for the fields that matter.
#ifndef ZULSTATS_WIRE_WIRE_READER_H
#define ZULSTATS_WIRE_WIRE_READER_H

#include <cstddef>
#include <cstdint>

namespace stapi {

// The size of a block whose end is not known.
constexpr size_t kUnboundedPayload = SIZE_MAX;

struct WireReader {
    const uint8_t* data;
    size_t size;
    size_t position;  // may lie beyond size after a skip
    bool overrun;     // a read asked for bytes beyond the end
};

WireReader makeWireReader(const void* data, size_t size);

uint8_t readU8(WireReader* reader);
// The same for fields that are only looked at: what lies beyond the end is zero, and no overrun.
uint8_t readU8OrZero(WireReader* reader);
uint16_t readU16OrZero(WireReader* reader);
uint16_t readU16(WireReader* reader);
int16_t readI16(WireReader* reader);
uint32_t readU32(WireReader* reader);
int32_t readI32(WireReader* reader);

// The address of count bytes at the position, which moves behind them; null, with overrun set, when they are not all
// there.
const uint8_t* readBytes(WireReader* reader, size_t count);

// Copies count bytes; those beyond the end are zero.
void copyBytes(WireReader* reader, void* target, size_t count);

void skipBytes(WireReader* reader, size_t count);
// Skips a text: a 16-bit length and that many bytes. A length beyond the end counts as 0 and is no overrun.
void skipText(WireReader* reader);

}  // namespace stapi

#endif
