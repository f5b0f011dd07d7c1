// What an exported function never does to its caller, whatever it is asked: write to standard output, write at level 0,
// change the locale, or write behind a record.
#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cstdint>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "api/zulstats64.h"
#include "diag/heap_blocks.h"
#include "every_export.h"
#include "resultset/stapi_zul_resultsetbuffer.h"
#include "trace_fixture.h"
#include "trace_text.h"

namespace {

class EveryExportOnce : public TraceTest, public testing::WithParamInterface<ExportCall> {};

TEST_P(EveryExportOnce, RefusesItsArgumentsWithItsCode) {
    traceToFile(0);
    EXPECT_EQ(GetParam().call(), GetParam().code);
}

TEST_P(EveryExportOnce, WritesNothingAtLevelZeroUnlessItIsADump) {
    traceToFile(0);
    const std::string onStandardError = standardErrorOf([] { GetParam().call(); });
    EXPECT_EQ(onStandardError, "");
    EXPECT_EQ(traced().empty(), !GetParam().writesAtEveryLevel) << traced();
}

TEST_P(EveryExportOnce, WritesNothingToStandardOutputAtTheHighestLevel) {
    traceToFile(5);
    EXPECT_EQ(standardOutputOf([] { GetParam().call(); }), "");
}

TEST_P(EveryExportOnce, WritesItsTraceToTheFileAlone) {
    traceToFile(5);
    EXPECT_EQ(standardErrorOf([] { GetParam().call(); }), "");
    setLevelSilently(0);
    EXPECT_NE(traced(), "");
}

TEST_P(EveryExportOnce, LeavesTheLocaleAsItWas) {
    const std::string before = std::setlocale(LC_ALL, nullptr);
    traceToFile(5);
    GetParam().call();
    EXPECT_EQ(std::string(std::setlocale(LC_ALL, nullptr)), before);
}

TEST_P(EveryExportOnce, TracesItsEntryFirstAndItsExitLast) {
    traceToFile(3);
    GetParam().call();
    setLevelSilently(0);
    const std::vector<test_support::TraceLine> lines = test_support::traceLines(traced());
    ASSERT_GE(lines.size(), 2U) << traced();
    const std::string head = "API." + GetParam().name + "(";
    EXPECT_EQ(lines.front().word, "ENTRY");
    EXPECT_EQ(lines.front().message.rfind(head, 0), 0U) << lines.front().message;
    EXPECT_EQ(lines.back().word, "EXIT");
    EXPECT_EQ(lines.back().message.rfind(head, 0), 0U) << lines.back().message;
}

INSTANTIATE_TEST_SUITE_P(Exports, EveryExportOnce, testing::ValuesIn(everyExport()),
                         [](const testing::TestParamInfo<ExportCall>& tested) { return tested.param.name; });

TEST(EveryExport, StandsInTheTableOnce) {
    std::set<std::string> names;
    for (const ExportCall& each : everyExport()) {
        names.insert(each.name);
    }
    EXPECT_EQ(names.size(), 23U);
    EXPECT_EQ(everyExport().size(), 23U);
}

// ---- Records of the caller
// -------------------------------------------------------------------------------------------

constexpr uint8_t kGuard = 0xA5;

// A caller's record between guard bytes, in a heap block of exactly that size.
template <typename Record>
class GuardedRecord {
  public:
    GuardedRecord() : bytes_(kGuardSize + sizeof(Record) + kGuardSize, kGuard) {}

    Record* record() {
        return reinterpret_cast<Record*>(bytes_.data() + kGuardSize);
    }

    bool guardsAreWhole() const {
        const auto isGuard = [](uint8_t byte) { return byte == kGuard; };
        return std::all_of(bytes_.begin(), bytes_.begin() + kGuardSize, isGuard) &&
               std::all_of(bytes_.end() - kGuardSize, bytes_.end(), isGuard);
    }

    bool isUntouched() const {
        return std::all_of(bytes_.begin(), bytes_.end(), [](uint8_t byte) { return byte == kGuard; });
    }

  private:
    static constexpr int kGuardSize = 64;
    std::vector<uint8_t> bytes_;
};

void appendWord(std::string* buffer, uint32_t word) {
    buffer->append(reinterpret_cast<const char*>(&word), sizeof word);
}

void appendText(std::string* buffer, const std::string& text) {
    appendWord(buffer, static_cast<uint32_t>(text.size()));
    *buffer += text;
}

// One query element with one entry: an id, or a statistic with a value.
std::string smallResultSet(const std::string& eyecatcher, const std::vector<std::string>& entry) {
    std::string buffer = eyecatcher;
    appendWord(&buffer, 1);
    appendText(&buffer, "GROUP");
    appendWord(&buffer, 0);
    appendWord(&buffer, 1);
    for (const std::string& text : entry) {
        appendText(&buffer, text);
    }
    appendWord(&buffer, stapi::kTerminator);
    return buffer;
}

class CallersRecord : public TraceTest {
  protected:
    void useResultSet(const std::string& content) {
        ASSERT_EQ(stapi::createResultSet(&resultSet_, "ZULRSUSR", stapi::OWNER_USER), 0);
        const auto capacity = static_cast<int32_t>(content.size());
        resultSet_->resultSetBuf = static_cast<char*>(stapi::allocateMemory(stapi::resultSetAllocation(capacity)));
        ASSERT_NE(resultSet_->resultSetBuf, nullptr);
        std::memcpy(resultSet_->resultSetBuf, content.data(), content.size());
        resultSet_->resultSetBufLen = capacity;
        resultSet_->dataCursor = resultSet_->resultSetBuf;
    }

