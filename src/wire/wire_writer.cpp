#include "wire/wire_writer.h"

#include <cstring>

namespace stapi {

namespace {

void writeUnsigned(WireWriter* writer, uint32_t value, size_t width) {
    uint8_t bytes[4];
    for (size_t index = 0; index < width; ++index) {
        bytes[index] = static_cast<uint8_t>(value >> (8 * (width - 1 - index)));
    }
    writeBytes(writer, bytes, width);
}

}  // namespace

WireWriter makeWireWriter(void* data, size_t size) {
    return {.data = static_cast<uint8_t*>(data), .size = size, .position = 0, .overrun = false};
}

void writeU8(WireWriter* writer, uint8_t value) {
    writeUnsigned(writer, value, 1);
}

void writeU16(WireWriter* writer, uint16_t value) {
    writeUnsigned(writer, value, 2);
}

void writeU32(WireWriter* writer, uint32_t value) {
    writeUnsigned(writer, value, 4);
}

void writeBytes(WireWriter* writer, const void* bytes, size_t count) {
    if (writer->overrun || count > writer->size - writer->position) {
        writer->overrun = true;
    } else if (count > 0) {
        std::memcpy(writer->data + writer->position, bytes, count);
        writer->position += count;
    }
}

void writeText(WireWriter* writer, const char* text) {
    const size_t length = std::strlen(text);
    if (length > UINT16_MAX) {
        writer->overrun = true;
    } else {
        writeU16(writer, static_cast<uint16_t>(length));
        writeBytes(writer, text, length);
    }
}

bool isFilled(const WireWriter& writer) {
    return !writer.overrun && writer.position == writer.size;
}

}  // namespace stapi
