#include "diag/text_format.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "diag/short_copy.h"

namespace stapi {

namespace {

constexpr size_t kLongestConversion = 16;  // "%-016.8X" and the like
constexpr size_t kLongestNumber = 128;

// One conversion of a format, from its '%' to its letter.
struct Conversion {
    char text[kLongestConversion];
    size_t length;
    char letter;
};

bool isModifier(char letter) {
    return (letter >= '0' && letter <= '9') || letter == '.' || letter == '-' || letter == '+' || letter == ' ' ||
           letter == '#';
}

Conversion readConversion(const char* format) {
    Conversion conversion = {};
    size_t length = 1;
    while (isModifier(format[length]) && length + 2 < kLongestConversion) {
        ++length;
    }
    conversion.letter = format[length];
    conversion.length = conversion.letter == '\0' ? length : length + 1;
    std::memcpy(conversion.text, format, conversion.length);
    return conversion;
}

size_t readDigits(const char** cursor) {
    size_t value = 0;
    while (**cursor >= '0' && **cursor <= '9') {
        value = value * 10 + static_cast<size_t>(**cursor - '0');
        ++*cursor;
    }
    return value;
}

bool isControl(unsigned char byte) {
    return byte < 0x20 || byte == 0x7F;
}

void appendEscaped(TextSink* sink, const char* text, size_t length) {
    size_t start = 0;
    for (size_t index = 0; index < length; ++index) {
        const auto byte = static_cast<unsigned char>(text[index]);
        if (isControl(byte)) {
            char escape[8];
            const int escapeLength = std::snprintf(escape, sizeof escape, "\\x%02X", byte);
            appendText(sink, text + start, index - start);
            appendText(sink, escape, static_cast<size_t>(escapeLength));
            start = index + 1;
        }
    }
    appendText(sink, text + start, length - start);
}

void appendPadding(TextSink* sink, size_t width, size_t length) {
    for (size_t column = length; column < width; ++column) {
        appendText(sink, " ", 1);
    }
}

void appendString(TextSink* sink, const Conversion& conversion, const char* argument) {
    const char* const text = argument == nullptr ? "(null)" : argument;
    const char* cursor = conversion.text + 1;
    const bool leftJustified = *cursor == '-';
    cursor += leftJustified ? 1 : 0;
    const size_t width = readDigits(&cursor);
    size_t length = 0;
    if (*cursor == '.') {
        ++cursor;
        length = boundedLength(text, readDigits(&cursor));
    } else {
        length = std::strlen(text);
    }
    if (!leftJustified) {
        appendPadding(sink, width, length);
    }
    appendEscaped(sink, text, length);
    if (leftJustified) {
        appendPadding(sink, width, length);
    }
}

// Writes the digits of a number in front of end, at least as many as wanted; the address of the first one.
template <uint32_t base>
char* writeDigits(char* end, uint64_t value, const char* symbols, size_t wanted) {
    char* first = end;
    while (value != 0 || static_cast<size_t>(end - first) < wanted) {
        --first;
        *first = symbols[value % base];
        value /= base;
    }
    return first;
}

constexpr const char* kUpperCaseDigits = "0123456789ABCDEF";
constexpr const char* kLowerCaseDigits = "0123456789abcdef";

void appendPointer(TextSink* sink, const void* pointer) {
    char digits[16];
    char* const end = digits + sizeof digits;
    writeDigits<16>(end, reinterpret_cast<uintptr_t>(pointer), kUpperCaseDigits, sizeof digits);
    appendText(sink, digits, sizeof digits);
}

// The conversions that trace points are full of, written without the C library, which takes three times as long: d, u,
// x and X with a width and a precision at most. False for any other.
bool appendPlainInteger(TextSink* sink, const Conversion& conversion, int argument) {
    char digits[kLongestNumber];
    char* const end = digits + sizeof digits;
    const char* cursor = conversion.text + 1;
    if (*cursor == '0') {
        return false;
    }
    const size_t width = readDigits(&cursor);
    size_t wanted = 1;
    if (*cursor == '.') {
        ++cursor;
        wanted = readDigits(&cursor);
    }
    if (*cursor != conversion.letter || wanted >= sizeof digits) {
        return false;
    }
    char* first = nullptr;
    const auto bits = static_cast<uint32_t>(argument);
    if (conversion.letter == 'd') {
        first = writeDigits<10>(end, argument < 0 ? 0U - bits : bits, kUpperCaseDigits, wanted);
        if (argument < 0) {
            --first;
            *first = '-';
        }
    } else if (conversion.letter == 'u') {
        first = writeDigits<10>(end, bits, kUpperCaseDigits, wanted);
    } else if (conversion.letter == 'x' || conversion.letter == 'X') {
        first = writeDigits<16>(end, bits, conversion.letter == 'x' ? kLowerCaseDigits : kUpperCaseDigits, wanted);
    } else {
        return false;
    }
    const auto length = static_cast<size_t>(end - first);
    appendPadding(sink, width, length);
    appendText(sink, first, length);
    return true;
}

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#endif
void appendInteger(TextSink* sink, const Conversion& conversion, int argument) {
    if (appendPlainInteger(sink, conversion, argument)) {
        return;
    }
    char digits[kLongestNumber];
    const int length = std::snprintf(digits, sizeof digits, conversion.text, argument);
    appendText(sink, digits, std::min(static_cast<size_t>(length < 0 ? 0 : length), sizeof digits - 1));
}
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

// Text that fills the block, perhaps several times.
void appendAcrossBlocks(TextSink* sink, const char* text, size_t length) {
    size_t done = 0;
    while (done < length && sink->used < sink->capacity) {
        const size_t piece = std::min(length - done, sink->capacity - sink->used);
        std::memcpy(sink->block + sink->used, text + done, piece);
        sink->used += piece;
        done += piece;
        if (sink->used == sink->capacity && sink->flush != nullptr) {
            sink->flush(sink);
        }
    }
}

}  // namespace

size_t boundedLength(const char* text, size_t limit) {
    const void* const end = std::memchr(text, '\0', limit);
    return end == nullptr ? limit : static_cast<size_t>(static_cast<const char*>(end) - text);
}

void appendText(TextSink* sink, const char* text, size_t length) {
    sink->total += length;
    if (length < sink->capacity - sink->used) {
        copyShort(sink->block + sink->used, text, length);
        sink->used += length;
    } else {
        appendAcrossBlocks(sink, text, length);
    }
}

size_t appendFormatted(TextSink* sink, const char* format, va_list arguments) {
    const size_t before = sink->total;
    const char* cursor = format;
    while (*cursor != '\0') {
        const char* const plain = cursor;
        while (*cursor != '\0' && *cursor != '%') {
            ++cursor;
        }
        appendText(sink, plain, static_cast<size_t>(cursor - plain));
        if (*cursor == '%') {
            const Conversion conversion = readConversion(cursor);
            cursor += conversion.length;
            switch (conversion.letter) {
                case 's':
                    appendString(sink, conversion, va_arg(arguments, const char*));
                    break;
                case 'p':
                    appendPointer(sink, va_arg(arguments, const void*));
                    break;
                case 'c':
                case 'd':
                case 'i':
                case 'o':
                case 'u':
                case 'x':
                case 'X':
                    appendInteger(sink, conversion, va_arg(arguments, int));
                    break;
                case '%':
                    appendText(sink, "%", 1);
                    break;
                default:
                    appendText(sink, conversion.text, conversion.length);
                    break;
            }
        }
    }
    return sink->total - before;
}

}  // namespace stapi
