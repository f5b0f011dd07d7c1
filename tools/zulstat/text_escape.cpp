#include "text_escape.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace zulstat {
namespace {

struct CodePointRange {
    uint32_t first;
    uint32_t last;
};

// Control characters, and the characters that a terminal shows as nothing, as a line break or as a change of direction.
constexpr std::array kNotShownAsTheyAre{
    CodePointRange{0x0000, 0x001F}, CodePointRange{0x007F, 0x009F}, CodePointRange{0x061C, 0x061C},
    CodePointRange{0x200B, 0x200F}, CodePointRange{0x2028, 0x202E}, CodePointRange{0x2060, 0x206F},
    CodePointRange{0xFEFF, 0xFEFF},
};

struct Decoded {
    uint32_t codePoint;
    size_t length;  // 0: the bytes are no UTF-8
};

constexpr Decoded kNotUtf8{0, 0};

uint32_t byteAt(const std::string_view text, const size_t position) {
    return static_cast<unsigned char>(text[position]);
}

size_t sequenceLength(const uint32_t leadByte) {
    if (leadByte < 0x80) {
        return 1;
    }
    if (leadByte >= 0xC2 && leadByte <= 0xDF) {
        return 2;
    }
    if (leadByte >= 0xE0 && leadByte <= 0xEF) {
        return 3;
    }
    if (leadByte >= 0xF0 && leadByte <= 0xF4) {
        return 4;
    }
    return 0;
}

bool isShortestFormOfScalar(const uint32_t codePoint, const size_t length) {
    if (length == 3) {
        return codePoint >= 0x800 && (codePoint < 0xD800 || codePoint > 0xDFFF);
    }
    if (length == 4) {
        return codePoint >= 0x10000 && codePoint <= 0x10FFFF;
    }
    return true;
}

Decoded decodeAt(const std::string_view text, const size_t position) {
    constexpr std::array<uint32_t, 5> kLeadMasks{0, 0x7F, 0x1F, 0x0F, 0x07};
    const uint32_t lead = byteAt(text, position);
    const size_t length = sequenceLength(lead);
    if (length == 0 || length > text.size() - position) {
        return kNotUtf8;
    }
    uint32_t codePoint = lead & kLeadMasks[length];
    for (size_t index = 1; index < length; ++index) {
        const uint32_t next = byteAt(text, position + index);
        if ((next & 0xC0) != 0x80) {
            return kNotUtf8;
        }
        codePoint = (codePoint << 6) | (next & 0x3F);
    }
    return isShortestFormOfScalar(codePoint, length) ? Decoded{codePoint, length} : kNotUtf8;
}

void appendHex(std::string& target, const std::string_view prefix, const uint32_t number, const int digits) {
    constexpr std::string_view kHexDigits = "0123456789ABCDEF";
    target += prefix;
    for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) {
        target += kHexDigits[(number >> shift) & 0xF];
    }
}

bool isShownAsItIs(const uint32_t codePoint) {
    return std::none_of(kNotShownAsTheyAre.begin(), kNotShownAsTheyAre.end(), [&](const CodePointRange& range) {
        return codePoint >= range.first && codePoint <= range.last;
    });
}

void appendEscaped(std::string& target, const uint32_t codePoint) {
    if (codePoint == '\n') {
        target += "\\n";
    } else if (codePoint == '\r') {
        target += "\\r";
    } else if (codePoint == '\t') {
        target += "\\t";
    } else if (codePoint < 0x80) {
        appendHex(target, "\\x", codePoint, 2);
    } else {
        appendHex(target, "\\u", codePoint, 4);
    }
}

}  // namespace

std::string escapeText(const std::string_view text) {
    std::string shown;
    shown.reserve(text.size());
    for (size_t position = 0; position < text.size();) {
        const Decoded decoded = decodeAt(text, position);
        if (decoded.length == 0) {
            appendHex(shown, "\\x", byteAt(text, position), 2);
            ++position;
            continue;
        }
        if (decoded.codePoint == '\\') {
            shown += "\\\\";
        } else if (isShownAsItIs(decoded.codePoint)) {
            shown += text.substr(position, decoded.length);
        } else {
            appendEscaped(shown, decoded.codePoint);
        }
        position += decoded.length;
    }
    return shown;
}

std::string quoteText(const std::string_view text) {
    return '"' + escapeText(text) + '"';
}

size_t countCodePoints(const std::string_view text) {
    return static_cast<size_t>(
        std::count_if(text.begin(), text.end(), [](const char byte) { return (byte & 0xC0) != 0x80; }));
}

}  // namespace zulstat
