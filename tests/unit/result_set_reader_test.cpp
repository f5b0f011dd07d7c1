// Bounded reading of a result-set buffer: where the reader stands after a read that fails.
#include "resultset/result_set_reader.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

using stapi::ResultSetReader;

class RsReader : public testing::Test {
  protected:
    // Seven bytes: a word that announces 4 bytes, and 3 bytes.
    RsReader() {
        const uint32_t announced = 4;
        std::memcpy(bytes_.data(), &announced, sizeof announced);
    }

    std::array<char, 7> bytes_ = {'\0', '\0', '\0', '\0', 'a', 'b', 'c'};
    ResultSetReader reader_ = {bytes_.data(), bytes_.size(), 0};
};

TEST_F(RsReader, StaysWhereItWasWhenAWordIsNotAllThere) {
    reader_.position = 4;
    uint32_t word = 77;
    EXPECT_FALSE(stapi::readWord(&reader_, &word));
    EXPECT_EQ(reader_.position, 4U);
    EXPECT_EQ(word, 77U);
}

TEST_F(RsReader, StaysWhereItWasWhenATextIsNotAllThere) {
    reader_.position = 4;
    const char* text = nullptr;
    EXPECT_FALSE(stapi::readText(&reader_, 4, &text));
    EXPECT_EQ(reader_.position, 4U);
    EXPECT_EQ(text, nullptr);
}

TEST_F(RsReader, TextThatEndsWithTheBufferIsRead) {
    reader_.position = 4;
    const char* text = nullptr;
    EXPECT_TRUE(stapi::readText(&reader_, 3, &text));
    EXPECT_EQ(reader_.position, 7U);
    EXPECT_EQ(text, bytes_.data() + 4);
}

TEST_F(RsReader, HasPassedTheLengthOfATextThatIsNotAllThere) {
    uint32_t length = 0;
    const char* text = nullptr;
    EXPECT_FALSE(stapi::readLengthAndText(&reader_, &length, &text));
    EXPECT_EQ(reader_.position, 4U);
    EXPECT_EQ(text, nullptr);
}

TEST_F(RsReader, SkippingMoreThanThereIsEndsAtTheEnd) {
    reader_.position = 4;
    stapi::skipTextOrAll(&reader_, 4);
    EXPECT_EQ(reader_.position, 7U);
    uint32_t word = 0;
    EXPECT_FALSE(stapi::readWord(&reader_, &word));
    EXPECT_EQ(reader_.position, 7U);
}

TEST_F(RsReader, LengthOfAllOnesIsNotTakenForASmallOne) {
    const char* text = nullptr;
    EXPECT_FALSE(stapi::readText(&reader_, UINT32_MAX, &text));
    EXPECT_EQ(reader_.position, 0U);
    stapi::skipTextOrAll(&reader_, UINT32_MAX);
    EXPECT_EQ(reader_.position, 7U);
}

}  // namespace
