// The writers that lay down a result-set buffer, and the test for its end.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "api/zulstats64.h"
#include "hand_built_set.h"
#include "resultset/stapi_zul_resultsetbuffer.h"
#include "traced_test.h"

namespace {

using stapi::addChars;
using stapi::addIdStr;
using stapi::addInteger;
using stapi::addPlatformChars;
using stapi::addTerminator;
using stapi::checkTerminator;
using unit_test::at;
using unit_test::Lines;
using unit_test::SetBytes;

const std::string kPrefix = "stapi_zul_resultsetbuffer.";

// A heap block of exactly `size` bytes, all 'z', and a cursor at its start.
class RsWriters : public unit_test::TracedTest {
  protected:
    void useBlock(size_t size) {
        size_ = size;
        block_ = std::make_unique<char[]>(size);
        std::fill(block_.get(), block_.get() + size, 'z');
        cursor_ = block_.get();
    }
    std::string written() const {
        return {block_.get(), size_};
    }
    ptrdiff_t moved() const {
        return cursor_ - block_.get();
    }

    size_t size_ = 0;
    std::unique_ptr<char[]> block_;
    char* cursor_ = nullptr;
};

TEST_F(RsWriters, IntegerTakesFourBytesInTheHostsOrder) {
    useBlock(8);
    EXPECT_EQ(addInteger(&cursor_, 0x12345678), 0);
    EXPECT_EQ(moved(), 4);
    EXPECT_EQ(written(), "\x78\x56\x34\x12zzzz");
}

TEST_F(RsWriters, IntegerIsWrittenAtEveryAlignment) {
    for (size_t offset = 0; offset < 8; ++offset) {
        useBlock(offset + 4);
        cursor_ += offset;
        EXPECT_EQ(addInteger(&cursor_, 0xFFFFFFFF), 0);
        EXPECT_EQ(written(), std::string(offset, 'z') + "\xFF\xFF\xFF\xFF");
    }
}

using CharsWriter = int32_t (*)(char**, const char*, int32_t);

class RsCharsWriters : public RsWriters, public testing::WithParamInterface<CharsWriter> {};

TEST_P(RsCharsWriters, CopiesBytesVerbatimAndMovesBehindThem) {
    useBlock(8);
    EXPECT_EQ(GetParam()(&cursor_, "ab\0cd", 5), 0);
    EXPECT_EQ(moved(), 5);
    EXPECT_EQ(written(), std::string("ab\0cdzzz", 8));
}

TEST_P(RsCharsWriters, AddsNoNulBehindTheText) {
    useBlock(3);
    EXPECT_EQ(GetParam()(&cursor_, "abc", 3), 0);
    EXPECT_EQ(written(), "abc");
}

TEST_P(RsCharsWriters, NoBytesMoveNothing) {
    useBlock(4);
    EXPECT_EQ(GetParam()(&cursor_, "abc", 0), 0);
    EXPECT_EQ(moved(), 0);
    EXPECT_EQ(written(), "zzzz");
}

TEST_P(RsCharsWriters, NegativeCountWritesNothing) {
    useBlock(4);
    GetParam()(&cursor_, "abc", -1);
    GetParam()(&cursor_, "abc", INT32_MIN);
    EXPECT_EQ(moved(), 0);
    EXPECT_EQ(written(), "zzzz");
}

TEST_P(RsCharsWriters, NullTextWritesNothing) {
    useBlock(4);
    GetParam()(&cursor_, nullptr, 3);
    EXPECT_EQ(moved(), 0);
    EXPECT_EQ(written(), "zzzz");
}

INSTANTIATE_TEST_SUITE_P(Both, RsCharsWriters, testing::Values(&addChars, &addPlatformChars),
                         [](const auto& instance) { return instance.index == 0 ? "addChars" : "addPlatformChars"; });

TEST_F(RsWriters, IdStringIsLengthAndTextAndANulThatIsNotCounted) {
    useBlock(10);
    EXPECT_EQ(addIdStr(&cursor_, "abc"), 0);
    EXPECT_EQ(moved(), 7);
    EXPECT_EQ(written(), std::string("\x03\0\0\0abc\0zz", 10));
}

TEST_F(RsWriters, NextWriteOverwritesTheNulBehindAnIdString) {
    useBlock(9);
    EXPECT_EQ(addIdStr(&cursor_, "abc"), 0);
    EXPECT_EQ(addChars(&cursor_, "de", 2), 0);
    EXPECT_EQ(written(), std::string("\x03\0\0\0abcde", 9));
}

TEST_F(RsWriters, EmptyIdStringIsALengthOfZero) {
    useBlock(5);
    EXPECT_EQ(addIdStr(&cursor_, ""), 0);
    EXPECT_EQ(moved(), 4);
    EXPECT_EQ(written(), std::string("\0\0\0\0\0", 5));
}

TEST_F(RsWriters, TerminatorIsWrittenWithoutMoving) {
    useBlock(8);
    EXPECT_EQ(addTerminator(cursor_), 0);
    EXPECT_EQ(written(), "\x0F\x0E\x0F\x0Ezzzz");
}

TEST_F(RsWriters, TwoTerminatorsAtOnePlaceLeaveOneMark) {
    useBlock(8);
    EXPECT_EQ(addTerminator(cursor_), 0);
    EXPECT_EQ(addTerminator(cursor_), 0);
    EXPECT_EQ(written(), "\x0F\x0E\x0F\x0Ezzzz");
}

TEST_F(RsWriters, WriteAfterTheTerminatorOverwritesIt) {
    useBlock(8);
    EXPECT_EQ(addTerminator(cursor_), 0);
    EXPECT_EQ(addInteger(&cursor_, 0x01010101), 0);
    EXPECT_EQ(addTerminator(cursor_), 0);
    EXPECT_EQ(written(), "\x01\x01\x01\x01\x0F\x0E\x0F\x0E");
}

class RsEmptyReply : public RsWriters, public testing::WithParamInterface<const char*> {};

TEST_P(RsEmptyReply, IsEyecatcherCountZeroAndTerminatorAtTwelve) {
    useBlock(16);
    EXPECT_EQ(addPlatformChars(&cursor_, GetParam(), 8), 0);
    EXPECT_EQ(addInteger(&cursor_, 0), 0);
    EXPECT_EQ(addTerminator(cursor_), 0);
    EXPECT_EQ(moved(), 12);
    EXPECT_EQ(written(), SetBytes(GetParam(), 0).end().bytes());
}

INSTANTIATE_TEST_SUITE_P(Both, RsEmptyReply, testing::Values("ZULIDSET", "ZULSTSET"),
                         [](const auto& instance) { return std::string(instance.param); });

TEST_F(RsWriters, FailedBlockIsEightBytesLongerThanItsQueryElement) {
    useBlock(8 + 5);
    EXPECT_EQ(addInteger(&cursor_, 5), 0);
    EXPECT_EQ(addChars(&cursor_, "RG007", 5), 0);
    EXPECT_EQ(addInteger(&cursor_, static_cast<uint32_t>(-3)), 0);
    EXPECT_EQ(moved(), 13);
    EXPECT_EQ(written(), SetBytes().failedBlock("RG007", -3).bytes());
}

// ---- checkTerminator ------------------------------------------------------------------------------------------------

class RsCheckTerminator : public RsWriters {
  protected:
    // The flag that checkTerminator sets for a word that lies at an offset of a block that ends with it.
    uint32_t flagFor(uint32_t word, size_t offset) {
        useBlock(offset + 4);
        cursor_ += offset;
        addInteger(&cursor_, word);
        uint32_t flag = 77;
        EXPECT_EQ(checkTerminator(block_.get() + offset, &flag), 0);
        return flag;
    }
};

TEST_F(RsCheckTerminator, SetsTheFlagToOneAtTheMarkAtEveryAlignment) {
    for (size_t offset = 0; offset < 8; ++offset) {
        EXPECT_EQ(flagFor(unit_test::kEndMark, offset), 1U) << offset;
    }
}

TEST_F(RsCheckTerminator, SetsTheFlagToZeroElsewhere) {
    for (const uint32_t word : {0U, 0x0F0E0F0EU, 0x0E0F0E0EU, 0x0E0F0F0FU, 0x0F0F0E0FU, 0xFFFFFFFFU}) {
        EXPECT_EQ(flagFor(word, 0), 0U) << word;
    }
}

TEST_F(RsCheckTerminator, TakesAnIdLengthOfTheMarksValueForTheEnd) {
    const std::string bytes = SetBytes("ZULIDSET", 1).block("", 0, 1).word(0x0E0F0E0F).raw("id").bytes();
    uint32_t flag = 0;
    EXPECT_EQ(checkTerminator(bytes.data() + 24, &flag), 0);
    EXPECT_EQ(flag, 1U);
}

TEST_F(RsCheckTerminator, NullCursorLeavesTheFlagAlone) {
    uint32_t flag = 77;
    EXPECT_EQ(checkTerminator(nullptr, &flag), STAPI_RC_NO_DATA);
    EXPECT_EQ(flag, 77U);
}

TEST_F(RsCheckTerminator, NullFlagIsRefused) {
    EXPECT_EQ(checkTerminator("\x0F\x0E\x0F\x0E", nullptr), STAPI_RC_NO_DATA);
    EXPECT_EQ(checkTerminator(nullptr, nullptr), STAPI_RC_NO_DATA);
}

TEST_F(RsCheckTerminator, TracesTheFlagThatItSets) {
    useBlock(4);
    addTerminator(cursor_);
    uint32_t flag = 0;
    traceToFile(5);
    checkTerminator(cursor_, &flag);
    const std::string arguments = "(dataCursor=" + at(cursor_) + ", isRSTermPtr=" + at(&flag) + ")";
    EXPECT_EQ(points(),
              (Lines{"2123 ENTRY " + kPrefix + "checkTerminator" + arguments,
                     "2125 DEBUG " + kPrefix + "checkTerminator(dataCursor=" + at(cursor_) + ", *isRSTermPtr=1)",
                     "2126 EXIT " + kPrefix + "checkTerminator" + arguments + " rc=0"}));
}

// ---- Null parameters ------------------------------------------------------------------------------------------------

int32_t writeToNullCursor(CharsWriter writer) {
    char* cursor = nullptr;
    const int32_t rc = writer(&cursor, "abc", 3);
    EXPECT_EQ(cursor, nullptr);
    return rc;
}

struct NullCase {
    std::string function;
    int32_t (*call)();
    int pointId;
    std::string arguments;
};

std::vector<NullCase> nullCases() {
    const std::string null = at(nullptr);
    return {
        {"addInteger", [] { return addInteger(nullptr, 1); }, 2109, "&bufWPtr=" + null},
        {"addChars", [] { return addChars(nullptr, "abc", 3); }, 2112, "&bufWPtr=" + null},
        {"addPlatformChars", [] { return addPlatformChars(nullptr, "abc", 3); }, 2117, "&bufWPtr=" + null},
        {"addIdStr", [] { return addIdStr(nullptr, nullptr); }, 2101, "&bufWPtr=" + null + ",idString=" + null},
        {"addTerminator", [] { return addTerminator(nullptr); }, 2121, "writeCursor=" + null},
        {"checkTerminator", [] { return checkTerminator(nullptr, nullptr); }, 2124,
         "dataCursor=" + null + ", isRSTermPtr=" + null},
    };
}

class RsNullParameter : public RsWriters, public testing::WithParamInterface<NullCase> {};

TEST_P(RsNullParameter, IsNoDataWithItsMessage) {
    traceToFile(1);
    EXPECT_EQ(GetParam().call(), STAPI_RC_NO_DATA);
    EXPECT_EQ(points(), (Lines{std::to_string(GetParam().pointId) + " *EXC* " + kPrefix + GetParam().function + "(" +
                               GetParam().arguments + ") function received a null parameter"}));
}

TEST_P(RsNullParameter, IsNoDataWithoutAWordWhileNothingIsTraced) {
    traceToFile(0);
    EXPECT_EQ(GetParam().call(), STAPI_RC_NO_DATA);
    EXPECT_EQ(traced(), "");
}

INSTANTIATE_TEST_SUITE_P(Every, RsNullParameter, testing::ValuesIn(nullCases()),
                         [](const auto& instance) { return instance.param.function; });

TEST_F(RsWriters, NullCursorBehindAPointerIsNoDataAndNothingIsWritten) {
    traceToFile(1);
    char* cursor = nullptr;
    EXPECT_EQ(addInteger(&cursor, 1), STAPI_RC_NO_DATA);
    EXPECT_EQ(addIdStr(&cursor, "abc"), STAPI_RC_NO_DATA);
    EXPECT_EQ(cursor, nullptr);
    EXPECT_EQ(writeToNullCursor(&addChars), STAPI_RC_NO_DATA);
    EXPECT_EQ(writeToNullCursor(&addPlatformChars), STAPI_RC_NO_DATA);
    EXPECT_EQ(ids(), (std::vector<int>{2109, 2101, 2112, 2117}));
    EXPECT_EQ(points().front(),
              "2109 *EXC* " + kPrefix + "addInteger(&bufWPtr=" + at(&cursor) + ") function received a null parameter");
}

TEST_F(RsWriters, NullIdStringIsNoDataAndNothingIsWritten) {
    useBlock(4);
    EXPECT_EQ(addIdStr(&cursor_, nullptr), STAPI_RC_NO_DATA);
    EXPECT_EQ(moved(), 0);
    EXPECT_EQ(written(), "zzzz");
}

// ---- What they trace ------------------------------------------------------------------------------------------------

TEST_F(RsWriters, IntegerTracesEntryAndExit) {
    useBlock(4);
    traceToFile(5);
    addInteger(&cursor_, 42);
    const std::string entry = kPrefix + "addInteger(&bufWPtr=" + at(&cursor_) + ",rsInt=42)";
    EXPECT_EQ(points(), (Lines{"2108 ENTRY " + entry, "2110 EXIT " + entry + " rc=0"}));
}

TEST_F(RsWriters, CharsTraceOneDebugLine) {
    useBlock(4);
    traceToFile(5);
    const char* const text = "abcd";
    addChars(&cursor_, text, 4);
    const std::string entry = kPrefix + "addChars(&bufWPtr=" + at(&cursor_) + ",textPtr=" + at(text) + ",charCount=4)";
    const Lines lines = points();
    ASSERT_EQ(ids(), (std::vector<int>{2111, 2114, 2115}));
    EXPECT_EQ(lines.front(), "2111 ENTRY " + entry);
    EXPECT_TRUE(lines[1].starts_with("2114 DEBUG " + kPrefix + "addChars ")) << lines[1];
    EXPECT_EQ(lines.back(), "2115 EXIT " + entry + " rc=0");
}

TEST_F(RsWriters, PlatformCharsTraceOneDebugLine) {
    useBlock(4);
    traceToFile(5);
    const char* const text = "abcd";
    addPlatformChars(&cursor_, text, 4);
    const std::string entry =
        kPrefix + "addPlatformChars(&bufWPtr=" + at(&cursor_) + ",textPtr=" + at(text) + ",charCount=4)";
    const Lines lines = points();
    ASSERT_EQ(ids(), (std::vector<int>{2116, 2118, 2119}));
    EXPECT_EQ(lines.front(), "2116 ENTRY " + entry);
    EXPECT_TRUE(lines[1].starts_with("2118 DEBUG " + kPrefix + "addPlatformChars ")) << lines[1];
    EXPECT_EQ(lines.back(), "2119 EXIT " + entry + " rc=0");
}

TEST_F(RsWriters, IdStringTracesItsStepsWithTheLengthMisspelt) {
    useBlock(8);
    traceToFile(5);
    const char* const text = "abc";
    addIdStr(&cursor_, text);
    const std::string entry = kPrefix + "addIdStr(&bufWPtr=" + at(&cursor_) + ",idString=" + at(text) + ")";
    const Lines lines = points();
    ASSERT_EQ(ids(), (std::vector<int>{2100, 2102, 2103, 2104, 2105, 2106, 2107}));
    EXPECT_EQ(lines.front(), "2100 ENTRY " + entry);
    EXPECT_EQ(lines[1], "2102 DEBUG " + kPrefix + "addIdStr bufWPtr(" + at(&cursor_) + ") *bufWPtr(" +
                            at(block_.get()) + ") source string(abc) string lentgh(3)");
    EXPECT_EQ(lines.back(), "2107 EXIT " + entry + " rc=0");
}

TEST_F(RsWriters, TerminatorTracesEntryAndExit) {
    useBlock(4);
    traceToFile(5);
    addTerminator(cursor_);
    const std::string entry = kPrefix + "addTerminator(writeCursor=" + at(cursor_) + ")";
    EXPECT_EQ(points(), (Lines{"2120 ENTRY " + entry, "2122 EXIT " + entry + " rc=0"}));
}

TEST_F(RsWriters, NullParameterIsTracedBetweenEntryAndExit) {
    traceToFile(5);
    addTerminator(nullptr);
    addInteger(nullptr, 7);
    EXPECT_EQ(ids(), (std::vector<int>{2120, 2121, 2122, 2108, 2109, 2110}));
    EXPECT_EQ(points().back(), "2110 EXIT " + kPrefix + "addInteger(&bufWPtr=" + at(nullptr) + ",rsInt=7) rc=-103");
}

}  // namespace
