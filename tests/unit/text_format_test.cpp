#include "diag/text_format.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "trace_fixture.h"

namespace {

struct Formatted {
    std::string text;
    size_t length;
};

constexpr size_t kRoom = 4096;

Formatted format(const char* formatText, ...) STAPI_PRINTF_LIKE(1, 2);
Formatted format(const char* formatText, ...) {
    std::vector<char> block(kRoom);
    stapi::TextSink sink = {block.data(), block.size(), 0, 0, nullptr, nullptr};
    va_list arguments;
    va_start(arguments, formatText);
    const size_t length = stapi::appendFormatted(&sink, formatText, arguments);
    va_end(arguments);
    return {std::string(block.data(), sink.used), length};
}

TEST(TextFormat, CopiesTextWithoutConversions) {
    EXPECT_EQ(format("plain text\n").text, "plain text\n");
    EXPECT_EQ(format("plain text\n").length, 11U);
}

TEST(TextFormat, PercentSignStandsForItself) {
    EXPECT_EQ(format("100%% of %d", 3).text, "100% of 3");
}

TEST(TextFormat, SignedNumbers) {
    EXPECT_EQ(format("%d %d %d", 0, INT_MAX, INT_MIN).text, "0 2147483647 -2147483648");
    EXPECT_EQ(format("%i", -7).text, "-7");
}

TEST(TextFormat, UnsignedNumbers) {
    EXPECT_EQ(format("%u %x %X %o", UINT_MAX, 0xabcdU, 0xabcdU, 8U).text, "4294967295 abcd ABCD 10");
}

TEST(TextFormat, WidthAndPrecisionOfNumbers) {
    EXPECT_EQ(format("%4.4d", 7).text, "0007");
    EXPECT_EQ(format("%4.4d", 12345).text, "12345");
    EXPECT_EQ(format("%.3d", 7).text, "007");
    EXPECT_EQ(format("%8.8X", 0xBEEFU).text, "0000BEEF");
    EXPECT_EQ(format("%2.2X", 0xAU).text, "0A");
    EXPECT_EQ(format("%5d|%-5d|%+d", 42, 42, 42).text, "   42|42   |+42");
}

TEST(TextFormat, Characters) {
    EXPECT_EQ(format("%c%c", 'a', 'Z').text, "aZ");
}

TEST(TextFormat, PointerIsSixteenUpperCaseDigitsWithoutPrefix) {
    const auto* const pointer = reinterpret_cast<const void*>(uintptr_t{0xABCDEF0123});
    EXPECT_EQ(format("%p", pointer).text, "000000ABCDEF0123");
    EXPECT_EQ(format("0x%p", pointer).text, "0x000000ABCDEF0123");
}

TEST(TextFormat, NullPointerIsSixteenZeros) {
    EXPECT_EQ(format("%p", static_cast<const void*>(nullptr)).text, "0000000000000000");
}

TEST(TextFormat, HighestPointerIsNotCutOff) {
    EXPECT_EQ(format("%p", reinterpret_cast<const void*>(UINTPTR_MAX)).text, "FFFFFFFFFFFFFFFF");
}

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#endif
TEST(TextFormat, NumbersReadAsTheCLibraryWritesThem) {
    const char* const formats[] = {"%d",    "%u",   "%x",     "%X",    "%8.8X", "%4.4d", "%12d", "%12.5d",
                                   "%3.1x", "%.0d", "%5.0u",  "%2.2X", "%-9d",  "%09d",  "%+d",  "% d",
                                   "%#x",   "%i",   "%-7.3u", "%o",    "%c",    "%10.d"};
    const int values[] = {0, 1, -1, 9, 10, 15, 16, 255, 4096, -4096, INT_MAX, INT_MIN, INT_MIN + 1, 0x41};
    for (const char* const text : formats) {
        for (const int value : values) {
            char expected[64];
            const int length = std::snprintf(expected, sizeof expected, text, value);
            EXPECT_EQ(format(text, value).text, std::string(expected, static_cast<size_t>(length)))
                << text << " of " << value;
        }
    }
}
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

TEST(TextFormat, Texts) {
    EXPECT_EQ(format("<%s>", "some text").text, "<some text>");
    EXPECT_EQ(format("<%s>", "").text, "<>");
}

TEST(TextFormat, NullTextIsSaidToBeNull) {
    const char* volatile text = nullptr;  // volatile, or the compiler would object to it
    EXPECT_EQ(format("<%s>", text).text, "<(null)>");
    EXPECT_EQ(format("<%8.8s>", text).text, "<  (null)>");
}

TEST(TextFormat, PrecisionCutsATextOff) {
    EXPECT_EQ(format("<%-6.6s>", "EXCEPTION").text, "<EXCEPT>");
    EXPECT_EQ(format("<%8.8s>", "ZULGWTOKEN").text, "<ZULGWTOK>");
}

TEST(TextFormat, WidthPadsATextOnTheSideThatItSays) {
    EXPECT_EQ(format("<%-6.6s>", "EXIT").text, "<EXIT  >");
    EXPECT_EQ(format("<%6s>", "EXIT").text, "<  EXIT>");
    EXPECT_EQ(format("<%8.8s>", "ZUL").text, "<     ZUL>");
}

TEST(TextFormat, TextWithoutTerminatorIsReadNoFurtherThanThePrecision) {
    // Of exact size on the heap: the address sanitizer sees a byte read too much.
    const std::vector<char> eyecatcher = {'Z', 'U', 'L', 'G', 'W', 'T', 'O', 'K'};
    EXPECT_EQ(format("<%8.8s>", eyecatcher.data()).text, "<ZULGWTOK>");
}

TEST(TextFormat, ControlCharactersOfATextAreMadeVisible) {
    EXPECT_EQ(format("<%s>", "a\nb\tc\x1B[2Jd\x7F").text, "<a\\x0Ab\\x09c\\x1B[2Jd\\x7F>");
}

TEST(TextFormat, ControlCharactersOfTheFormatStayAsTheyAre) {
    EXPECT_EQ(format("a\n\t%d\n", 1).text, "a\n\t1\n");
}

TEST(TextFormat, BytesAbove127StayAsTheyAre) {
    EXPECT_EQ(format("<%s>", "\x80\xC3\xA4\xFF").text, "<\x80\xC3\xA4\xFF>");
}

// Some terminals take them for commands; they are also parts of UTF-8, and only the latter is decided on.
TEST(TextFormat, EveryByteFrom0x80To0x9FStaysAsItIs) {
    std::string text;
    for (int byte = 0x80; byte <= 0x9F; ++byte) {
        text.push_back(static_cast<char>(byte));
    }
    EXPECT_EQ(format("<%s>", text.c_str()).text, "<" + text + ">");
}

TEST(TextFormat, UnknownAndIncompleteConversionsStayAsTheyAre) {
    const char* volatile unknown = "<%y>";  // volatile, or the compilers would object; so they would without arguments
    const char* volatile incomplete = "100%-";
    EXPECT_EQ(format(unknown, 0).text, "<%y>");
    EXPECT_EQ(format(incomplete, 0).text, "100%-");
}

TEST(TextFormat, PrecisionIsKeptUpToTheAreaOfANumber) {
    EXPECT_EQ(format("<%.10d>", 7).text, "<0000000007>");
    EXPECT_EQ(format("<%.127d>", 7).text, "<" + std::string(126, '0') + "7>");
    EXPECT_EQ(format("<%.200d>", 7).text, "<" + std::string(127, '0') + ">");
}

TEST(TextFormat, ConversionsInsideAnArgumentAreNotConverted) {
    EXPECT_EQ(format("<%s> %d", "%d%s%n%p", 5).text, "<%d%s%n%p> 5");
}

TEST(TextFormat, LongTextIsWhole) {
    const std::string text(3000, 'x');
    EXPECT_EQ(format("<%s>", text.c_str()).text, "<" + text + ">");
}

TEST(TextFormat, TextThatDoesNotFitIsCountedButNotWritten) {
    // Of exact size on the heap: the address sanitizer sees a byte written too much.
    std::vector<char> block(10);
    stapi::TextSink sink = {block.data(), block.size(), 0, 0, nullptr, nullptr};
    stapi::appendText(&sink, "0123456", 7);
    stapi::appendText(&sink, "789abc", 6);
    EXPECT_EQ(sink.used, 10U);
    EXPECT_EQ(sink.total, 13U);
    EXPECT_EQ(std::string(block.data(), block.size()), "0123456789");
}

struct Pieces {
    std::vector<std::string> all;
};

void takePiece(stapi::TextSink* sink) {
    static_cast<Pieces*>(sink->destination)->all.emplace_back(sink->block, sink->used);
    sink->used = 0;
}

TEST(TextFormat, FullBlockIsHandedOnAndNothingIsLost) {
    Pieces pieces;
    std::vector<char> block(4);
    stapi::TextSink sink = {block.data(), block.size(), 0, 0, takePiece, &pieces};
    stapi::appendText(&sink, "0123456789", 10);
    EXPECT_EQ(pieces.all, (std::vector<std::string>{"0123", "4567"}));
    EXPECT_EQ(std::string(block.data(), sink.used), "89");
    EXPECT_EQ(sink.total, 10U);
}

}  // namespace
