// Formatted text that reads alike on every platform: the C library's conversions, but %p always as 16 upper-case
// hexadecimal digits without prefix, %s of null as "(null)", and the control characters 0x00 to 0x1F and 0x7F in a %s
// written as \xNN, so that no text from outside can break a line or forge one. Bytes from 0x80 are left as they are:
// they are parts of UTF-8, and a terminal that takes 0x80 to 0x9F for commands is not guarded against.
#ifndef ZULSTATS_DIAG_TEXT_FORMAT_H
#define ZULSTATS_DIAG_TEXT_FORMAT_H

#include <cstdarg>
#include <cstddef>

#if defined(__GNUC__)
#define STAPI_PRINTF_LIKE(formatIndex, argumentIndex) __attribute__((format(printf, formatIndex, argumentIndex)))
#else
#define STAPI_PRINTF_LIKE(formatIndex, argumentIndex)
#endif

namespace stapi {

// Where formatted text goes: a block, handed on through flush each time that it is full. Without flush the text that
// does not fit is counted but lost.
struct TextSink {
    char* block;
    size_t capacity;
    size_t used;
    size_t total;  // bytes written since the start, those handed on or lost included
    void (*flush)(TextSink* sink);
    void* destination;
};

// Length of a text up to its NUL byte, of which no more than limit bytes are looked at.
size_t boundedLength(const char* text, size_t limit);

void appendText(TextSink* sink, const char* text, size_t length);

// Conversions: %% c d i o s u x X p, with flags, width and precision given in digits. Returns the number of bytes that
// the text has.
size_t appendFormatted(TextSink* sink, const char* format, va_list arguments);

}  // namespace stapi

#endif
