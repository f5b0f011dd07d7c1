// What a walk writes to the trace, line for line.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "api/zulstats64.h"
#include "rs_hand_built_set.h"
#include "rs_trace_points.h"
#include "rs_walk_kinds.h"

namespace {

using unit_test::at;
using unit_test::HeldSet;
using unit_test::Lines;
using unit_test::SetBytes;

// Where the code of a first block with a query element of two characters ends.
constexpr size_t kFirstHeaderEnd = 8 + 4 + 4 + 2 + 4;

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
    EXPECT_EQ(
        walkPoints(),
        (Lines{
            "1150 ENTRY API.getFirstId(rsPtr=" + at(token) + ",idDataPtr=" + at(&id_) + ")",
            "1043 ENTRY " + internal(function, token, "idDataPtr", &id_),
            "1045 DEBUG " + header(function, "Processing query header 1 of 3", held, token, kFirstHeaderEnd, 2, 16, 0),
            "1047 DEBUG " + entry(function, 1, 1, held, token, kFirstHeaderEnd + 4 + 7, "idLen", 3),
            "1137 EVENT stapi_zul_impl.getFirstIdInternal Successfully retrieved first Id from resultset " + at(token),
            "1049 EXIT stapi_zul_impl.getFirstIdInternal() endOfResults=0 zulStatRc=0",
            "1152 EXIT API.getFirstId() zulStatRc=0"}));
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
        (Lines{
            "1150 ENTRY API.getFirstId(rsPtr=" + at(token) + ",idDataPtr=" + at(&id_) + ")",
            "1043 ENTRY " + internal(function, token, "idDataPtr", &id_),
            "1045 DEBUG " + header(function, "Processing query header 1 of 2", held, token, kFirstHeaderEnd, 2, 16, -8),
            "1046 EVENT " + internal(function, token, "idDataPtr", &id_) + " Found negative queryElementRC(-8)",
            "1049 EXIT stapi_zul_impl.getFirstIdInternal() endOfResults=0 zulStatRc=0",
            "1152 EXIT API.getFirstId() zulStatRc=0"}));
}

TEST_F(RsWalkTrace, NextIdOnAFreshToken) {
    HeldSet held(SetBytes("ZULIDSET", 1).block("RG", 0, 1).id("abc").end());
    const void* const token = held.token();
    traceToFile(5);
    ASSERT_EQ(getNextId(held.token(), &id_), 0);
    const std::string function = "getNextIdInternal";
    EXPECT_EQ(walkPoints(),
              (Lines{"1153 ENTRY API.getNextId(rsPtr=" + at(token) + ",idDataPtr=" + at(&id_) + ")",
                     "1050 ENTRY " + internal(function, token, "idDataPtr", &id_),
                     "1052 DEBUG stapi_zul_impl.getNextIdInternal No getFirstId() called on Resultset=" + at(token) +
                         ". Datacursor=" + at(held.at(12)),
                     "1053 DEBUG " +
                         header(function, "Processing query header 1 of 1", held, token, kFirstHeaderEnd, 2, 16, 0),
                     "1055 DEBUG " + entry(function, 1, 1, held, token, kFirstHeaderEnd + 4 + 7, "idLen", 3),
                     "1056 DEBUG " + endOfSubset(function, 2, token),
                     "1138 EVENT stapi_zul_impl.getNextIdInternal Successfully retrieved the next Id from resultset " +
                         at(token),
                     "1057 EXIT stapi_zul_impl.getNextIdInternal() rc=0", "1155 EXIT API.getNextId() rc=0"}));
}

TEST_F(RsWalkTrace, NextIdInsideABlockWritesNoHeader) {
    HeldSet held(SetBytes("ZULIDSET", 1).block("RG", 0, 3).id("abc").id("de").id("f").end());
    const void* const token = held.token();
    ASSERT_EQ(getFirstId(held.token(), &id_), 0);
    traceToFile(5);
    ASSERT_EQ(getNextId(held.token(), &id_), 0);
    const std::string function = "getNextIdInternal";
    EXPECT_EQ(walkPoints(),
              (Lines{"1153 ENTRY API.getNextId(rsPtr=" + at(token) + ",idDataPtr=" + at(&id_) + ")",
                     "1050 ENTRY " + internal(function, token, "idDataPtr", &id_),
                     "1055 DEBUG " + entry(function, 1, 2, held, token, kFirstHeaderEnd + 4 + 7 + 6, "idLen", 2),
                     "1138 EVENT stapi_zul_impl.getNextIdInternal Successfully retrieved the next Id from resultset " +
                         at(token),
                     "1057 EXIT stapi_zul_impl.getNextIdInternal() rc=0", "1155 EXIT API.getNextId() rc=0"}));
}

TEST_F(RsWalkTrace, NextIdOfAFailedBlock) {
    HeldSet held(SetBytes("ZULIDSET", 2).failedBlock("RG", -8).failedBlock("RH", -9).end());
    const void* const token = held.token();
    ASSERT_EQ(getFirstId(held.token(), &id_), 0);
    traceToFile(5);
    ASSERT_EQ(getNextId(held.token(), &id_), 0);
    const std::string function = "getNextIdInternal";
    EXPECT_EQ(
        walkPoints(),
        (Lines{"1153 ENTRY API.getNextId(rsPtr=" + at(token) + ",idDataPtr=" + at(&id_) + ")",
               "1050 ENTRY " + internal(function, token, "idDataPtr", &id_),
               "1053 DEBUG " + header(function, "Processing query header 2 of 2", held, token, kFirstHeaderEnd + 10, 2,
                                      kFirstHeaderEnd + 4, -9),
               "1054 EVENT " + internal(function, token, "idDataPtr", &id_) + " Found negative queryElementRC(-9)",
               "1057 EXIT stapi_zul_impl.getNextIdInternal() rc=0", "1155 EXIT API.getNextId() rc=0"}));
}

