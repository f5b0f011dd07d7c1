// What a walk writes to the trace, line for line.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "api/zulstats64.h"
#include "hand_built_set.h"
#include "traced_test.h"
#include "walk_kinds.h"

namespace {

using unit_test::at;
using unit_test::HeldSet;
using unit_test::Lines;
using unit_test::SetBytes;

// Where the code of a first block with a query element of two characters ends.
constexpr size_t kFirstHeaderEnd = 8 + 4 + 4 + 2 + 4;

// One of the four functions of a walk, with what it writes around the lines of its step.
struct TracedWalk {
    const char* exportEntry;  // up to the addresses, as the two lines behind it
    const char* internal;
    const char* recordName;
    int internalEntry;
    const char* internalExit;  // up to the code
    const char* exportExit;
};
constexpr TracedWalk kFirstId = {"1150 ENTRY API.getFirstId",
                                 "getFirstIdInternal",
                                 "idDataPtr",
                                 1043,
                                 "1049 EXIT stapi_zul_impl.getFirstIdInternal() endOfResults=0 zulStatRc=",
                                 "1152 EXIT API.getFirstId() zulStatRc="};
constexpr TracedWalk kNextId = {"1153 ENTRY API.getNextId",
                                "getNextIdInternal",
                                "idDataPtr",
                                1050,
                                "1057 EXIT stapi_zul_impl.getNextIdInternal() rc=",
                                "1155 EXIT API.getNextId() rc="};
constexpr TracedWalk kFirstStat = {"1156 ENTRY API.getFirstStat",
                                   "getFirstStatInternal",
                                   "statDataPtr",
                                   1058,
                                   "1063 EXIT stapi_zul_impl.getFirstStatInternal() last=0 rc=",
                                   "1158 EXIT API.getFirstStat() rc="};
constexpr TracedWalk kNextStat = {"1159 ENTRY API.getNextStat",
                                  "getNextStatInternal",
                                  "statDataPtr",
                                  1064,
                                  "1071 EXIT stapi_zul_impl.getNextStatInternal() rc=",
                                  "1161 EXIT API.getNextStat() rc="};

class RsWalkTrace : public unit_test::TracedTest {
  protected:
    static std::string header(const std::string& function, const std::string& what, const HeldSet& held,
                              const void* token, size_t cursor, size_t length, size_t text, int code) {
        return "stapi_zul_impl." + function + " " + what + ". Resultset=" + at(token) +
               ", Datacursor=" + at(held.at(cursor)) + ", queryElementLen=" + std::to_string(length) +
               ", queryElementPtr=" + at(held.at(text)) + ", queryElementRC=" + std::to_string(code);
    }
    static std::string entry(const std::string& function, int queryIndex, int entryIndex, const HeldSet& held,
                             const void* token, size_t cursor, const std::string& lengthName, int length) {
        return "stapi_zul_impl." + function + " Processing queryIndex=" + std::to_string(queryIndex) +
               ", elementResultIndex=" + std::to_string(entryIndex) + ". Resultset=" + at(token) +
               ", dataCursor=" + at(held.at(cursor)) + ", " + lengthName + "=" + std::to_string(length);
    }
    static std::string endOfSubset(const std::string& function, int queryIndex, const void* token) {
        return "stapi_zul_impl." + function + " End of subset queryIndex=" + std::to_string(queryIndex) +
               ". Resultset=" + at(token);
    }
    static std::string internal(const std::string& function, const void* token, const std::string& recordName,
                                const void* record) {
        return "stapi_zul_impl." + function + "(rsPtr=" + at(token) + "," + recordName + "=" + at(record) + ")";
    }
    // What one call of a walk writes: the lines of its step, and what stands around them.
    static Lines callOf(const TracedWalk& walk, const void* token, const void* record, int code, const Lines& step) {
        const std::string arguments = "(rsPtr=" + at(token) + "," + walk.recordName + "=" + at(record) + ")";
        Lines lines = {walk.exportEntry + arguments, std::to_string(walk.internalEntry) + " ENTRY " +
                                                         internal(walk.internal, token, walk.recordName, record)};
        lines.insert(lines.end(), step.begin(), step.end());
        lines.push_back(walk.internalExit + std::to_string(code));
        lines.push_back(walk.exportExit + std::to_string(code));
        return lines;
    }
    // The lines that checkTerminator and the owner check write about a walk are tested with those functions.
    Lines walkPoints() const {
        Lines kept;
        for (const std::string& line : points()) {
            if (!line.starts_with("21")) {
                kept.push_back(line);
            }
        }
        return kept;
    }
    IdData id_ = {};
    StatData stat_ = {};
};

TEST_F(RsWalkTrace, FirstIdOfABlockOfTwo) {
    HeldSet held(SetBytes("ZULIDSET", 3).block("RG", 0, 2).id("abc").id("d").end());
    const void* const token = held.token();
    traceToFile(5);
    ASSERT_EQ(getFirstId(held.token(), &id_), 0);
    const std::string function = "getFirstIdInternal";
    EXPECT_EQ(walkPoints(),
              callOf(kFirstId, token, &id_, 0,
                     {"1045 DEBUG " +
                          header(function, "Processing query header 1 of 3", held, token, kFirstHeaderEnd, 2, 16, 0),
                      "1047 DEBUG " + entry(function, 1, 1, held, token, kFirstHeaderEnd + 4 + 7, "idLen", 3),
                      "1137 EVENT stapi_zul_impl.getFirstIdInternal Successfully retrieved first Id from resultset " +
                          at(token)}));
}

TEST_F(RsWalkTrace, FirstIdThatIsTheOnlyOneOfItsBlock) {
    HeldSet held(SetBytes("ZULIDSET", 1).block("RG", 0, 1).id("abc").end());
    traceToFile(4);
    ASSERT_EQ(getFirstId(held.token(), &id_), 0);
    EXPECT_EQ(messages(1048), (Lines{endOfSubset("getFirstIdInternal", 2, held.token())}));
}

TEST_F(RsWalkTrace, FirstIdOfAFailedBlock) {
    HeldSet held(SetBytes("ZULIDSET", 2).failedBlock("RG", -8).failedBlock("RH", -9).end());
    const void* const token = held.token();
    traceToFile(5);
    ASSERT_EQ(getFirstId(held.token(), &id_), 0);
    const std::string function = "getFirstIdInternal";
    EXPECT_EQ(
        walkPoints(),
        callOf(kFirstId, token, &id_, 0,
               {"1045 DEBUG " +
                    header(function, "Processing query header 1 of 2", held, token, kFirstHeaderEnd, 2, 16, -8),
                "1046 EVENT " + internal(function, token, "idDataPtr", &id_) + " Found negative queryElementRC(-8)"}));
}

TEST_F(RsWalkTrace, NextIdOnAFreshToken) {
    HeldSet held(SetBytes("ZULIDSET", 1).block("RG", 0, 1).id("abc").end());
    const void* const token = held.token();
    traceToFile(5);
    ASSERT_EQ(getNextId(held.token(), &id_), 0);
    const std::string function = "getNextIdInternal";
    EXPECT_EQ(walkPoints(),
              callOf(kNextId, token, &id_, 0,
                     {"1052 DEBUG stapi_zul_impl.getNextIdInternal No getFirstId() called on Resultset=" + at(token) +
                          ". Datacursor=" + at(held.at(12)),
                      "1053 DEBUG " +
                          header(function, "Processing query header 1 of 1", held, token, kFirstHeaderEnd, 2, 16, 0),
                      "1055 DEBUG " + entry(function, 1, 1, held, token, kFirstHeaderEnd + 4 + 7, "idLen", 3),
                      "1056 DEBUG " + endOfSubset(function, 2, token),
                      "1138 EVENT stapi_zul_impl.getNextIdInternal Successfully retrieved the next Id from resultset " +
                          at(token)}));
}

TEST_F(RsWalkTrace, NextIdInsideABlockWritesNoHeader) {
    HeldSet held(SetBytes("ZULIDSET", 1).block("RG", 0, 3).id("abc").id("de").id("f").end());
    const void* const token = held.token();
    ASSERT_EQ(getFirstId(held.token(), &id_), 0);
    traceToFile(5);
    ASSERT_EQ(getNextId(held.token(), &id_), 0);
    const std::string function = "getNextIdInternal";
    EXPECT_EQ(walkPoints(),
              callOf(kNextId, token, &id_, 0,
                     {"1055 DEBUG " + entry(function, 1, 2, held, token, kFirstHeaderEnd + 4 + 7 + 6, "idLen", 2),
                      "1138 EVENT stapi_zul_impl.getNextIdInternal Successfully retrieved the next Id from resultset " +
                          at(token)}));
}

TEST_F(RsWalkTrace, NextIdOfAFailedBlock) {
    HeldSet held(SetBytes("ZULIDSET", 2).failedBlock("RG", -8).failedBlock("RH", -9).end());
    const void* const token = held.token();
    ASSERT_EQ(getFirstId(held.token(), &id_), 0);
    traceToFile(5);
    ASSERT_EQ(getNextId(held.token(), &id_), 0);
    const std::string function = "getNextIdInternal";
    EXPECT_EQ(walkPoints(), callOf(kNextId, token, &id_, 0,
                                   {"1053 DEBUG " + header(function, "Processing query header 2 of 2", held, token,
                                                           kFirstHeaderEnd + 10, 2, kFirstHeaderEnd + 4, -9),
                                    "1054 EVENT " + internal(function, token, "idDataPtr", &id_) +
                                        " Found negative queryElementRC(-9)"}));
}

TEST_F(RsWalkTrace, EndOfAnIdSet) {
    HeldSet held(SetBytes("ZULIDSET", 1).failedBlock("RG", -8).end());
    const void* const token = held.token();
    ASSERT_EQ(getFirstId(held.token(), &id_), 0);
    traceToFile(5);
    ASSERT_EQ(getNextId(held.token(), &id_), STAPI_RC_END_OF_DATA);
    EXPECT_EQ(walkPoints(), callOf(kNextId, token, &id_, STAPI_RC_END_OF_DATA, {}));
}

TEST_F(RsWalkTrace, FirstStatOfABlockOfOne) {
    HeldSet held(SetBytes("ZULSTSET", 3).block("RG", 4, 1).stat("abc", "12").end());
    const void* const token = held.token();
    traceToFile(5);
    ASSERT_EQ(getFirstStat(held.token(), &stat_), 0);
    const std::string function = "getFirstStatInternal";
    EXPECT_EQ(
        walkPoints(),
        callOf(
            kFirstStat, token, &stat_, 0,
            {"1060 DEBUG " + header(function, "Processing query header 1 of 3", held, token, kFirstHeaderEnd, 2, 16, 4),
             "1061 DEBUG " +
                 header(function, "Caching new query element details", held, token, kFirstHeaderEnd, 2, 16, 4),
             "1062 DEBUG " + endOfSubset(function, 2, token),
             "1139 EVENT stapi_zul_impl.getFirstStatInternal Successfully retrieved first stat from resultset " +
                 at(token)}));
}

TEST_F(RsWalkTrace, FirstStatOfAFailedBlockIsSilentAboutIt) {
    HeldSet held(SetBytes("ZULSTSET", 1).failedBlock("RG", -8).end());
    const void* const token = held.token();
    traceToFile(5);
    ASSERT_EQ(getFirstStat(held.token(), &stat_), 0);
    const std::string function = "getFirstStatInternal";
    EXPECT_EQ(walkPoints(), callOf(kFirstStat, token, &stat_, 0,
                                   {"1060 DEBUG " + header(function, "Processing query header 1 of 1", held, token,
                                                           kFirstHeaderEnd, 2, 16, -8),
                                    "1061 DEBUG " + header(function, "Caching new query element details", held, token,
                                                           kFirstHeaderEnd, 2, 16, -8)}));
}

TEST_F(RsWalkTrace, NextStatOnAFreshToken) {
    HeldSet held(SetBytes("ZULSTSET", 1).block("RG", 0, 1).stat("abc", "12").end());
    const void* const token = held.token();
    traceToFile(5);
    ASSERT_EQ(getNextStat(held.token(), &stat_), 0);
    const std::string function = "getNextStatInternal";
    EXPECT_EQ(
        walkPoints(),
        callOf(
            kNextStat, token, &stat_, 0,
            {"1066 DEBUG stapi_zul_impl.getNextStatInternal No getFirstStat() called on Resultset=" + at(token) +
                 ". Datacursor=" + at(held.at(12)),
             "1067 DEBUG " + header(function, "Processing query header 1 of 1", held, token, kFirstHeaderEnd, 2, 16, 0),
             "1069 DEBUG " + entry(function, 1, 1, held, token, kFirstHeaderEnd + 4 + 7 + 6, "statIdLen", 3),
             "1070 DEBUG " + endOfSubset(function, 2, token),
             "1140 EVENT stapi_zul_impl.getNextStatInternal Successfully retrieved the next stat from resultset " +
                 at(token)}));
}

TEST_F(RsWalkTrace, NextStatOfAFailedBlock) {
    HeldSet held(SetBytes("ZULSTSET", 1).failedBlock("RG", -8).end());
    const void* const token = held.token();
    traceToFile(5);
    ASSERT_EQ(getNextStat(held.token(), &stat_), 0);
    EXPECT_EQ(messages(1068), (Lines{internal("getNextStatInternal", token, "statDataPtr", &stat_) +
                                     " Found negative queryElementRC(-8)"}));
    EXPECT_EQ(messages(1069), Lines{});
    EXPECT_EQ(messages(1140), Lines{});
    EXPECT_EQ(messages(1071), (Lines{"stapi_zul_impl.getNextStatInternal() rc=0"}));
}

TEST_F(RsWalkTrace, EndOfAStatisticsSet) {
    HeldSet held(SetBytes("ZULSTSET", 0).end());
    const void* const token = held.token();
    traceToFile(3);
    ASSERT_EQ(getNextStat(held.token(), &stat_), STAPI_RC_END_OF_DATA);
    EXPECT_EQ(walkPoints(), callOf(kNextStat, token, &stat_, STAPI_RC_END_OF_DATA, {}));
}

TEST_F(RsWalkTrace, EventsAloneAtLevelTwo) {
    HeldSet ids(SetBytes("ZULIDSET", 2).failedBlock("RA", -1).block("RB", 0, 1).id("b").end());
    HeldSet stats(SetBytes("ZULSTSET", 2).failedBlock("RA", -1).failedBlock("RB", -2).end());
    traceToFile(2);
    getFirstId(ids.token(), &id_);
    getNextId(ids.token(), &id_);
    getNextId(ids.token(), &id_);
    getFirstStat(stats.token(), &stat_);
    getNextStat(stats.token(), &stat_);
    EXPECT_EQ(this->ids(), (std::vector<int>{1046, 1138, 1068}));
}

TEST_F(RsWalkTrace, NothingAtLevelOneFromAGoodWalk) {
    HeldSet held(SetBytes("ZULIDSET", 1).block("RG", 0, 1).id("abc").end());
    traceToFile(1);
    EXPECT_EQ(getFirstId(held.token(), &id_), 0);
    EXPECT_EQ(getNextId(held.token(), &id_), STAPI_RC_END_OF_DATA);
    EXPECT_EQ(traced(), "");
}

}  // namespace
