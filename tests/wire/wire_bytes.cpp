#include "wire_bytes.h"

#include <cstring>
#include <stdexcept>

#include "diag/stapi_zul_memory.h"

namespace wire_test {

namespace {

uint8_t digitValue(char digit) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    const size_t value = kDigits.find(digit);
    if (value == std::string_view::npos) {
        throw std::invalid_argument("not a hexadecimal digit");
    }
    return static_cast<uint8_t>(value);
}

}  // namespace

Bytes hex(std::string_view digits) {
    Bytes bytes;
    bool isSecond = false;
    for (const char digit : digits) {
        if (digit != ' ') {
            if (isSecond) {
                bytes.back() = static_cast<uint8_t>(bytes.back() << 4 | digitValue(digit));
            } else {
                bytes.push_back(digitValue(digit));
            }
            isSecond = !isSecond;
        }
    }
    if (isSecond) {
        throw std::invalid_argument("half a byte");
    }
    return bytes;
}

BytesWriter& BytesWriter::u8(uint32_t value) {
    bytes_.push_back(static_cast<uint8_t>(value));
    return *this;
}

BytesWriter& BytesWriter::u16(uint32_t value) {
    return u8(value >> 8).u8(value);
}

BytesWriter& BytesWriter::u32(uint32_t value) {
    return u16(value >> 16).u16(value);
}

BytesWriter& BytesWriter::raw(std::string_view bytes) {
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    return *this;
}

BytesWriter& BytesWriter::raw(const Bytes& bytes) {
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    return *this;
}

BytesWriter& BytesWriter::text(std::string_view bytes) {
    return u16(static_cast<uint32_t>(bytes.size())).raw(bytes);
}

BytesWriter& BytesWriter::fill(size_t count, uint8_t value) {
    bytes_.insert(bytes_.end(), count, value);
    return *this;
}

Bytes operator+(const Bytes& first, const Bytes& second) {
    return BytesWriter().raw(first).raw(second).bytes();
}

Bytes replyHeader(std::string_view name, uint32_t returnCode, uint32_t dataLength) {
    return BytesWriter()
        .raw("Gate")
        .u32(0x00700000)
        .u32(1)
        .u32(0)
        .u32(returnCode)
        .u32(static_cast<uint32_t>(name.size()))
        .raw(name)
        .u8(0)
        .u32(dataLength)
        .bytes();
}

Bytes reply(std::string_view name, const Bytes& body, uint32_t returnCode) {
    return replyHeader(name, returnCode, static_cast<uint32_t>(body.size())) + body;
}

uint8_t* libraryBlock(const Bytes& content) {
    auto* const block = static_cast<uint8_t*>(stapi::allocateMemory(content.size()));
    if (!content.empty()) {
        std::memcpy(block, content.data(), content.size());
    }
    return block;
}

Bytes bytesAt(const void* address, size_t count) {
    const auto* const bytes = static_cast<const uint8_t*>(address);
    return Bytes(bytes, bytes + count);
}

}  // namespace wire_test