TEST_F(RsWalkTrace, EndOfAnIdSet) {
    HeldSet held(SetBytes("ZULIDSET", 1).failedBlock("RG", -8).end());
    const void* const token = held.token();
    ASSERT_EQ(getFirstId(held.token(), &id_), 0);
    traceToFile(5);
    ASSERT_EQ(getNextId(held.token(), &id_), STAPI_RC_END_OF_DATA);
    EXPECT_EQ(walkPoints(),
              (Lines{"1153 ENTRY API.getNextId(rsPtr=" + at(token) + ",idDataPtr=" + at(&id_) + ")",
                     "1050 ENTRY " + internal("getNextIdInternal", token, "idDataPtr", &id_),
                     "1057 EXIT stapi_zul_impl.getNextIdInternal() rc=-113", "1155 EXIT API.getNextId() rc=-113"}));
}

TEST_F(RsWalkTrace, FirstStatOfABlockOfOne) {
    HeldSet held(SetBytes("ZULSTSET", 3).block("RG", 4, 1).stat("abc", "12").end());
    const void* const token = held.token();
    traceToFile(5);
    ASSERT_EQ(getFirstStat(held.token(), &stat_), 0);
    const std::string function = "getFirstStatInternal";
    EXPECT_EQ(
        walkPoints(),
        (Lines{
            "1156 ENTRY API.getFirstStat(rsPtr=" + at(token) + ",statDataPtr=" + at(&stat_) + ")",
            "1058 ENTRY " + internal(function, token, "statDataPtr", &stat_),
            "1060 DEBUG " + header(function, "Processing query header 1 of 3", held, token, kFirstHeaderEnd, 2, 16, 4),
            "1061 DEBUG " +
                header(function, "Caching new query element details", held, token, kFirstHeaderEnd, 2, 16, 4),
            "1062 DEBUG " + endOfSubset(function, 2, token),
            "1139 EVENT stapi_zul_impl.getFirstStatInternal Successfully retrieved first stat from resultset " +
                at(token),
            "1063 EXIT stapi_zul_impl.getFirstStatInternal() last=0 rc=0", "1158 EXIT API.getFirstStat() rc=0"}));
}

TEST_F(RsWalkTrace, FirstStatOfAFailedBlockIsSilentAboutIt) {
    HeldSet held(SetBytes("ZULSTSET", 1).failedBlock("RG", -8).end());
    const void* const token = held.token();
    traceToFile(5);
    ASSERT_EQ(getFirstStat(held.token(), &stat_), 0);
    const std::string function = "getFirstStatInternal";
    EXPECT_EQ(
        walkPoints(),
        (Lines{
            "1156 ENTRY API.getFirstStat(rsPtr=" + at(token) + ",statDataPtr=" + at(&stat_) + ")",
            "1058 ENTRY " + internal(function, token, "statDataPtr", &stat_),
            "1060 DEBUG " + header(function, "Processing query header 1 of 1", held, token, kFirstHeaderEnd, 2, 16, -8),
            "1061 DEBUG " +
                header(function, "Caching new query element details", held, token, kFirstHeaderEnd, 2, 16, -8),
            "1063 EXIT stapi_zul_impl.getFirstStatInternal() last=0 rc=0", "1158 EXIT API.getFirstStat() rc=0"}));
}

TEST_F(RsWalkTrace, NextStatOnAFreshToken) {
    HeldSet held(SetBytes("ZULSTSET", 1).block("RG", 0, 1).stat("abc", "12").end());
    const void* const token = held.token();
    traceToFile(5);
    ASSERT_EQ(getNextStat(held.token(), &stat_), 0);
    const std::string function = "getNextStatInternal";
    EXPECT_EQ(
        walkPoints(),
        (Lines{
            "1159 ENTRY API.getNextStat(rsPtr=" + at(token) + ",statDataPtr=" + at(&stat_) + ")",
            "1064 ENTRY " + internal(function, token, "statDataPtr", &stat_),
            "1066 DEBUG stapi_zul_impl.getNextStatInternal No getFirstStat() called on Resultset=" + at(token) +
                ". Datacursor=" + at(held.at(12)),
            "1067 DEBUG " + header(function, "Processing query header 1 of 1", held, token, kFirstHeaderEnd, 2, 16, 0),
            "1069 DEBUG " + entry(function, 1, 1, held, token, kFirstHeaderEnd + 4 + 7 + 6, "statIdLen", 3),
            "1070 DEBUG " + endOfSubset(function, 2, token),
            "1140 EVENT stapi_zul_impl.getNextStatInternal Successfully retrieved the next stat from resultset " +
                at(token),
            "1071 EXIT stapi_zul_impl.getNextStatInternal() rc=0", "1161 EXIT API.getNextStat() rc=0"}));
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
    EXPECT_EQ(walkPoints(),
              (Lines{"1159 ENTRY API.getNextStat(rsPtr=" + at(token) + ",statDataPtr=" + at(&stat_) + ")",
                     "1064 ENTRY " + internal("getNextStatInternal", token, "statDataPtr", &stat_),
                     "1071 EXIT stapi_zul_impl.getNextStatInternal() rc=-113", "1161 EXIT API.getNextStat() rc=-113"}));
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
