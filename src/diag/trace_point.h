// A trace point as a value: for code that several functions share, each with texts of its own. Elsewhere the TRACE_*
// macros take id and text where they stand.
#ifndef ZULSTATS_DIAG_TRACE_POINT_H
#define ZULSTATS_DIAG_TRACE_POINT_H

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "diag/stapi_zul_diag.h"

namespace stapi {

namespace trace_check {

// Not constexpr, so that calling one while a point is made stops the compiler with its name.
void messageDoesNotFitItsArea();
void messageDoesNotEndInOneNewLine();
void conversionDoesNotFitItsArgument();
void argumentCountDiffersFromConversions();

template <typename Argument>
constexpr bool fits(char conversion) {
    bool fitting = false;
    if constexpr (std::is_pointer_v<Argument>) {
        fitting = conversion == 'p' || (conversion == 's' && std::is_same_v<Argument, const char*>);
    } else {
        static_assert(std::is_integral_v<Argument> && sizeof(Argument) == sizeof(int32_t));
        fitting = conversion == 'd' || conversion == 'u' || conversion == 'x' || conversion == 'X';
    }
    return fitting;
}

// Position of the letter of the next conversion at or behind a position; the text's length when there is none.
constexpr size_t nextConversion(const char* text, size_t position) {
    while (text[position] != '\0' && text[position] != '%') {
        ++position;
    }
    if (text[position] == '%') {
        ++position;
        while ((text[position] >= '0' && text[position] <= '9') || text[position] == '.' || text[position] == '-') {
            ++position;
        }
    }
    return position;
}

// Holds the next conversion against an argument; the position of its letter.
template <typename Argument>
consteval size_t checkConversion(const char* text, size_t position) {
    const size_t letter = nextConversion(text, position);
    if (!fits<Argument>(text[letter])) {
        conversionDoesNotFitItsArgument();
    }
    return letter;
}

template <typename... Arguments>
consteval void checkConversions(const char* text) {
    size_t position = 0;
    ((position = checkConversion<Arguments>(text, position)), ...);
    if (text[nextConversion(text, position)] != '\0') {
        argumentCountDiffersFromConversions();
    }
}

consteval void checkMessage(const char* text, size_t size) {
    if (size > kTraceMessageArea) {
        messageDoesNotFitItsArea();
    }
    size_t newLines = 0;
    for (size_t index = 0; index + 1 < size; ++index) {
        newLines += text[index] == '\n' ? 1 : 0;
    }
    if (newLines != 1 || text[size - 2] != '\n') {
        messageDoesNotEndInOneNewLine();
    }
}

}  // namespace trace_check

// Word, id and text of a point whose text takes arguments of these types; they are held against each other when it is
// compiled. A point that was given none of the three is silent.
template <typename... Arguments>
struct TracePoint {
    TraceWord word = TraceWord::exception;
    int32_t id = 0;
    const char* text = nullptr;

    constexpr TracePoint() = default;
    template <size_t size>
    consteval TracePoint(TraceWord pointWord, int32_t pointId, const char (&message)[size])
        : word(pointWord), id(pointId), text(message) {
        trace_check::checkMessage(message, size);
        trace_check::checkConversions<Arguments...>(message);
    }

    bool isOn() const {
        return text != nullptr && isTraceOn(word);
    }

    void write(Arguments... arguments) const {
        writeCheckedTraceLine(word, id, text, arguments...);
    }

    void writeWithData(const HexDumpArea& area, Arguments... arguments) const {
        writeCheckedTraceData(area, id, text, arguments...);
    }
};

// Writes the line of a TracePoint. The arguments are evaluated only when the level of its word is on.
#define TRACE_POINT(point, ...)         \
    do {                                \
        if ((point).isOn()) {           \
            (point).write(__VA_ARGS__); \
        }                               \
    } while (false)
// The same with the hex dump of a HexDumpArea behind it.
#define TRACE_POINT_DATA(point, area, ...)            \
    do {                                              \
        if ((point).isOn()) {                         \
            (point).writeWithData(area, __VA_ARGS__); \
        }                                             \
    } while (false)

}  // namespace stapi

#endif
