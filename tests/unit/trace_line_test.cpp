#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "api/zulstats64.h"
#include "diag/stapi_zul_diag.h"
#include "fixed_clock.h"
#include "trace_fixture.h"
#include "trace_text.h"

namespace {

using test_support::splitLines;
using test_support::TraceLine;

constexpr ClockReading kNewYear = {1, 2, 2003, 4, 5, 6, 7};

using TraceLineTest = TraceTest;

TEST_F(TraceLineTest, HasTimeStampIdsPointWordAndMessage) {
    const FixedClock clock(kNewYear);
    uint32_t pid = 0;
    uint32_t tid = 0;
    stapi::getPidTid(&pid, &tid);
    char ids[64];
    std::snprintf(ids, sizeof ids, "[0x%8.8X,0x%8.8X]", pid, tid);
    traceToFile(1);
    TRACE_EXC(17, "module.function(number=%d) something failed\n", 42);
    EXPECT_EQ(traced(), "01/02/03 04:05:06:007 " + std::string(ids) +
                            " [0017] *EXC*  module.function(number=42) something failed\n");
}

TEST_F(TraceLineTest, PointIdHasAtLeastFourDigits) {
    traceToFile(1);
    TRACE_EXC(5, "one digit\n");
    TRACE_EXC(1088, "four digits\n");
    TRACE_EXC(123456, "six digits\n");
    const std::vector<std::string> lines = splitLines(traced());
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_NE(lines[0].find("] [0005] *EXC*  one digit"), std::string::npos) << lines[0];
    EXPECT_NE(lines[1].find("] [1088] *EXC*  four digits"), std::string::npos) << lines[1];
    EXPECT_NE(lines[2].find("] [123456] *EXC*  six digits"), std::string::npos) << lines[2];
}

TEST_F(TraceLineTest, ThreadIdIsThatOfTheWritingThreadAndProcessIdIsShared) {
    traceToFile(1);
    TRACE_EXC(1, "here\n");
    std::thread([] { TRACE_EXC(2, "there\n"); }).join();
    const std::vector<TraceLine> lines = test_support::traceLines(traced());
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].processId, lines[1].processId);
    EXPECT_NE(lines[0].threadId, lines[1].threadId);
}

TEST_F(TraceLineTest, NullTextArgumentIsSaidToBeNull) {
    const char* volatile text = nullptr;  // volatile, or the compiler would object to it
    traceToFile(1);
    TRACE_EXC(1, "text=%s\n", text);
    EXPECT_EQ(test_support::messagesOfPoint(traced(), 1), std::vector<std::string>{"text=(null)"});
}

TEST_F(TraceLineTest, PointerArgumentHasSixteenUpperCaseDigits) {
    traceToFile(1);
    TRACE_EXC(1, "at %p\n", reinterpret_cast<const void*>(uintptr_t{0xabcdef}));
    EXPECT_EQ(test_support::messagesOfPoint(traced(), 1), std::vector<std::string>{"at 0000000000ABCDEF"});
}

TEST_F(TraceLineTest, ArgumentLongerThanTheMessageAreaIsWrittenWhole) {
    const std::string longText(5000, 'x');
    traceToFile(1);
    TRACE_EXC(1, "text=%s|\n", longText.c_str());
    EXPECT_EQ(test_support::messagesOfPoint(traced(), 1), std::vector<std::string>{"text=" + longText + "|"});
}

TEST_F(TraceLineTest, ArgumentLongerThanTheLineBlockIsWrittenWhole) {
    const std::string longText(200000, 'x');
    traceToFile(1);
    TRACE_EXC(1, "text=%s|\n", longText.c_str());
    const std::string text = traced();
    EXPECT_EQ(text.size(), text.find("text=") + 5 + longText.size() + 2);
    EXPECT_NE(text.find(longText + "|\n"), std::string::npos);
}

TEST_F(TraceLineTest, LinesFollowEachOtherInTheOrderInWhichTheyWereWritten) {
    traceToFile(1);
    for (int number = 0; number < 100; ++number) {
        TRACE_EXC(1, "number %d\n", number);
    }
    const std::vector<std::string> messages = test_support::messagesOfPoint(traced(), 1);
    ASSERT_EQ(messages.size(), 100U);
    for (int number = 0; number < 100; ++number) {
        EXPECT_EQ(messages[static_cast<size_t>(number)], "number " + std::to_string(number));
    }
}

