#include "bytes.h"

#include <stdexcept>

namespace test_support {

namespace {

constexpr std::string_view kDigits = "0123456789ABCDEF";

uint8_t digitValue(char digit) {
    const size_t value = kDigits.find(digit);
    if (value == std::string_view::npos) {
        throw std::invalid_argument(std::string("no hexadecimal digit: ") + digit);
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
        throw std::invalid_argument("odd number of hexadecimal digits");
    }
    return bytes;
}

Bytes characters(std::string_view text) {
    return {text.begin(), text.end()};
}

Bytes operator+(Bytes left, const Bytes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Bytes u16(size_t value) {
    return BytesWriter().u16(static_cast<uint32_t>(value)).bytes();
}

Bytes u32(size_t value) {
    return BytesWriter().u32(static_cast<uint32_t>(value)).bytes();
}

uint32_t u32At(const Bytes& bytes, size_t offset) {
    uint32_t value = 0;
    for (size_t index = offset; index < offset + 4; ++index) {
        value = value << 8 | bytes.at(index);
    }
    return value;
}

Bytes part(const Bytes& bytes, size_t offset, size_t size) {
    if (offset + size > bytes.size()) {
        throw std::out_of_range("only " + std::to_string(bytes.size()) + " bytes");
    }
    return bytesAt(bytes.data() + offset, size);
}

Bytes bytesAt(const void* address, size_t count) {
    const auto* const bytes = static_cast<const uint8_t*>(address);
    return Bytes(bytes, bytes + count);
}

std::string shown(const Bytes& bytes) {
    std::string text;
    for (size_t index = 0; index < bytes.size(); ++index) {
        text += index % 4 == 0 && index > 0 ? " " : "";
        text += kDigits[bytes[index] >> 4];
        text += kDigits[bytes[index] & 15];
    }
    return text;
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

}  // namespace test_support
