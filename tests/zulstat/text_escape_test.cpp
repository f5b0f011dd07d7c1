#include "text_escape.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace {

using zulstat::cutToWidth;
using zulstat::displayWidth;
using zulstat::escapeText;
using zulstat::quoteText;

TEST(EscapeText, LeavesPlainAndInternationalTextAsItIs) {
    EXPECT_EQ(escapeText("POOL.workers = 12 %"), "POOL.workers = 12 %");
    EXPECT_EQ(escapeText("Gr\xC3\xB6\xC3\x9F"
                         "e \xE2\x82\xAC \xF0\x9F\x93\x88"),
              "Gr\xC3\xB6\xC3\x9F"
              "e \xE2\x82\xAC \xF0\x9F\x93\x88");
    EXPECT_EQ(escapeText(""), "");
}

TEST(EscapeText, ShowsLineBreaksAndTabsByTheirUsualNames) {
    EXPECT_EQ(escapeText("a\nb\rc\td"), "a\\nb\\rc\\td");
}

TEST(EscapeText, ShowsEveryC0ControlCharacterAndDelete) {
    for (int code = 0; code < 0x20; ++code) {
        const std::string shown = escapeText(std::string(1, static_cast<char>(code)));
        EXPECT_EQ(shown.front(), '\\') << code;
        EXPECT_GE(shown.size(), 2U) << code;
    }
    EXPECT_EQ(escapeText(std::string("\0", 1)), "\\x00");
    EXPECT_EQ(escapeText("\x1B[31m"), "\\x1B[31m");
    EXPECT_EQ(escapeText("\x7F"), "\\x7F");
}

TEST(EscapeText, ShowsC1ControlCharactersByTheirNumber) {
    EXPECT_EQ(escapeText("\xC2\x80|\xC2\x9B|\xC2\x9F"), "\\u0080|\\u009B|\\u009F");
    EXPECT_EQ(escapeText("\xC2\xA0"), "\xC2\xA0");
}

TEST(EscapeText, ShowsCharactersThatHideOrTurnText) {
    EXPECT_EQ(escapeText("\xE2\x80\xAE"
                         "gnp"),
              "\\u202Egnp");
    EXPECT_EQ(escapeText("\xE2\x80\xA8"), "\\u2028");
    EXPECT_EQ(escapeText("\xE2\x80\x8B"), "\\u200B");
    EXPECT_EQ(escapeText("\xEF\xBB\xBF"), "\\uFEFF");
}

TEST(EscapeText, ShowsCharactersThatNobodySees) {
    EXPECT_EQ(escapeText("\u00AD\u034F\u115F\u180E\u2800\u3164\uFFA0\uFFF9"),
              "\\u00AD\\u034F\\u115F\\u180E\\u2800\\u3164\\uFFA0\\uFFF9");
    EXPECT_EQ(escapeText("\U000E0041\U0001D173"), "\\U000E0041\\U0001D173");
}

TEST(EscapeText, LeavesTheVariantOfAPictureAsItIs) {
    EXPECT_EQ(escapeText("\u2764\uFE0F"), "\u2764\uFE0F");
}

TEST(EscapeText, DoublesBackslashesSoThatEveryEscapeIsUnambiguous) {
    EXPECT_EQ(escapeText("\\n"), "\\\\n");
    EXPECT_NE(escapeText("\\n"), escapeText("\n"));
}

TEST(EscapeText, ShowsBytesThatAreNoUtf8) {
    EXPECT_EQ(escapeText("\xFF"), "\\xFF");
    EXPECT_EQ(escapeText("a\x80"
                         "b"),
              "a\\x80b")
        << "continuation byte alone";
    EXPECT_EQ(escapeText("\xC3"), "\\xC3") << "cut at the end";
    EXPECT_EQ(escapeText("\xC3("), "\\xC3(") << "cut in the middle";
    EXPECT_EQ(escapeText("\xE2\x82"), "\\xE2\\x82") << "cut at the end";
    EXPECT_EQ(escapeText("\xC0\xAF"), "\\xC0\\xAF") << "longer than need be";
    EXPECT_EQ(escapeText("\xE0\x80\xAF"), "\\xE0\\x80\\xAF") << "longer than need be";
    EXPECT_EQ(escapeText("\xF0\x80\x80\xAF"), "\\xF0\\x80\\x80\\xAF") << "longer than need be";
    EXPECT_EQ(escapeText("\xED\xA0\x80"), "\\xED\\xA0\\x80") << "surrogate";
    EXPECT_EQ(escapeText("\xF4\x90\x80\x80"), "\\xF4\\x90\\x80\\x80") << "beyond the last character";
}

TEST(EscapeText, KeepsTheOuterLimitsOfEveryLength) {
    for (const char* const text : {"\xC3\x80", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80", "\xEF\xBF\xBD",
                                   "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
        EXPECT_EQ(escapeText(text), text);
    }
}

TEST(EscapeText, GivesPrintableTextWhateverComesIn) {
    // The same texts in every run.
    std::minstd_rand random(20240506);  // NOLINT(cert-msc32-c,cert-msc51-cpp)
    for (int round = 0; round < 20000; ++round) {
        std::string text;
        for (unsigned size = static_cast<unsigned>(random() % 12); size > 0; --size) {
            text += static_cast<char>(random() % 256);
        }
        const std::string shown = escapeText(text);
        for (const char byte : shown) {
            const auto value = static_cast<unsigned char>(byte);
            ASSERT_TRUE(value >= 0x20 && value != 0x7F) << round;
        }
        // What was escaped once holds nothing but its own backslashes to escape.
        std::string again;
        for (const char byte : shown) {
            again.append(byte == '\\' ? 2 : 1, byte);
        }
        ASSERT_EQ(escapeText(shown), again) << round;
    }
}

TEST(QuoteText, PutsEscapedTextBetweenQuotes) {
    EXPECT_EQ(quoteText("a\nb"), "\"a\\nb\"");
}

TEST(DisplayWidth, CountsColumnsOfATerminal) {
    EXPECT_EQ(displayWidth(""), 0U);
    EXPECT_EQ(displayWidth("abc"), 3U);
    EXPECT_EQ(displayWidth("\xC3\xB6\xE2\x82\xAC"), 2U);
    EXPECT_EQ(displayWidth("\xE6\x97\xA5\xE6\x9C\xAC"), 4U) << "wide characters";
    EXPECT_EQ(displayWidth("\xF0\x9F\x93\x88"), 2U) << "a picture";
    EXPECT_EQ(displayWidth("e\xCC\x81"), 1U) << "a mark on the character before it";
}

TEST(CutToWidth, LeavesWhatFits) {
    EXPECT_EQ(cutToWidth("abc", 3), "abc");
    EXPECT_EQ(cutToWidth("", 0), "");
    EXPECT_EQ(cutToWidth("\xE6\x97\xA5", 2), "\xE6\x97\xA5");
}

TEST(CutToWidth, MarksWhatIsMissing) {
    EXPECT_EQ(cutToWidth("abcd", 3), "ab\xE2\x80\xA6");
    EXPECT_EQ(cutToWidth("abcd", 1), "\xE2\x80\xA6");
    EXPECT_EQ(cutToWidth("abcd", 0), "");
    EXPECT_EQ(cutToWidth("\xE6\x97\xA5\xE6\x9C\xAC", 3), "\xE6\x97\xA5\xE2\x80\xA6");
    EXPECT_EQ(cutToWidth("\xE6\x97\xA5\xE6\x9C\xAC", 2), "\xE2\x80\xA6") << "no half of a wide character";
}

}  // namespace
