// What the walking functions refuse, in which order, and what they write about it.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "api/zulstats64.h"
#include "hand_built_set.h"
#include "resultset/stapi_zul_resultsetbuffer.h"
#include "traced_test.h"
#include "walk_kinds.h"

namespace {

using unit_test::at;
using unit_test::HeldSet;
using unit_test::SetBytes;

template <typename Kind>
class RsWalkRefusals : public unit_test::TracedTest {
  protected:
    using Record = typename Kind::Record;
    using Step = int32_t (*)(ResultSetToken*, Record*);

    static SetBytes ownSet() {
        SetBytes bytes(Kind::kEyecatcher, 1);
        bytes.block("RG", 0, 2);
        Kind::addEntry(bytes, "first");
        Kind::addEntry(bytes, "second");
        return bytes.end();
    }
    // Both steps give the code and touch neither the record nor the token.
    void expectRefusal(ResultSetToken* token, int32_t code) {
        for (const Step step : {Step{&Kind::first}, Step{&Kind::next}}) {
            auto record = unit_test::unusedRecord<Record>();
            const std::string recordBefore = unit_test::bytesOf(record);
            const std::string tokenBefore = unit_test::bytesOf(*token);
            EXPECT_EQ(step(token, &record), code);
            EXPECT_EQ(unit_test::bytesOf(record), recordBefore);
            EXPECT_EQ(unit_test::bytesOf(*token), tokenBefore);
        }
    }
};

TYPED_TEST_SUITE(RsWalkRefusals, unit_test::WalkKinds, unit_test::WalkKindName);

TYPED_TEST(RsWalkRefusals, NullResultSet) {
    typename TypeParam::Record record = {};
    EXPECT_EQ(TypeParam::first(nullptr, &record), STAPI_RC_NULL_RESULT_SET);
    EXPECT_EQ(TypeParam::next(nullptr, &record), STAPI_RC_NULL_RESULT_SET);
}

TYPED_TEST(RsWalkRefusals, NullRecord) {
    HeldSet held(this->ownSet());
    EXPECT_EQ(TypeParam::first(held.token(), nullptr), TypeParam::kNullRecordCode);
    EXPECT_EQ(TypeParam::next(held.token(), nullptr), TypeParam::kNullRecordCode);
    EXPECT_EQ(held.token()->queryIndex, 0U);
}

TYPED_TEST(RsWalkRefusals, NullResultSetBeforeNullRecord) {
    EXPECT_EQ(TypeParam::first(nullptr, nullptr), STAPI_RC_NULL_RESULT_SET);
    EXPECT_EQ(TypeParam::next(nullptr, nullptr), STAPI_RC_NULL_RESULT_SET);
}

TYPED_TEST(RsWalkRefusals, NullRecordBeforeWrongContent) {
    HeldSet held(SetBytes("ZULNOSET", 0).end());
    EXPECT_EQ(TypeParam::first(held.token(), nullptr), TypeParam::kNullRecordCode);
    EXPECT_EQ(TypeParam::next(held.token(), nullptr), TypeParam::kNullRecordCode);
}

TYPED_TEST(RsWalkRefusals, TheOtherKindOfContent) {
    HeldSet held(SetBytes(TypeParam::kOtherEyecatcher, 1).block("RG", 0, 1).stat("a", "1").end());
    this->expectRefusal(held.token(), STAPI_RC_WRONG_CONTENT);
}

TYPED_TEST(RsWalkRefusals, TheOtherKindOfContentInTheMiddleOfItsWalk) {
    HeldSet held(SetBytes("ZULIDSET", 1).block("RG", 0, 2).id("a").id("b").end());
    IdData id = {};
    ASSERT_EQ(getFirstId(held.token(), &id), 0);
    StatData stat = {};
    EXPECT_EQ(getFirstStat(held.token(), &stat), STAPI_RC_WRONG_CONTENT);
    EXPECT_EQ(getNextStat(held.token(), &stat), STAPI_RC_WRONG_CONTENT);
    EXPECT_EQ(getNextId(held.token(), &id), 0);
    EXPECT_EQ(unit_test::IdWalkKind::entry(id), "b");
}

TYPED_TEST(RsWalkRefusals, ContentWithoutAnEyecatcher) {
    const std::string ownEyecatcher = TypeParam::kEyecatcher;
    for (const std::string& eyecatcher : {std::string("zulidset"), ownEyecatcher.substr(0, 7) + "X",
                                          std::string("X").append(ownEyecatcher, 1), std::string(8, '\0')}) {
        HeldSet held(SetBytes(eyecatcher, 0).end());
        this->expectRefusal(held.token(), STAPI_RC_WRONG_CONTENT);
    }
}

TYPED_TEST(RsWalkRefusals, BufferBeforeTheFirstQuery) {
    HeldSet held(SetBytes().end().raw(std::string(32, '\0')));
    this->expectRefusal(held.token(), STAPI_RC_WRONG_CONTENT);
}

TYPED_TEST(RsWalkRefusals, NoBuffer) {
    HeldSet held(this->ownSet());
    held.token()->resultSetBuf = nullptr;
    this->expectRefusal(held.token(), STAPI_RC_WRONG_CONTENT);
}

TYPED_TEST(RsWalkRefusals, AnotherProcess) {
    HeldSet held(this->ownSet());
    ++held.token()->owningPid;
    this->expectRefusal(held.token(), STAPI_RC_WRONG_PROCESS);
}

TYPED_TEST(RsWalkRefusals, AnotherThreadId) {
    HeldSet held(this->ownSet());
    ++held.token()->owningTid;
    this->expectRefusal(held.token(), STAPI_RC_WRONG_THREAD);
}

TYPED_TEST(RsWalkRefusals, AnotherProcessBeforeAnotherThread) {
    HeldSet held(this->ownSet());
    ++held.token()->owningPid;
    ++held.token()->owningTid;
    this->expectRefusal(held.token(), STAPI_RC_WRONG_PROCESS);
}

TYPED_TEST(RsWalkRefusals, WrongContentBeforeAnotherProcess) {
    HeldSet held(SetBytes(TypeParam::kOtherEyecatcher, 0).end());
    ++held.token()->owningPid;
    ++held.token()->owningTid;
    this->expectRefusal(held.token(), STAPI_RC_WRONG_CONTENT);
}

TYPED_TEST(RsWalkRefusals, ARealOtherThreadOnAConnectionsResultSet) {
    HeldSet held(this->ownSet());
    auto record = unit_test::unusedRecord<typename TypeParam::Record>();
    ASSERT_EQ(TypeParam::first(held.token(), &record), 0);
    unit_test::onAnotherThread([&] { this->expectRefusal(held.token(), STAPI_RC_WRONG_THREAD); });
    EXPECT_EQ(TypeParam::next(held.token(), &record), 0);
    EXPECT_EQ(TypeParam::entry(record), "second");
}

TYPED_TEST(RsWalkRefusals, NothingOfACopyWhateverItsProcessAndThreadFieldsHold) {
    HeldSet held(this->ownSet(), unit_test::kUserOwner);
    held.token()->owningPid = 0xDEADBEEF;
    held.token()->owningTid = 0xDEADBEEF;
    auto record = unit_test::unusedRecord<typename TypeParam::Record>();
    EXPECT_EQ(TypeParam::first(held.token(), &record), 0);
    int32_t rcElsewhere = 1;
    unit_test::onAnotherThread([&] { rcElsewhere = TypeParam::next(held.token(), &record); });
    EXPECT_EQ(rcElsewhere, 0);
    EXPECT_EQ(TypeParam::entry(record), "second");
}

TYPED_TEST(RsWalkRefusals, NothingBecauseOfTheTokensOwnEyecatcher) {
    HeldSet held(this->ownSet());
    std::memset(held.token()->eyecatcher, 'x', 8);
    auto record = unit_test::unusedRecord<typename TypeParam::Record>();
    EXPECT_EQ(TypeParam::first(held.token(), &record), 0);
    EXPECT_EQ(TypeParam::next(held.token(), &record), 0);
}

// ---- What they write ------------------------------------------------------------------------------------------------

struct WrittenRefusal {
    std::string function;
    int32_t (*call)(ResultSetToken*);
    int entryPoint;
    std::string recordName;
    std::string message;
    std::string exit;
};

template <typename Record, int32_t (*function)(ResultSetToken*, Record*)>
int32_t callWithRecord(ResultSetToken* token) {
    static Record record;
    return function(token, &record);
}

std::vector<WrittenRefusal> writtenRefusals() {
    return {
        {"getFirstId", &callWithRecord<IdData, &getFirstId>, 1150, "idDataPtr",
         "API.getFirstId Resultset does not contain id data", "API.getFirstId() zulStatRc="},
        {"getNextId", &callWithRecord<IdData, &getNextId>, 1153, "idDataPtr",
         "API.getNextId Resultset does not contain id data", "API.getNextId() rc="},
        {"getFirstStat", &callWithRecord<StatData, &getFirstStat>, 1156, "statDataPtr",
         "API.getFirstStat Resultset does not contain statistics", "API.getFirstStat() rc="},
        {"getNextStat", &callWithRecord<StatData, &getNextStat>, 1159, "statDataPtr",
         "API.getNextStat Resultset does not contain statistics", "API.getNextStat() rc="},
    };
}

class RsWrittenRefusal : public unit_test::TracedTest, public testing::WithParamInterface<WrittenRefusal> {};

TEST_P(RsWrittenRefusal, WrongContentIsWrittenBetweenEntryAndExit) {
    HeldSet held(SetBytes("ZULNOSET", 0).end());
    traceToFile(5);
    EXPECT_EQ(GetParam().call(held.token()), STAPI_RC_WRONG_CONTENT);
    const unit_test::Lines lines = points();
    const int entry = GetParam().entryPoint;
    ASSERT_EQ(ids(), (std::vector<int>{entry, entry + 1, entry + 2}));
    EXPECT_TRUE(lines[0].starts_with(std::to_string(entry) + " ENTRY API." + GetParam().function +
                                     "(rsPtr=" + at(held.token()) + "," + GetParam().recordName + "="))
        << lines[0];
    EXPECT_EQ(lines[1], std::to_string(entry + 1) + " *EXC* " + GetParam().message);
    EXPECT_EQ(lines[2], std::to_string(entry + 2) + " EXIT " + GetParam().exit + "-119");
}

TEST_P(RsWrittenRefusal, WrongContentIsWrittenFromLevelOneOn) {
    HeldSet held(SetBytes("ZULNOSET", 0).end());
    traceToFile(0);
    EXPECT_EQ(GetParam().call(held.token()), STAPI_RC_WRONG_CONTENT);
    EXPECT_EQ(traced(), "");
    setLevelSilently(1);
    EXPECT_EQ(GetParam().call(held.token()), STAPI_RC_WRONG_CONTENT);
    EXPECT_EQ(points(), (unit_test::Lines{std::to_string(GetParam().entryPoint + 1) + " *EXC* " + GetParam().message}));
}

TEST_P(RsWrittenRefusal, NullResultSetHasNoMessageOfItsOwn) {
    traceToFile(5);
    EXPECT_EQ(GetParam().call(nullptr), STAPI_RC_NULL_RESULT_SET);
    const int entry = GetParam().entryPoint;
    ASSERT_EQ(ids(), (std::vector<int>{entry, entry + 2}));
    EXPECT_EQ(points().back(), std::to_string(entry + 2) + " EXIT " + GetParam().exit + "-127");
}

TEST_P(RsWrittenRefusal, AnotherThreadIsWrittenByTheOwnerCheck) {
    const bool walksIds = GetParam().recordName == "idDataPtr";
    HeldSet held(SetBytes(walksIds ? "ZULIDSET" : "ZULSTSET", 0).end());
    ++held.token()->owningTid;
    traceToFile(5);
    EXPECT_EQ(GetParam().call(held.token()), STAPI_RC_WRONG_THREAD);
    const int entry = GetParam().entryPoint;
    EXPECT_EQ(ids(), (std::vector<int>{entry, 2141, 2143, 2144, entry + 2}));
}

INSTANTIATE_TEST_SUITE_P(Of, RsWrittenRefusal, testing::ValuesIn(writtenRefusals()),
                         [](const auto& instance) { return instance.param.function; });

}  // namespace
