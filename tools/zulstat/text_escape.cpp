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
// The selectors of a variant are not among them: they belong to the character before them, as in many a picture.
constexpr std::array kNotShownAsTheyAre{
    CodePointRange{0x0000, 0x001F},   CodePointRange{0x007F, 0x009F},   CodePointRange{0x00AD, 0x00AD},
    CodePointRange{0x034F, 0x034F},   CodePointRange{0x061C, 0x061C},   CodePointRange{0x115F, 0x1160},
    CodePointRange{0x17B4, 0x17B5},   CodePointRange{0x180B, 0x180F},   CodePointRange{0x200B, 0x200F},
    CodePointRange{0x2028, 0x202E},   CodePointRange{0x2060, 0x206F},   CodePointRange{0x2800, 0x2800},
    CodePointRange{0x3164, 0x3164},   CodePointRange{0xFEFF, 0xFEFF},   CodePointRange{0xFFA0, 0xFFA0},
    CodePointRange{0xFFF0, 0xFFFB},   CodePointRange{0x1BCA0, 0x1BCA3}, CodePointRange{0x1D173, 0x1D17A},
    CodePointRange{0xE0000, 0xE00FF}, CodePointRange{0xE01F0, 0xE0FFF},
};

// Marks that stand on the character before them.
constexpr std::array kWithoutWidth{
    CodePointRange{0x0300, 0x036F},   CodePointRange{0x0483, 0x0489}, CodePointRange{0x0591, 0x05BD},
    CodePointRange{0x0610, 0x061A},   CodePointRange{0x064B, 0x065F}, CodePointRange{0x0E34, 0x0E3A},
    CodePointRange{0x0E47, 0x0E4E},   CodePointRange{0x1AB0, 0x1AFF}, CodePointRange{0x1DC0, 0x1DFF},
    CodePointRange{0x20D0, 0x20FF},   CodePointRange{0xFE00, 0xFE0F}, CodePointRange{0xFE20, 0xFE2F},
    CodePointRange{0xE0100, 0xE01EF},
};

// East Asian wide and full-width characters, and pictures.
constexpr std::array kWide{
    CodePointRange{0x1100, 0x115F},   CodePointRange{0x231A, 0x231B},   CodePointRange{0x23E9, 0x23EC},
    CodePointRange{0x25FD, 0x25FE},   CodePointRange{0x2614, 0x2615},   CodePointRange{0x2648, 0x2653},
    CodePointRange{0x26AA, 0x26AB},   CodePointRange{0x26BD, 0x26BE},   CodePointRange{0x2705, 0x2705},
    CodePointRange{0x270A, 0x270B},   CodePointRange{0x274C, 0x274C},   CodePointRange{0x2753, 0x2755},
    CodePointRange{0x2E80, 0x303E},   CodePointRange{0x3041, 0x33FF},   CodePointRange{0x3400, 0x4DBF},
    CodePointRange{0x4E00, 0x9FFF},   CodePointRange{0xA000, 0xA4CF},   CodePointRange{0xA960, 0xA97F},
    CodePointRange{0xAC00, 0xD7A3},   CodePointRange{0xF900, 0xFAFF},   CodePointRange{0xFE10, 0xFE19},
    CodePointRange{0xFE30, 0xFE6F},   CodePointRange{0xFF00, 0xFF60},   CodePointRange{0xFFE0, 0xFFE6},
    CodePointRange{0x16FE0, 0x18CFF}, CodePointRange{0x1B000, 0x1B2FF}, CodePointRange{0x1F004, 0x1F004},
    CodePointRange{0x1F0CF, 0x1F0CF}, CodePointRange{0x1F18E, 0x1F18E}, CodePointRange{0x1F191, 0x1F19A},
    CodePointRange{0x1F200, 0x1F320}, CodePointRange{0x1F32D, 0x1F64F}, CodePointRange{0x1F680, 0x1F6FC},
    CodePointRange{0x1F7E0, 0x1F7F0}, CodePointRange{0x1F90C, 0x1F9FF}, CodePointRange{0x1FA70, 0x1FAFF},
    CodePointRange{0x20000, 0x3FFFD},
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
    } else if (codePoint <= 0xFFFF) {
        appendHex(target, "\\u", codePoint, 4);
    } else {
        appendHex(target, "\\U", codePoint, 8);
    }
}

size_t widthOf(const Decoded& decoded) {
    const auto isIn = [&](const CodePointRange& range) {
        return decoded.codePoint >= range.first && decoded.codePoint <= range.last;
    };
    if (decoded.length < 2) {
        return 1;
    }
    if (std::any_of(kWithoutWidth.begin(), kWithoutWidth.end(), isIn)) {
        return 0;
    }
    return std::any_of(kWide.begin(), kWide.end(), isIn) ? 2 : 1;
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

size_t displayWidth(const std::string_view text) {
    size_t width = 0;
    for (size_t position = 0; position < text.size();) {
        const Decoded decoded = decodeAt(text, position);
        width += widthOf(decoded);
        position += std::max<size_t>(decoded.length, 1);
    }
    return width;
}

std::string cutToWidth(const std::string_view text, const size_t width) {
    constexpr std::string_view kMark = "\xE2\x80\xA6";
    size_t used = 0;
    size_t lastFit = 0;  // where a text with a mark behind it ends
    for (size_t position = 0; position < text.size();) {
        const Decoded decoded = decodeAt(text, position);
        used += widthOf(decoded);
        if (used > width) {
            return width == 0 ? std::string() : std::string(text.substr(0, lastFit)).append(kMark);
        }
        position += std::max<size_t>(decoded.length, 1);
        lastFit = used < width ? position : lastFit;
    }
    return std::string(text);
}

size_t lengthOfCharacter(const std::string_view text) {
    return text.empty() ? 0 : std::max<size_t>(decodeAt(text, 0).length, 1);
}

}  // namespace zulstat