    void TearDown() override {
        if (resultSet_ != nullptr) {
            EXPECT_EQ(freeResultSet(&resultSet_), 0);
        }
        TraceTest::TearDown();
    }

    ResultSetToken* resultSet_ = nullptr;
};

TEST_F(CallersRecord, OfAnIdIsNotWrittenBehind) {
    useResultSet(smallResultSet("ZULIDSET", {"ID1"}));
    GuardedRecord<IdData> guarded;
    ASSERT_EQ(getFirstId(resultSet_, guarded.record()), 0);
    EXPECT_TRUE(guarded.guardsAreWhole());
    EXPECT_EQ(std::string(guarded.record()->idPtr, guarded.record()->idLen), "ID1");
    ASSERT_EQ(getNextId(resultSet_, guarded.record()), STAPI_RC_END_OF_DATA);
    EXPECT_TRUE(guarded.guardsAreWhole());
}

TEST_F(CallersRecord, OfAnIdIsNotTouchedByARefusedCall) {
    useResultSet(smallResultSet("ZULSTSET", {"STAT", "1"}));
    GuardedRecord<IdData> guarded;
    EXPECT_EQ(getFirstId(resultSet_, guarded.record()), STAPI_RC_WRONG_CONTENT);
    EXPECT_EQ(getNextId(resultSet_, guarded.record()), STAPI_RC_WRONG_CONTENT);
    EXPECT_EQ(getFirstId(nullptr, guarded.record()), STAPI_RC_NULL_RESULT_SET);
    EXPECT_TRUE(guarded.isUntouched());
}

TEST_F(CallersRecord, OfAStatisticIsNotWrittenBehind) {
    useResultSet(smallResultSet("ZULSTSET", {"STAT", "12"}));
    GuardedRecord<StatData> guarded;
    ASSERT_EQ(getFirstStat(resultSet_, guarded.record()), 0);
    EXPECT_TRUE(guarded.guardsAreWhole());
    EXPECT_EQ(std::string(guarded.record()->statValuePtr, guarded.record()->statValueLen), "12");
    ASSERT_EQ(getNextStat(resultSet_, guarded.record()), STAPI_RC_END_OF_DATA);
    EXPECT_TRUE(guarded.guardsAreWhole());
}

TEST_F(CallersRecord, OfAStatisticIsNotTouchedByARefusedCall) {
    useResultSet(smallResultSet("ZULIDSET", {"ID1"}));
    GuardedRecord<StatData> guarded;
    EXPECT_EQ(getFirstStat(resultSet_, guarded.record()), STAPI_RC_WRONG_CONTENT);
    EXPECT_EQ(getNextStat(resultSet_, guarded.record()), STAPI_RC_WRONG_CONTENT);
    EXPECT_EQ(getFirstStat(nullptr, guarded.record()), STAPI_RC_NULL_RESULT_SET);
    EXPECT_TRUE(guarded.isUntouched());
}

TEST_F(CallersRecord, OfTheTraceLevelIsNotWrittenBehind) {
    GuardedRecord<int32_t> guarded;
    EXPECT_EQ(getAPITraceLevel(guarded.record()), 0);
    EXPECT_TRUE(guarded.guardsAreWhole());
    EXPECT_EQ(*guarded.record(), 0);
}

TEST_F(CallersRecord, OfAPointerIsNotWrittenBehind) {
    useResultSet(smallResultSet("ZULIDSET", {"ID1"}));
    GuardedRecord<char*> guarded;
    EXPECT_EQ(getStatsAPIVersion(guarded.record()), 0);
    EXPECT_TRUE(guarded.guardsAreWhole());
    EXPECT_EQ(getIdQuery(resultSet_, guarded.record()), 0);
    EXPECT_TRUE(guarded.guardsAreWhole());
    EXPECT_STREQ(*guarded.record(), "ID1");
}

TEST_F(CallersRecord, OfAResultSetPointerIsNotWrittenBehind) {
    useResultSet(smallResultSet("ZULIDSET", {"ID1"}));
    GuardedRecord<ResultSetToken*> guarded;
    ASSERT_EQ(copyResultSet(resultSet_, guarded.record()), 0);
    EXPECT_TRUE(guarded.guardsAreWhole());
    EXPECT_EQ(freeResultSet(guarded.record()), 0);
    EXPECT_TRUE(guarded.guardsAreWhole());
    EXPECT_EQ(*guarded.record(), nullptr);
}

}  // namespace
