#include "wire_bytes.h"

#include <cstddef>
#include <stdexcept>

namespace sim_test {

namespace {

int digitValue(char digit) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    const size_t value = kDigits.find(digit);
    if (value == std::string_view::npos) {
        throw std::invalid_argument("no hexadecimal digit");
    }
    return static_cast<int>(value);
}

// "US", "en", "", and the object name.
Bytes adminTexts() {
    return hex("0002 5553 0002 656E 0000 003C") + text("DefaultDomain:ProdId=com.oxa.zul,Activity=Control,type=Stats");
}

Bytes adminRequest(const Bytes& body) {
    return hex("47617465 00700000 00000001 00000000 00000000 00000005 41646D696E 00") + u32(body.size()) + body;
}

}  // namespace

Bytes hex(std::string_view digits) {
    Bytes bytes;
    int high = -1;
    for (const char digit : digits) {
        if (digit == ' ') {
            continue;
        }
        if (high < 0) {
            high = digitValue(digit);
        } else {
            bytes.push_back(static_cast<uint8_t>(high * 16 + digitValue(digit)));
            high = -1;
        }
    }
    if (high >= 0) {
        throw std::invalid_argument("odd number of hexadecimal digits");
    }
    return bytes;
}

Bytes text(std::string_view characters) {
    return {characters.begin(), characters.end()};
}

Bytes operator+(Bytes left, const Bytes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Bytes u16(size_t value) {
    return {static_cast<uint8_t>(value >> 8 & 0xFF), static_cast<uint8_t>(value & 0xFF)};
}

Bytes u32(size_t value) {
    return u16(value >> 16 & 0xFFFF) + u16(value & 0xFFFF);
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
    const auto start = bytes.begin() + static_cast<ptrdiff_t>(offset);
    return {start, start + static_cast<ptrdiff_t>(size)};
}

std::string shown(const Bytes& bytes) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string shownBytes;
    for (size_t index = 0; index < bytes.size(); ++index) {
        shownBytes += index % 4 == 0 && index > 0 ? " " : "";
        shownBytes += kDigits[bytes[index] >> 4];
        shownBytes += kDigits[bytes[index] & 15];
    }
    return shownBytes;
}

Bytes handshakeRequest() {
    return hex(
        "47617465 00700000 00000005 00000000 00000000 00000004 42415345 00 00000012"
        "0002 656E 0002 4742 00000000000000000000");
}

Bytes firstAuthorisationRequest() {
    return hex("47617465 00700000 00000001 00000000 00000000 00000004 41757468 00 00000004 00000000");
}

Bytes secondAuthorisationRequest(const Bytes& credential, const Bytes& qualifier) {
    return hex("47617465 00700000 00000001 00000000 00000000 00000004 41757468 00 00000014 00000001") + credential +
           qualifier + hex("00000000");
}

Bytes initRequest() {
    return hex("47617465 00700000 00000001 00000000 00000000 00000005 41646D696E 00 00000004 00000000");
}

Bytes attributeRequest(const Bytes& handle) {
    return adminRequest(hex("00000001") + handle + hex("00000052") + adminTexts() + hex("0008 70726F746F636F6C"));
}

Bytes invokeRequest(const Bytes& handle, std::string_view operation, std::string_view argument) {
    const Bytes call = adminTexts() + u16(operation.size()) + text(operation) + hex("00000001 ACED000574") +
                       u16(argument.size()) + text(argument) + hex("00000001 0010 6A6176612E6C616E672E537472696E67");
    return adminRequest(hex("00000005") + handle + u32(call.size()) + call);
}

Bytes closeRequest() {
    return hex("47617465 00700000 0000000A 00000000 FFFFFFFF 00000004 42415345 00 00000000");
}

}  // namespace sim_test
