#include "wire/wire_reader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "gateway_frames.h"

namespace wire_test {

namespace {

using stapi::WireReader;

// The bytes on the heap and exactly as large as they are, so that a sanitizer sees every step outside.
struct Block {
    explicit Block(const Bytes& content) : bytes(content) {
        bytes.shrink_to_fit();
        reader = stapi::makeWireReader(bytes.data(), bytes.size());
    }
    Bytes bytes;
    WireReader reader;
};

TEST(WireReader, ReadsIntegersMostSignificantByteFirst) {
    Block block(hex("12 34 56 78 9A BC DE F0 01 02 03"));
    EXPECT_EQ(stapi::readU8(&block.reader), 0x12);
    EXPECT_EQ(stapi::readU16(&block.reader), 0x3456);
    EXPECT_EQ(stapi::readU32(&block.reader), 0x789ABCDEU);
    EXPECT_EQ(stapi::readU32(&block.reader), 0xF0010203U);
    EXPECT_FALSE(block.reader.overrun);
}

TEST(WireReader, ReadsTheEdgesOfSigned16BitNumbers) {
    Block block(hex("7FFF 8000 FFFF 0000"));
    EXPECT_EQ(stapi::readI16(&block.reader), 32767);
    EXPECT_EQ(stapi::readI16(&block.reader), -32768);
    EXPECT_EQ(stapi::readI16(&block.reader), -1);
    EXPECT_EQ(stapi::readI16(&block.reader), 0);
}

TEST(WireReader, ReadsTheEdgesOfSigned32BitNumbers) {
    Block block(hex("7FFFFFFF 80000000 FFFFFFFF"));
    EXPECT_EQ(stapi::readI32(&block.reader), INT32_MAX);
    EXPECT_EQ(stapi::readI32(&block.reader), INT32_MIN);
    EXPECT_EQ(stapi::readI32(&block.reader), -1);
}

TEST(WireReader, ReadsUpToTheLastByteWithoutOverrun) {
    Block block(hex("01 02 03 04"));
    EXPECT_EQ(stapi::readU32(&block.reader), 0x01020304U);
    EXPECT_FALSE(block.reader.overrun);
    EXPECT_EQ(stapi::readBytes(&block.reader, 0), block.bytes.data() + 4);
    EXPECT_FALSE(block.reader.overrun);
}

TEST(WireReader, WhatLiesBeyondTheEndReadsAsZero) {
    Block block(hex("AB CD"));
    EXPECT_EQ(stapi::readU32(&block.reader), 0xABCD0000U);
    EXPECT_TRUE(block.reader.overrun);
    EXPECT_EQ(stapi::readU16(&block.reader), 0);
}

TEST(WireReader, AnOverrunIsRemembered) {
    Block block(hex("01 02"));
    stapi::readU32(&block.reader);
    block.reader.position = 0;
    EXPECT_EQ(stapi::readU8(&block.reader), 1);
    EXPECT_TRUE(block.reader.overrun);
}

TEST(WireReader, AnEmptyBlockGivesZeros) {
    WireReader reader = stapi::makeWireReader(nullptr, 0);
    EXPECT_EQ(stapi::readU32(&reader), 0U);
    EXPECT_TRUE(reader.overrun);
}

TEST(WireReader, BytesAreHandedOutOnlyWhole) {
    Block block(hex("01 02 03"));
    EXPECT_EQ(stapi::readBytes(&block.reader, 2), block.bytes.data());
    EXPECT_EQ(stapi::readBytes(&block.reader, 2), nullptr);
    EXPECT_TRUE(block.reader.overrun);
}

TEST(WireReader, NoBytesBehindASkipBeyondTheEndAreAnOverrun) {
    Block block(hex("01 02 03"));
    stapi::skipBytes(&block.reader, 4);
    EXPECT_FALSE(block.reader.overrun);
    EXPECT_EQ(stapi::readBytes(&block.reader, 0), nullptr);
    EXPECT_TRUE(block.reader.overrun);
}

TEST(WireReader, SkippingBeyondTheEndIsNotARead) {
    Block block(hex("01 02 03"));
    stapi::skipBytes(&block.reader, 100);
    EXPECT_FALSE(block.reader.overrun);
    EXPECT_EQ(block.reader.position, 100U);
    EXPECT_EQ(stapi::readU8(&block.reader), 0);
    EXPECT_TRUE(block.reader.overrun);
}

TEST(WireReader, SkippingStopsAtTheLargestPosition) {
    Block block(hex("01 02 03"));
    stapi::skipBytes(&block.reader, 2);
    stapi::skipBytes(&block.reader, SIZE_MAX);
    EXPECT_EQ(block.reader.position, SIZE_MAX);
    stapi::skipBytes(&block.reader, 1);
    EXPECT_EQ(block.reader.position, SIZE_MAX);
    EXPECT_EQ(stapi::readU32(&block.reader), 0U);
    EXPECT_EQ(stapi::readBytes(&block.reader, 1), nullptr);
}

TEST(WireReader, AHugeCountOfBytesIsAnOverrun) {
    Block block(hex("01 02 03"));
    stapi::readU8(&block.reader);
    EXPECT_EQ(stapi::readBytes(&block.reader, SIZE_MAX), nullptr);
    EXPECT_TRUE(block.reader.overrun);
}

TEST(WireReader, CopyFillsWithZerosBeyondTheEnd) {
    Block block(hex("01 02 03"));
    std::vector<uint8_t> target(5, 0xEE);
    stapi::copyBytes(&block.reader, target.data(), 5);
    EXPECT_EQ(target, hex("01 02 03 00 00"));
    EXPECT_TRUE(block.reader.overrun);
}

TEST(WireReader, CopyOfWhatIsThereIsNoOverrun) {
    Block block(hex("01 02 03"));
    std::vector<uint8_t> target(3, 0xEE);
    stapi::copyBytes(&block.reader, target.data(), 3);
    EXPECT_EQ(target, hex("01 02 03"));
    EXPECT_FALSE(block.reader.overrun);
}

TEST(WireReader, SkippedTextEndsBehindItsBytes) {
    Block block(hex("0003 414243 55"));
    stapi::skipText(&block.reader);
    EXPECT_EQ(stapi::readU8(&block.reader), 0x55);
    EXPECT_FALSE(block.reader.overrun);
}

TEST(WireReader, SkippedTextOfTheGreatestLengthIsTakenAsUnsigned) {
    Bytes content = hex("FFFF");
    content.insert(content.end(), 65535, 0x20);
    content.push_back(0x77);
    Block block(content);
    stapi::skipText(&block.reader);
    EXPECT_EQ(stapi::readU8(&block.reader), 0x77);
    EXPECT_FALSE(block.reader.overrun);
}

TEST(WireReader, SkippedTextWhoseLengthLiesBeyondTheEndCountsAsEmpty) {
    Block block({});
    stapi::skipText(&block.reader);
    EXPECT_EQ(block.reader.position, 2U);
    EXPECT_FALSE(block.reader.overrun);
}

TEST(WireReader, SkippedTextKeepsAnEarlierOverrun) {
    Block block(hex("01"));
    stapi::readU16(&block.reader);
    stapi::skipText(&block.reader);
    EXPECT_TRUE(block.reader.overrun);
}

TEST(WireReader, AnUnboundedBlockHasNoEnd) {
    const Bytes content = hex("00 00 00 07");
    WireReader reader = stapi::makeWireReader(content.data(), stapi::kUnboundedPayload);
    EXPECT_EQ(stapi::readU32(&reader), 7U);
    EXPECT_FALSE(reader.overrun);
}

}  // namespace

}  // namespace wire_test
