// How much a query string holds, and what happens to the ids that do not fit.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "api/zulstats64.h"
#include "hand_built_set.h"
#include "traced_test.h"

namespace {

using unit_test::HeldSet;
using unit_test::SetBytes;

// Ids told apart by their letter.
std::string id(char letter, size_t length) {
    return std::string(length, letter);
}

// An id of a length as the room test sees it, of which nothing is appended.
std::string invisible(size_t length) {
    return std::string(length, '\0');
}

class RsIdQueryRoom : public unit_test::TracedTest {
  protected:
    static SetBytes ids(const std::vector<std::string>& ids) {
        SetBytes bytes("ZULIDSET", 1);
        bytes.block("RG", 0, static_cast<uint32_t>(ids.size()));
        for (const std::string& each : ids) {
            bytes.id(each);
        }
        return bytes.end();
    }
    static SetBytes stats(const std::vector<std::string>& ids) {
        SetBytes bytes("ZULSTSET", 1);
        bytes.block("RG", 0, static_cast<uint32_t>(ids.size()));
        for (const std::string& each : ids) {
            bytes.stat(each, "1");
        }
        return bytes.end();
    }
    static std::string built(const SetBytes& bytes) {
        HeldSet held(bytes);
        char* text = nullptr;
        const int32_t rc = getIdQuery(held.token(), &text);
        return rc == STAPI_RC_OK ? text : "rc " + std::to_string(rc);
    }
};

struct RoomCase {
    size_t length;
    bool fits;
};

class RsIdQueryRoomForOne : public RsIdQueryRoom, public testing::WithParamInterface<RoomCase> {};

TEST_P(RsIdQueryRoomForOne, OneSeparatorIsCountedEvenForTheFirstId) {
    const RoomCase room = GetParam();
    const std::string expected = room.fits ? id('a', room.length) : "rc -131";
    EXPECT_EQ(built(ids({id('a', room.length)})), expected);
    EXPECT_EQ(built(stats({id('a', room.length)})), expected);
}

TEST_P(RsIdQueryRoomForOne, TwoIdsMayFillTheSameRoom) {
    // The string so far, the second id and a separator.
    const RoomCase room = GetParam();
    const std::string first = id('a', 100);
    const std::string second = id('b', room.length - first.size());
    EXPECT_EQ(built(ids({first, second})), room.fits ? first + ":" + second : first);
}

TEST_P(RsIdQueryRoomForOne, AnIdsFullLengthCountsAlthoughItHoldsANul) {
    const RoomCase room = GetParam();
    EXPECT_EQ(built(ids({"a", invisible(room.length - 1), "b"})), room.fits ? "a:" : "a:b");
}

INSTANTIATE_TEST_SUITE_P(Of, RsIdQueryRoomForOne,
                         testing::Values(RoomCase{31997, true}, RoomCase{31998, true}, RoomCase{31999, false},
                                         RoomCase{32000, false}, RoomCase{32001, false}),
                         [](const auto& instance) { return std::to_string(instance.param.length) + "Bytes"; });

TEST_F(RsIdQueryRoom, LongestStringHas31999CharactersAndTakesNoMoreNotEvenAnEmptyId) {
    const std::string first = id('a', 31990);
    const std::string second = id('b', 8);
    const std::string longest = first + ":" + second;
    ASSERT_EQ(longest.size(), 31999U);
    EXPECT_EQ(built(ids({first, second})), longest);
    EXPECT_EQ(built(ids({first, second, "", "c", id('d', 9)})), longest);
    EXPECT_EQ(built(stats({first, second, "", "c"})), longest);
}

TEST_F(RsIdQueryRoom, IdThatDoesNotFitIsSkippedAndALaterShorterOneTaken) {
    const std::string first = id('a', 31990);
    EXPECT_EQ(built(ids({first, id('b', 9), id('c', 500), id('d', 8)})), first + ":" + id('d', 8));
    EXPECT_EQ(built(stats({first, id('b', 9), id('c', 500), id('d', 8)})), first + ":" + id('d', 8));
}

TEST_F(RsIdQueryRoom, FirstIdThatDoesNotFitLeavesNoSeparator) {
    EXPECT_EQ(built(ids({id('a', 40000), "b", id('c', 32000), "d"})), "b:d");
}

TEST_F(RsIdQueryRoom, ManyIdsStopShortOfTheLimit) {
    const std::vector<std::string> all(5000, "0123456789");
    const std::string text = built(ids(all));
    // n ids of 10 and their separators: 11 n - 1 bytes. One more id fits while that is below 31,989.
    EXPECT_EQ(text.size(), 2909U * 11 - 1);
    EXPECT_EQ(text.find("::"), std::string::npos);
    EXPECT_TRUE(text.ends_with(":0123456789"));
}

TEST_F(RsIdQueryRoom, LengthBeyondTheSignedRangeDoesNotPassTheRoomTest) {
    for (const uint32_t length : {0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFEU, 0xFFFFFFFFU}) {
        // The bogus entry of a block without entries is the one that carries any length.
        const SetBytes bytes = SetBytes("ZULIDSET", 2).block("A", 0, 1).id("a").block("B", 0, 0).word(length).end();
        EXPECT_EQ(built(bytes), "a") << length;
    }
}

TEST_F(RsIdQueryRoom, BogusEntryThatReachesBeyondTheBufferEndsInTheZeroBytesBehindIt) {
    for (const uint32_t length : {21U, 100U, 5000U, 31000U}) {
        const SetBytes bytes =
            SetBytes("ZULIDSET", 2).block("A", 0, 1).id("a").block("B", 0, 0).word(length).raw("bbbb");
        EXPECT_EQ(built(bytes), "a:bbbb") << length;
    }
}

TEST_F(RsIdQueryRoom, BlocksWithoutEntriesAtTheEndOfTheCapacityDoNotLeadBeyondIt) {
    // After two blocks without entries the walk takes a block's code for the length of an id: the code is any number
    // that a gateway sends.
    const SetBytes bytes =
        SetBytes("ZULIDSET", 4).block("A", 0, 1).id("a").block("B", 0, 0).block("C", 0, 0).block("", 5000, 1).id("d");
    HeldSet held(bytes.bytes() + "\x0F\x0E\x0F\x0E", unit_test::kConnectionOwner, '\0');
    held.token()->resultSetBufLen = static_cast<int32_t>(bytes.size());
    char* text = nullptr;
    ASSERT_EQ(getIdQuery(held.token(), &text), 0);
    EXPECT_STREQ(text, "a:C:\1");
}

}  // namespace
