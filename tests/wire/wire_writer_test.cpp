#include "wire/wire_writer.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "gateway_frames.h"

namespace wire_test {

namespace {

using stapi::WireWriter;

struct Target {
    explicit Target(size_t size) : bytes(size, 0xEE), writer(stapi::makeWireWriter(bytes.data(), bytes.size())) {}
    Bytes bytes;
    WireWriter writer;
};

TEST(WireWriter, WritesIntegersMostSignificantByteFirst) {
    Target target(7);
    stapi::writeU8(&target.writer, 0x12);
    stapi::writeU16(&target.writer, 0x3456);
    stapi::writeU32(&target.writer, 0x789ABCDE);
    EXPECT_EQ(target.bytes, hex("12 3456 789ABCDE"));
    EXPECT_TRUE(stapi::isFilled(target.writer));
}

TEST(WireWriter, TextIsALengthAndItsBytesWithoutTerminator) {
    Target target(4);
    stapi::writeText(&target.writer, "en");
    EXPECT_EQ(target.bytes, hex("0002 656E"));
    EXPECT_TRUE(stapi::isFilled(target.writer));
}

TEST(WireWriter, AnEmptyTextIsItsLengthAlone) {
    Target target(2);
    stapi::writeText(&target.writer, "");
    EXPECT_EQ(target.bytes, hex("0000"));
    EXPECT_TRUE(stapi::isFilled(target.writer));
}

TEST(WireWriter, WhatDoesNotFitIsLeftOut) {
    Target target(3);
    stapi::writeU32(&target.writer, 0x01020304);
    EXPECT_EQ(target.bytes, hex("EE EE EE"));
    EXPECT_TRUE(target.writer.overrun);
    EXPECT_FALSE(stapi::isFilled(target.writer));
}

TEST(WireWriter, NothingIsWrittenAfterAnOverrun) {
    Target target(3);
    stapi::writeU32(&target.writer, 0x01020304);
    stapi::writeU8(&target.writer, 0x55);
    EXPECT_EQ(target.bytes, hex("EE EE EE"));
    EXPECT_EQ(target.writer.position, 0U);
}

TEST(WireWriter, AHugeCountOfBytesIsAnOverrun) {
    Target target(3);
    stapi::writeU8(&target.writer, 1);
    stapi::writeBytes(&target.writer, "x", SIZE_MAX);
    EXPECT_TRUE(target.writer.overrun);
    EXPECT_EQ(target.bytes, hex("01 EE EE"));
}

TEST(WireWriter, ABlockThatIsNotFullIsNotFilled) {
    Target target(3);
    stapi::writeU16(&target.writer, 1);
    EXPECT_FALSE(target.writer.overrun);
    EXPECT_FALSE(stapi::isFilled(target.writer));
}

TEST(WireWriter, NoBytesAreWrittenIntoAnEmptyBlock) {
    WireWriter writer = stapi::makeWireWriter(nullptr, 0);
    stapi::writeBytes(&writer, nullptr, 0);
    EXPECT_TRUE(stapi::isFilled(writer));
    stapi::writeU8(&writer, 1);
    EXPECT_TRUE(writer.overrun);
}

TEST(WireWriter, TheLongestTextHas65535Bytes) {
    const std::string longest(65535, 'a');
    Target target(2 + longest.size());
    stapi::writeText(&target.writer, longest.c_str());
    EXPECT_TRUE(stapi::isFilled(target.writer));
    EXPECT_EQ(target.bytes, BytesWriter().text(longest).bytes());
}

TEST(WireWriter, ALongerTextIsAnOverrunAndNothingOfItIsWritten) {
    const std::string tooLong(65536, 'a');
    Target target(4 + tooLong.size());
    stapi::writeText(&target.writer, tooLong.c_str());
    EXPECT_TRUE(target.writer.overrun);
    EXPECT_EQ(target.writer.position, 0U);
    EXPECT_EQ(target.bytes.front(), 0xEE);
}

}  // namespace

}  // namespace wire_test
