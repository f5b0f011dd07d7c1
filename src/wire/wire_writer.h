// Bounded writing of big-endian bytes for the daemon. A writer never leaves its block; what does not fit is left out
// and remembered.
#ifndef ZULSTATS_WIRE_WIRE_WRITER_H
#define ZULSTATS_WIRE_WIRE_WRITER_H

#include <cstddef>
#include <cstdint>

namespace stapi {

struct WireWriter {
    uint8_t* data;
    size_t size;
    size_t position;
    bool overrun;  // something did not fit, or a text was too long for its length field
};

WireWriter makeWireWriter(void* data, size_t size);

void writeU8(WireWriter* writer, uint8_t value);
void writeU16(WireWriter* writer, uint16_t value);
void writeU32(WireWriter* writer, uint32_t value);
void writeBytes(WireWriter* writer, const void* bytes, size_t count);
// A 16-bit length and the text's bytes, without its terminating zero.
void writeText(WireWriter* writer, const char* text);

// Whether the block has been filled exactly.
bool isFilled(const WireWriter& writer);

}  // namespace stapi

#endif