TEST_F(TraceLineTest, LinesOfThreadsAreNeverMixed) {
    constexpr int kThreads = 4;
    constexpr int kLines = 300;
    traceToFile(4);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([thread] {
            for (int line = 0; line < kLines; ++line) {
                TRACE_DEBUG(7000 + thread, "thread %d line %d with %s\n", thread, line, "some more text behind it");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const std::string text = traced();
    EXPECT_EQ(splitLines(text).size(), size_t{kThreads} * kLines);
    for (int thread = 0; thread < kThreads; ++thread) {
        const std::vector<std::string> messages = test_support::messagesOfPoint(text, 7000 + thread);
        ASSERT_EQ(messages.size(), size_t{kLines});
        for (int line = 0; line < kLines; ++line) {
            EXPECT_EQ(messages[static_cast<size_t>(line)], "thread " + std::to_string(thread) + " line " +
                                                               std::to_string(line) + " with some more text behind it");
        }
    }
}

TEST_F(TraceLineTest, IsOnTheFileAsSoonAsItIsWritten) {
    traceToFile(1);
    TRACE_EXC(1, "first\n");
    EXPECT_EQ(splitLines(traced()).size(), 1U);
    TRACE_EXC(2, "second\n");
    EXPECT_EQ(splitLines(traced()).size(), 2U);
}

TEST_F(TraceLineTest, GoesToStandardErrorUnlessAFileWasNamed) {
    const std::string text = standardErrorOf([] {
        setLevelSilently(1);
        TRACE_EXC(31, "to standard error\n");
    });
    EXPECT_EQ(test_support::messagesOfPoint(text, 31), std::vector<std::string>{"to standard error"});
}

TEST_F(TraceLineTest, ArgumentsAreEvaluatedOnlyWhenTheirLevelIsOn) {
    int evaluated = 0;
    traceToFile(3);
    TRACE_DEBUG(1, "evaluated %d\n", ++evaluated);
    EXPECT_EQ(evaluated, 0);
    setLevelSilently(4);
    TRACE_DEBUG(1, "evaluated %d\n", ++evaluated);
    EXPECT_EQ(evaluated, 1);
}

TEST_F(TraceLineTest, ArgumentsOfDataAreEvaluatedOnlyWhenTheirLevelIsOn) {
    int evaluated = 0;
    const auto area = [&evaluated] {
        ++evaluated;
        return stapi::HexDumpArea{"abcd", 4, 0, 4};
    };
    traceToFile(3);
    TRACE_DATA(1, area(), "evaluated\n");
    EXPECT_EQ(evaluated, 0);
    setLevelSilently(4);
    TRACE_DATA(1, area(), "evaluated\n");
    EXPECT_EQ(evaluated, 1);
}

// ---- Level words and their thresholds
// --------------------------------------------------------------------------------

struct WordCase {
    std::string name;
    std::string printed;  // in its field of six characters
    int lowestLevel;
    void (*write)();
};

void writeData() {
    const stapi::HexDumpArea area = {"ab", 2, 0, 2};
    TRACE_DATA(9, area, "point\n");
}

const std::vector<WordCase>& wordCases() {
    static const std::vector<WordCase> kCases = {
        {"Exception", "*EXC* ", 1, [] { TRACE_EXC(9, "point\n"); }},
        {"Event", "EVENT ", 2, [] { TRACE_EVENT(9, "point\n"); }},
        {"Entry", "ENTRY ", 3, [] { TRACE_ENTRY(9, "point\n"); }},
        {"EntryWithStaleTime", "ENTRY ", 3, [] { TRACE_ENTRY_STALE_TIME(9, "point\n"); }},
        {"Exit", "EXIT  ", 3, [] { TRACE_EXIT(9, "point\n"); }},
        {"Debug", "DEBUG ", 4, [] { TRACE_DEBUG(9, "point\n"); }},
        {"Data", "DATA  ", 4, writeData},
        {"ExceptionWithoutLock", "*EXC* ", 1, [] { TRACE_EXC_UNLOCKED(9, "point\n"); }},
    };
    return kCases;
}

class WordAtLevel : public TraceTest, public testing::WithParamInterface<std::tuple<size_t, int>> {
  protected:
    static const WordCase& wordCase() {
        return wordCases().at(std::get<0>(GetParam()));
    }
    static int level() {
        return std::get<1>(GetParam());
    }
};

TEST_P(WordAtLevel, IsWrittenFromItsLowestLevelOn) {
    traceToFile(level());
    wordCase().write();
    const std::string text = traced();
    if (level() < wordCase().lowestLevel) {
        EXPECT_EQ(text, "");
    } else {
        EXPECT_NE(text.find("] [0009] " + wordCase().printed + " point\n"), std::string::npos) << text;
        EXPECT_EQ(test_support::traceLines(text).size(), 1U);
    }
}

INSTANTIATE_TEST_SUITE_P(Words, WordAtLevel,
                         testing::Combine(testing::Range(size_t{0}, wordCases().size()), testing::Range(0, 6)),
                         [](const testing::TestParamInfo<std::tuple<size_t, int>>& tested) {
                             return wordCases().at(std::get<0>(tested.param)).name + "AtLevel" +
                                    std::to_string(std::get<1>(tested.param));
                         });

TEST_F(TraceLineTest, LevelFiveWritesExactlyWhatLevelFourWrites) {
    const FixedClock clock(kNewYear);
    std::vector<std::string> texts;
    for (const int32_t level : {4, 5}) {
        const test_support::TemporaryFile file;
        ASSERT_EQ(setAPITraceFile(file.path().c_str()), STAPI_RC_OK);
        setLevelSilently(level);
        for (const WordCase& each : wordCases()) {
            each.write();
        }
        setLevelSilently(0);
        setAPITraceFile(nullptr);
        texts.push_back(file.content());
    }
    EXPECT_EQ(texts[0], texts[1]);
    EXPECT_EQ(test_support::traceLines(texts[0]).size(), wordCases().size());
}

// ---- Time stamps
// -----------------------------------------------------------------------------------------------------

struct StampCase {
    ClockReading reading;
    std::string timeStamp;
    std::string dateStamp;
};

class TimeStamp : public testing::TestWithParam<StampCase> {};

TEST_P(TimeStamp, HasDayMonthYearTimeAndThreeDigitsOfMilliseconds) {
    const FixedClock clock(GetParam().reading);
    std::vector<char> stamp(stapi::kTimeStampArea, 'x');
    stapi::makeTimeStamp(stamp.data());
    EXPECT_STREQ(stamp.data(), GetParam().timeStamp.c_str());
}

TEST_P(TimeStamp, OfTheDateAloneHasDayMonthAndYear) {
    const FixedClock clock(GetParam().reading);
    std::vector<char> stamp(stapi::kDateStampArea, 'x');
    stapi::makeDateStamp(stamp.data());
    EXPECT_STREQ(stamp.data(), GetParam().dateStamp.c_str());
}

INSTANTIATE_TEST_SUITE_P(Readings, TimeStamp,
                         testing::Values(StampCase{{1, 2, 2003, 4, 5, 6, 0}, "01/02/03 04:05:06:000", "01/02/03"},
                                         StampCase{{1, 2, 2003, 4, 5, 6, 7}, "01/02/03 04:05:06:007", "01/02/03"},
                                         StampCase{{31, 12, 1999, 23, 59, 59, 99}, "31/12/99 23:59:59:099", "31/12/99"},
                                         StampCase{{29, 2, 2000, 0, 0, 0, 100}, "29/02/00 00:00:00:100", "29/02/00"},
                                         StampCase{
                                             {15, 10, 2025, 13, 14, 15, 999}, "15/10/25 13:14:15:999", "15/10/25"}),
                         [](const testing::TestParamInfo<StampCase>& tested) {
                             return "Year" + std::to_string(tested.param.reading.year) + "Ms" +
                                    std::to_string(tested.param.reading.millisecond);
                         });

// The text with every digit as "d".
std::string shapeOf(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char character) { return character >= '0' && character <= '9'; }, 'd');
    return text;
}

TEST(TimeStampOfNow, HasTheFixedShape) {
    std::vector<char> stamp(stapi::kTimeStampArea, 'x');
    stapi::makeTimeStamp(stamp.data());
    EXPECT_EQ(shapeOf(stamp.data()), "dd/dd/dd dd:dd:dd:ddd") << stamp.data();
    std::vector<char> date(stapi::kDateStampArea, 'x');
    stapi::makeDateStamp(date.data());
    EXPECT_EQ(shapeOf(date.data()), "dd/dd/dd") << date.data();
}

TEST_F(TraceLineTest, OfDumpStatesEntryHasTheTimeStampOfTheLineBefore) {
    FixedClock clock(kNewYear);
    traceToFile(3);
    TRACE_ENTRY(1, "before\n");
    clock.set({9, 8, 2027, 6, 5, 4, 321});
    EXPECT_EQ(dumpState(), STAPI_RC_OK);
    setLevelSilently(0);
    const std::vector<TraceLine> lines = test_support::traceLines(traced());
    ASSERT_EQ(lines.size(), 5U) << traced();
    EXPECT_EQ(lines[1].pointId, 1106);
    EXPECT_EQ(lines[1].timeStamp, "01/02/03 04:05:06:007");
    EXPECT_EQ(lines[4].pointId, 1107);
    EXPECT_EQ(lines[4].timeStamp, "09/08/27 06:05:04:321");
}

TEST_F(TraceLineTest, OfDumpStatesEntryHasTheIdsOfItsOwnThread) {
    traceToFile(3);
    TRACE_ENTRY(1, "before\n");
    std::thread([] { EXPECT_EQ(dumpState(), STAPI_RC_OK); }).join();
    setLevelSilently(0);
    const std::vector<TraceLine> lines = test_support::traceLines(traced());
    ASSERT_GE(lines.size(), 2U);
    EXPECT_EQ(lines[1].pointId, 1106);
    EXPECT_NE(lines[1].threadId, lines[0].threadId);
}

}  // namespace
