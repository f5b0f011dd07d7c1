#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "diag/stapi_zul_diag.h"
#include "trace_fixture.h"
#include "trace_text.h"

namespace {

constexpr uint32_t kStopWord = 0x0E0F0E0F;
constexpr size_t kHexColumn = 35;  // 16 bytes in four groups, with a blank between two groups

// Bytes in a heap block of exactly their size, so that the address sanitizer sees a byte read too much.
using Bytes = std::vector<uint8_t>;

Bytes countingBytes(size_t size) {
    Bytes bytes(size);
    for (size_t index = 0; index < size; ++index) {
        bytes[index] = static_cast<uint8_t>(0x41 + index % 26);
    }
    return bytes;
}

// The bytes with the stop word behind them.
Bytes withStopWord(Bytes bytes) {
    const auto* const word = reinterpret_cast<const uint8_t*>(&kStopWord);
    bytes.insert(bytes.end(), word, word + sizeof kStopWord);
    return bytes;
}

class HexDump : public TraceTest {
  protected:
    void SetUp() override {
        TraceTest::SetUp();
        traceToFile(0);
    }

    int32_t dump(const void* address, int32_t length, uint32_t stopWord, size_t available = stapi::kHexDumpUnbounded) {
        const stapi::LockScope scope(&stapi::traceLock);
        return stapi::traceHexDump(address, length, stopWord, 16, available);
    }

    int32_t dumpLength(const Bytes& bytes) {
        return dump(bytes.data(), static_cast<int32_t>(bytes.size()), 0, bytes.size());
    }

    int32_t dumpToStopWord(const Bytes& bytes) {
        return dump(bytes.data(), 0, kStopWord, bytes.size());
    }

    std::vector<std::string> lines() const {
        return test_support::splitLines(traced());
    }

    // The hex column of up to 16 bytes, padded with blanks.
    static std::string hexColumn(const uint8_t* bytes, size_t count) {
        std::string column;
        for (size_t index = 0; index < 16; ++index) {
            char digits[4] = "  ";
            if (index < count) {
                std::snprintf(digits, sizeof digits, "%2.2X", bytes[index]);
            }
            column += digits;
            column += index == 3 || index == 7 || index == 11 ? " " : "";
        }
        return column;
    }

