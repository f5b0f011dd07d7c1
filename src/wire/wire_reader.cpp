#include "wire/wire_reader.h"

#include <cstring>

namespace stapi {

namespace {

size_t bytesLeft(const WireReader& reader) {
    return reader.position < reader.size ? reader.size - reader.position : 0;
}

uint32_t readUnsigned(WireReader* reader, size_t width) {
    uint8_t bytes[4];
    copyBytes(reader, bytes, width);
    uint32_t value = 0;
    for (size_t index = 0; index < width; ++index) {
        value = (value << 8) | bytes[index];
    }
    return value;
}

uint32_t readUnsignedOrZero(WireReader* reader, size_t width) {
    WireReader lenient = *reader;
    const uint32_t value = readUnsigned(&lenient, width);
    reader->position = lenient.position;
    return value;
}

}  // namespace

WireReader makeWireReader(const void* data, size_t size) {
    return {.data = static_cast<const uint8_t*>(data), .size = size, .position = 0, .overrun = false};
}

uint8_t readU8(WireReader* reader) {
    return static_cast<uint8_t>(readUnsigned(reader, 1));
}

uint8_t readU8OrZero(WireReader* reader) {
    return static_cast<uint8_t>(readUnsignedOrZero(reader, 1));
}

uint16_t readU16OrZero(WireReader* reader) {
    return static_cast<uint16_t>(readUnsignedOrZero(reader, 2));
}

uint16_t readU16(WireReader* reader) {
    return static_cast<uint16_t>(readUnsigned(reader, 2));
}

int16_t readI16(WireReader* reader) {
    return static_cast<int16_t>(readU16(reader));
}

uint32_t readU32(WireReader* reader) {
    return readUnsigned(reader, 4);
}

int32_t readI32(WireReader* reader) {
    return static_cast<int32_t>(readU32(reader));
}

const uint8_t* readBytes(WireReader* reader, size_t count) {
    const uint8_t* bytes = nullptr;
    if (bytesLeft(*reader) >= count && reader->position <= reader->size) {
        bytes = reader->data + reader->position;
    } else {
        reader->overrun = true;
    }
    skipBytes(reader, count);
    return bytes;
}

void copyBytes(WireReader* reader, void* target, size_t count) {
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

void skipBytes(WireReader* reader, size_t count) {
    reader->position = count > SIZE_MAX - reader->position ? SIZE_MAX : reader->position + count;
}

void skipText(WireReader* reader) {
    skipBytes(reader, readU16OrZero(reader));
}

}  // namespace stapi
