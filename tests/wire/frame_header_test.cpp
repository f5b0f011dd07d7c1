#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "comms/stapi_zul_socketcomms.h"
#include "gateway_frames.h"

namespace wire_test {

namespace {

using stapi::HeaderRecord;

HeaderRecord distinctHeader(const char* name) {
    HeaderRecord header = {};
    header.eyecatcher = 0x47617465;
    header.version = 0x00700000;
    header.flagsWord1 = 0x11121314;
    header.flagsWord2 = 0x21222324;
    header.flagsWord3 = 0x31323334;
    header.serverProgramNameLength = static_cast<uint32_t>(std::strlen(name));
    header.serverProgramName = name;
    header.headerFlagByte = 0x41;
    header.dataLength = 0x51525354;
    return header;
}

Bytes written(const HeaderRecord& header) {
    Bytes bytes(29 + header.serverProgramNameLength, 0xEE);
    bytes.shrink_to_fit();
    stapi::writeHeader(&header, bytes.data());
    return bytes;
}

// Read from a block of exactly the given bytes.
HeaderRecord populated(Bytes bytes, const char* name = "kept") {
    bytes.shrink_to_fit();
    HeaderRecord header = {};
    header.serverProgramName = name;
    stapi::populateHeader(bytes.data(), &header, bytes.size());
    return header;
}

TEST(FrameHeader, IsWrittenWithFlagsWord3BeforeFlagsWord2) {
    EXPECT_EQ(written(distinctHeader("Auth")),
              hex("47617465 00700000 11121314 31323334 21222324 00000004 41757468 41 51525354"));
}

TEST(FrameHeader, ANameIsWrittenWithoutTerminator) {
    EXPECT_EQ(written(distinctHeader("Admin")),
              hex("47617465 00700000 11121314 31323334 21222324 00000005 41646D696E 41 51525354"));
}

TEST(FrameHeader, AnEmptyNameTakesNoPlace) {
    EXPECT_EQ(written(distinctHeader("")), hex("47617465 00700000 11121314 31323334 21222324 00000000 41 51525354"));
}

TEST(FrameHeader, IsReadWithFlagsWord2BeforeFlagsWord3) {
    const char* const name = "kept";
    const HeaderRecord header =
        populated(hex("47617465 00700000 11121314 21222324 31323334 00000004 41757468 41 51525354"), name);
    EXPECT_EQ(header.eyecatcher, 0x47617465U);
    EXPECT_EQ(header.version, 0x00700000U);
    EXPECT_EQ(header.flagsWord1, 0x11121314U);
    EXPECT_EQ(header.flagsWord2, 0x21222324U);
    EXPECT_EQ(header.flagsWord3, 0x31323334U);
    EXPECT_EQ(header.serverProgramNameLength, 4U);
    EXPECT_EQ(header.headerFlagByte, 0x41);
    EXPECT_EQ(header.dataLength, 0x51525354U);
    EXPECT_EQ(header.serverProgramName, name);
}

TEST(FrameHeader, WhatIsWrittenAndReadBackHasTheTwoFlagsWordsExchanged) {
    const HeaderRecord header = populated(written(distinctHeader("Admin")));
    EXPECT_EQ(header.flagsWord2, 0x31323334U);
    EXPECT_EQ(header.flagsWord3, 0x21222324U);
}

TEST(FrameHeader, TheReceivedNameLengthSaysWhereTheDataLengthStands) {
    const HeaderRecord header =
        populated(hex("47617465 00700000 00000001 00000000 00000000 00000002 4142 01 00000007 EEEE"));
    EXPECT_EQ(header.serverProgramNameLength, 2U);
    EXPECT_EQ(header.headerFlagByte, 0x01);
    EXPECT_EQ(header.dataLength, 7U);
}

TEST(FrameHeader, WhatAHeaderLacksReadsAsZero) {
    const HeaderRecord header = populated(hex("47617465 00700000 11121314 2122"));
    EXPECT_EQ(header.flagsWord1, 0x11121314U);
    EXPECT_EQ(header.flagsWord2, 0x21220000U);
    EXPECT_EQ(header.flagsWord3, 0U);
    EXPECT_EQ(header.dataLength, 0U);
}

TEST(FrameHeader, AHugeNameLengthIsNotFollowedOutOfTheBlock) {
    const HeaderRecord header =
        populated(hex("47617465 00700000 00000001 00000000 00000000 FFFFFFFF 41757468 01 00000007"));
    EXPECT_EQ(header.serverProgramNameLength, 0xFFFFFFFFU);
    EXPECT_EQ(header.headerFlagByte, 0);
    EXPECT_EQ(header.dataLength, 0U);
}

struct HeaderLength {
    const char* name;
    size_t body;
    size_t whole;
};

class FrameLength : public testing::TestWithParam<HeaderLength> {};

TEST_P(FrameLength, Is29AndTheNameAndTheBody) {
    EXPECT_EQ(stapi::frameLength(std::strlen(GetParam().name), GetParam().body), GetParam().whole);
}

INSTANTIATE_TEST_SUITE_P(Requests, FrameLength,
                         testing::Values(HeaderLength{"BASE", 18, 51}, HeaderLength{"Auth", 4, 37},
                                         HeaderLength{"Auth", 20, 53}, HeaderLength{"BASE", 0, 33},
                                         HeaderLength{"Admin", 4, 38}, HeaderLength{"Admin", 94, 128}));

TEST(PrepareHeader, SetsEveryFieldWhateverWasThere) {
    HeaderRecord header;
    std::memset(static_cast<void*>(&header), 0xEE, sizeof header);
    stapi::prepareHeader(&header, 10, 0xFFFFFFFF, "BASE", 0);
    EXPECT_EQ(written(header), hex("47617465 00700000 0000000A 00000000 FFFFFFFF 00000004 42415345 00 00000000"));
}

}  // namespace

}  // namespace wire_test