    // A whole line; the bytes are letters or digits, and full lines have a blank at their end.
    static std::string line(const uint8_t* bytes, size_t count) {
        return dumpLineStart(bytes) + hexColumn(bytes, count) + " : " +
               std::string(reinterpret_cast<const char*>(bytes), count) + (count == 16 ? " " : "");
    }
};

TEST_F(HexDump, FullLineHasAddressFourGroupsAndCharactersWithABlankBehindThem) {
    const std::string text = "ABCDEFGHIJKLMNOP";
    EXPECT_EQ(dump(text.data(), 16, 0), 16);
    EXPECT_EQ(traced(), dumpLineStart(text.data()) + "41424344 45464748 494A4B4C 4D4E4F50 : ABCDEFGHIJKLMNOP \n");
}

TEST_F(HexDump, AddressColumnShowsTheLow32Bits) {
    const Bytes bytes = countingBytes(1);
    EXPECT_EQ(dumpLength(bytes), 1);
    EXPECT_EQ(traced().substr(0, 12), dumpLineStart(bytes.data()));
}

class HexDumpOfLength : public HexDump, public testing::WithParamInterface<int> {};

TEST_P(HexDumpOfLength, DumpsExactlyThatManyBytesWithAlignedColumns) {
    const auto length = static_cast<size_t>(GetParam());
    const Bytes bytes = countingBytes(length);
    EXPECT_EQ(dumpLength(bytes), GetParam());
    const std::vector<std::string> written = lines();
    ASSERT_EQ(written.size(), (length + 15) / 16) << traced();
    for (size_t index = 0; index < written.size(); ++index) {
        EXPECT_EQ(written[index], line(bytes.data() + 16 * index, std::min<size_t>(16, length - 16 * index)));
        EXPECT_EQ(written[index].find(" : "), 12 + kHexColumn);
    }
}

INSTANTIATE_TEST_SUITE_P(Lengths, HexDumpOfLength,
                         testing::Values(1, 2, 3, 4, 5, 7, 8, 9, 11, 12, 13, 15, 16, 17, 31, 32, 33, 64, 100, 1000));

class HexDumpToStopWord : public HexDump, public testing::WithParamInterface<int> {};

TEST_P(HexDumpToStopWord, AtThisPositionDumpsWhatIsBeforeItAndNotTheWord) {
    const auto position = static_cast<size_t>(GetParam());
    const Bytes bytes = withStopWord(countingBytes(position));
    EXPECT_EQ(dumpToStopWord(bytes), GetParam());
    const std::vector<std::string> written = lines();
    const size_t fullLines = position / 16;
    ASSERT_EQ(written.size(), fullLines + 1) << traced();
    for (size_t index = 0; index < fullLines; ++index) {
        EXPECT_EQ(written[index], line(bytes.data() + 16 * index, 16));
    }
    if (position % 16 != 0) {
        EXPECT_EQ(written.back(), line(bytes.data() + 16 * fullLines, position % 16));
    }
}

TEST_P(HexDumpToStopWord, WithBytesBehindItDoesTheSameOnALineThatDoesNotBeginWithIt) {
    const auto position = static_cast<size_t>(GetParam());
    Bytes bytes = withStopWord(countingBytes(position));
    const Bytes behind = countingBytes(40);
    bytes.insert(bytes.end(), behind.begin(), behind.end());
    EXPECT_EQ(dumpToStopWord(bytes), GetParam());
    const std::string last = lines().back();
    const uint8_t* const start = bytes.data() + position / 16 * 16;
    const std::string expected =
        position % 16 == 0 ? dumpLineStart(start) + hexColumn(start, 16) + " : " : line(start, position % 16);
    EXPECT_EQ(last, expected);
}

INSTANTIATE_TEST_SUITE_P(Positions, HexDumpToStopWord, testing::Range(0, 49));

TEST_F(HexDump, StopWordAtTheStartOfALineHasThatLineWrittenInHexWithoutCharacters) {
    const Bytes bytes = withStopWord({});
    Bytes block = bytes;
    block.resize(16, 0x55);
    EXPECT_EQ(dumpToStopWord(block), 0);
    EXPECT_EQ(traced(), dumpLineStart(block.data()) + "0F0E0F0E 55555555 55555555 55555555 : \n");
}

TEST_F(HexDump, StopWordAtTheStartOfTheSecondLineEndsTheDumpThere) {
    Bytes block = withStopWord(countingBytes(16));
    block.resize(48, 0x55);
    EXPECT_EQ(dumpToStopWord(block), 16);
    const std::vector<std::string> written = lines();
    ASSERT_EQ(written.size(), 2U);
    EXPECT_EQ(written[1], dumpLineStart(block.data() + 16) + "0F0E0F0E 55555555 55555555 55555555 : ");
}

TEST_F(HexDump, StopWordAtTheStartOfALineIsWrittenAsFarAsBytesAreThere) {
    for (size_t size = 4; size < 16; ++size) {
        Bytes block = withStopWord({});
        block.resize(size, 0x55);
        const test_support::TemporaryFile file;
        EXPECT_EQ(stapi::switchTraceDestination(file.path().c_str()).switched, true);
        EXPECT_EQ(dumpToStopWord(block), 0);
        stapi::switchTraceDestination(nullptr);
        EXPECT_EQ(file.content(), dumpLineStart(block.data()) + hexColumn(block.data(), size) + " : \n");
    }
}

TEST_F(HexDump, StopWordIsLookedForAtEveryPositionNotOnlyAtAligned) {
    const Bytes bytes = withStopWord({'a', 'b', 'c'});
    EXPECT_EQ(dumpToStopWord(bytes), 3);
    EXPECT_EQ(lines(), std::vector<std::string>{line(bytes.data(), 3)});
}

TEST_F(HexDump, StopWordAcrossTheEndOfALineIsFound) {
    for (size_t position = 13; position <= 15; ++position) {
        const Bytes bytes = withStopWord(countingBytes(position));
        EXPECT_EQ(dumpToStopWord(bytes), static_cast<int32_t>(position));
    }
    EXPECT_EQ(lines().size(), 3U);
}

TEST_F(HexDump, PartsOfTheStopWordDoNotEndTheDump) {
    const Bytes bytes = withStopWord({0x0F, 0x0E, 0x0F, 'a', 0x0F, 0x0E, 0x0E, 0x0F, 'b'});
    EXPECT_EQ(dumpToStopWord(bytes), 9);
}

TEST_F(HexDump, MissingStopWordEndsTheDumpAtTheLastAvailableByte) {
    for (const int32_t size : {1, 3, 4, 15, 16, 17, 31, 32, 33}) {
        const Bytes bytes = countingBytes(static_cast<size_t>(size));
        EXPECT_EQ(dumpToStopWord(bytes), size);
    }
}

TEST_F(HexDump, StopWordThatIsOnlyPartlyAvailableIsDumpedAsBytes) {
    for (size_t there = 1; there < 4; ++there) {
        Bytes bytes = withStopWord(countingBytes(5));
        bytes.resize(5 + there);
        bytes.shrink_to_fit();
        EXPECT_EQ(dumpToStopWord(bytes), static_cast<int32_t>(5 + there));
    }
}

TEST_F(HexDump, LengthBeyondTheAvailableBytesIsCutOff) {
    const Bytes bytes = countingBytes(20);
    EXPECT_EQ(dump(bytes.data(), 1000, 0, bytes.size()), 20);
    EXPECT_EQ(lines(), (std::vector<std::string>{line(bytes.data(), 16), line(bytes.data() + 16, 4)}));
}

TEST_F(HexDump, OtherStopWordsWorkToo) {
    Bytes bytes = countingBytes(6);
    const uint32_t word = 0x44434241;  // the first four bytes on a little-endian machine
    Bytes shifted = {'x', 'y'};
    shifted.insert(shifted.end(), bytes.begin(), bytes.end());
    EXPECT_EQ(dump(shifted.data(), 0, word, shifted.size()), 2);
}

TEST_F(HexDump, LengthWinsOverTheStopWord) {
    const Bytes bytes = withStopWord(countingBytes(4));
    EXPECT_EQ(dump(bytes.data(), 8, kStopWord, bytes.size()), 8);
}

TEST_F(HexDump, OfNeitherLengthNorStopWordWritesNothing) {
    const Bytes bytes = countingBytes(4);
    EXPECT_EQ(dump(bytes.data(), 0, 0, bytes.size()), 0);
    EXPECT_EQ(traced(), "");
}

TEST_F(HexDump, OfNullWritesNothing) {
    EXPECT_EQ(dump(nullptr, 16, 0), 0);
    EXPECT_EQ(dump(nullptr, 0, kStopWord), 0);
    EXPECT_EQ(traced(), "");
}

TEST_F(HexDump, OfLinesWithoutBytesWritesNothing) {
    const Bytes bytes = countingBytes(4);
    const stapi::LockScope scope(&stapi::traceLock);
    EXPECT_EQ(stapi::traceHexDump(bytes.data(), 4, 0, 0, bytes.size()), 0);
    EXPECT_EQ(traced(), "");
}

TEST_F(HexDump, OfNegativeLengthWritesNothing) {
    const Bytes bytes = countingBytes(4);
    EXPECT_EQ(dump(bytes.data(), -1, 0, bytes.size()), 0);
    EXPECT_EQ(traced(), "");
}

TEST_F(HexDump, OfNoAvailableBytesWritesNothing) {
    const Bytes bytes = countingBytes(4);
    EXPECT_EQ(dump(bytes.data(), 4, 0, 0), 0);
    EXPECT_EQ(dump(bytes.data(), 0, kStopWord, 0), 0);
    EXPECT_EQ(traced(), "");
}

struct CharacterCase {
    uint8_t byte;
    char shown;
};

class HexDumpCharacter : public HexDump, public testing::WithParamInterface<CharacterCase> {};

TEST_P(HexDumpCharacter, IsShownIfPrintableElseAsAPoint) {
    const Bytes bytes = {GetParam().byte};
    EXPECT_EQ(dumpLength(bytes), 1);
    EXPECT_EQ(traced(), dumpLineStart(bytes.data()) + hexColumn(bytes.data(), 1) + " : " + GetParam().shown + "\n");
}

INSTANTIATE_TEST_SUITE_P(Bytes, HexDumpCharacter,
                         testing::Values(CharacterCase{0x00, '.'}, CharacterCase{0x0A, '.'}, CharacterCase{0x1F, '.'},
                                         CharacterCase{0x20, ' '}, CharacterCase{0x21, '!'}, CharacterCase{0x25, '%'},
                                         CharacterCase{0x41, 'A'}, CharacterCase{0x7E, '~'}, CharacterCase{0x7F, '.'},
                                         CharacterCase{0x80, '.'}, CharacterCase{0xA0, '.'}, CharacterCase{0xE4, '.'},
                                         CharacterCase{0xFE, '.'}, CharacterCase{0xFF, '.'}),
                         [](const testing::TestParamInfo<CharacterCase>& tested) {
                             char name[16];
                             std::snprintf(name, sizeof name, "Byte%02X", tested.param.byte);
                             return std::string(name);
                         });

TEST_F(HexDump, ShowsEveryByteValueInTwoDigits) {
    Bytes bytes(256);
    for (size_t index = 0; index < bytes.size(); ++index) {
        bytes[index] = static_cast<uint8_t>(index);
    }
    EXPECT_EQ(dumpLength(bytes), 256);
    const std::vector<std::string> written = lines();
    ASSERT_EQ(written.size(), 16U);
    for (size_t index = 0; index < written.size(); ++index) {
        EXPECT_EQ(written[index].substr(12, kHexColumn), hexColumn(bytes.data() + 16 * index, 16));
        EXPECT_EQ(written[index].size(), 12 + kHexColumn + 3 + 17);
    }
}

TEST_F(HexDump, FollowsItsDataLine) {
    const Bytes bytes = countingBytes(20);
    const stapi::HexDumpArea area = {bytes.data(), 20, 0, bytes.size()};
    setLevelSilently(4);
    TRACE_DATA(78, area, "bytes of %s\n", "a buffer");
    setLevelSilently(0);
    const std::vector<std::string> written = lines();
    ASSERT_EQ(written.size(), 3U) << traced();
    EXPECT_NE(written[0].find("] [0078] DATA   bytes of a buffer"), std::string::npos) << written[0];
    EXPECT_EQ(written[1], line(bytes.data(), 16));
    EXPECT_EQ(written[2], line(bytes.data() + 16, 4));
}

TEST_F(HexDump, WrittenDirectlyNeedsNoLevel) {
    const Bytes bytes = withStopWord(countingBytes(20));
    const stapi::HexDumpArea area = {bytes.data(), 0, kStopWord, bytes.size()};
    EXPECT_EQ(stapi::dumpTraceDirect(area), 20);
    EXPECT_EQ(lines(), (std::vector<std::string>{line(bytes.data(), 16), line(bytes.data() + 16, 4)}));
}

}  // namespace
