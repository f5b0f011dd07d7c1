#include "bytes.h"

namespace gatewaysim {

namespace {

std::optional<uint8_t> hexDigit(char character) {
    if (character >= '0' && character <= '9') {
        return static_cast<uint8_t>(character - '0');
    }
    if (character >= 'A' && character <= 'F') {
        return static_cast<uint8_t>(character - 'A' + 10);
    }
    if (character >= 'a' && character <= 'f') {
        return static_cast<uint8_t>(character - 'a' + 10);
    }
    return std::nullopt;
}

}  // namespace

std::string hexText(std::span<const uint8_t> bytes) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(2 * bytes.size());
    for (const uint8_t byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0x0F];
    }
    return text;
}

std::optional<Bytes> bytesFromHex(std::string_view text) {
    if (text.size() % 2 != 0) {
        return std::nullopt;
    }
    Bytes bytes;
    bytes.reserve(text.size() / 2);
    for (size_t at = 0; at < text.size(); at += 2) {
        const auto high = hexDigit(text[at]);
        const auto low = hexDigit(text[at + 1]);
        if (!high.has_value() || !low.has_value()) {
            return std::nullopt;
        }
        bytes.push_back(static_cast<uint8_t>(*high << 4 | *low));
    }
    return bytes;
}

void ByteWriter::u8(uint8_t value) {
    bytes_.push_back(value);
}

void ByteWriter::u16(uint16_t value) {
    u8(static_cast<uint8_t>(value >> 8));
    u8(static_cast<uint8_t>(value & 0xFF));
}

void ByteWriter::u32(uint32_t value) {
    u16(static_cast<uint16_t>(value >> 16));
    u16(static_cast<uint16_t>(value & 0xFFFF));
}

void ByteWriter::u64(uint64_t value) {
    u32(static_cast<uint32_t>(value >> 32));
    u32(static_cast<uint32_t>(value & 0xFFFFFFFF));
}

void ByteWriter::raw(std::span<const uint8_t> bytes) {
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
}

void ByteWriter::text(std::string_view characters) {
    bytes_.insert(bytes_.end(), characters.begin(), characters.end());
}

void ByteWriter::countedText(std::string_view characters) {
    if (characters.size() > UINT16_MAX) {
        throw std::length_error("a text of " + std::to_string(characters.size()) + " bytes has no 16-bit byte count");
    }
    u16(static_cast<uint16_t>(characters.size()));
    text(characters);
}

std::span<const uint8_t> ByteReader::raw(size_t count, const char* what) {
    if (count > rest_.size()) {
        throw EndOfBytes(std::string(what) + " needs " + std::to_string(count) + " bytes where " +
                         std::to_string(rest_.size()) + " are left of the body");
    }
    const auto taken = rest_.first(count);
    rest_ = rest_.subspan(count);
    return taken;
}

uint8_t ByteReader::u8(const char* what) {
    return raw(1, what)[0];
}

uint16_t ByteReader::u16(const char* what) {
    const auto bytes = raw(2, what);
    return static_cast<uint16_t>(bytes[0] << 8 | bytes[1]);
}

uint32_t ByteReader::u32(const char* what) {
    const auto bytes = raw(4, what);
    return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
           static_cast<uint32_t>(bytes[2]) << 8 | static_cast<uint32_t>(bytes[3]);
}

std::string ByteReader::countedText(const char* what) {
    const uint16_t count = u16(what);
    const auto bytes = raw(count, what);
    return {bytes.begin(), bytes.end()};
}

}  // namespace gatewaysim
