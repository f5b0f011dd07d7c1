// What the library leaves alone.
#include <clocale>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iostream>
#include <string>

#include "system_fixture.h"

namespace system_test {

using test_support::GatewaySim;

class Hygiene : public SystemTest {};

namespace {

// A record between guards that must stay as they are.
template <typename Record>
class Guarded {
  public:
    Guarded() {
        std::memset(&area_, kGuard, sizeof area_);
        std::memset(&area_.record, 0, sizeof area_.record);
    }
    Record* record() {
        return &area_.record;
    }
    bool guardsStand() const {
        const auto stands = [](const unsigned char(&guard)[kSize]) {
            for (const unsigned char byte : guard) {
                if (byte != kGuard) {
                    return false;
                }
            }
            return true;
        };
        return stands(area_.before) && stands(area_.behind);
    }

  private:
    static constexpr size_t kSize = 64;
    static constexpr unsigned char kGuard = 0xA5;
    struct {
        unsigned char before[kSize];
        Record record;
        unsigned char behind[kSize];
    } area_;
};

void useEverything(const GatewaySim& sim) {
    const Connection connection(sim);
    ASSERT_EQ(connection.openCode(), STAPI_RC_OK);
    for (const QueryFunction& query : kQueries) {
        ResultSetToken* result = nullptr;
        ResultSetToken* copy = nullptr;
        char* text = nullptr;
        ASSERT_EQ(query.call(connection.token(), usualIds(query), &result), STAPI_RC_OK) << query.name;
        if (query.givesIds) {
            walkIds(result);
        } else {
            walkStats(result);
        }
        EXPECT_EQ(getIdQuery(result, &text), STAPI_RC_OK);
        EXPECT_EQ(copyResultSet(result, &copy), STAPI_RC_OK);
        EXPECT_EQ(dumpResultSet(copy), STAPI_RC_OK);
        EXPECT_EQ(freeResultSet(&copy), STAPI_RC_OK);
    }
    EXPECT_EQ(dumpState(), STAPI_RC_OK);
}

}  // namespace

TEST_F(Hygiene, RecordsOfTheCallerAreFilledAndNothingBesideThem) {
    const GatewaySim sim;
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    Guarded<IdData> id;
    Guarded<StatData> stat;
    ASSERT_EQ(getStatIds(connection.token(), &result), STAPI_RC_OK);
    int32_t code = getFirstId(result, id.record());
    while (code == STAPI_RC_OK) {
        ASSERT_TRUE(id.guardsStand());
        code = getNextId(result, id.record());
    }
    ASSERT_EQ(getStats(connection.token(), &result), STAPI_RC_OK);
    code = getFirstStat(result, stat.record());
    while (code == STAPI_RC_OK) {
        ASSERT_TRUE(stat.guardsStand());
        code = getNextStat(result, stat.record());
    }
    Guarded<int32_t> level;
    EXPECT_EQ(getAPITraceLevel(level.record()), STAPI_RC_OK);
    EXPECT_TRUE(level.guardsStand());
    Guarded<char*> text;
    EXPECT_EQ(getStatsAPIVersion(text.record()), STAPI_RC_OK);
    EXPECT_TRUE(text.guardsStand());
    EXPECT_EQ(getIdQuery(result, text.record()), STAPI_RC_OK);
    EXPECT_TRUE(text.guardsStand());
    Guarded<ResultSetToken*> copy;
    EXPECT_EQ(copyResultSet(result, copy.record()), STAPI_RC_OK);
    EXPECT_TRUE(copy.guardsStand());
    EXPECT_EQ(freeResultSet(copy.record()), STAPI_RC_OK);
    EXPECT_TRUE(copy.guardsStand());
}

TEST_F(Hygiene, LocaleStaysAsItWas) {
    const GatewaySim sim;
    const std::string before = std::setlocale(LC_ALL, nullptr);
    const TraceCapture trace(4);
    useEverything(sim);
    EXPECT_EQ(std::setlocale(LC_ALL, nullptr), before);
}

TEST_F(Hygiene, StandardOutputStaysEmpty) {
    const GatewaySim sim;
    const GatewaySim failing({"--fault", "invoke:reset"});
    const TraceCapture trace(4);
    std::cout.flush();
    std::fflush(stdout);
    ::testing::internal::CaptureStdout();
    useEverything(sim);
    {
        const Connection connection(failing);
        ResultSetToken* result = nullptr;
        getStats(connection.token(), &result);
    }
    std::fflush(stdout);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
}

TEST_F(Hygiene, WithoutATraceNothingIsWrittenToStandardErrorEither) {
    const GatewaySim sim;
    ::testing::internal::CaptureStderr();
    {
        const Connection connection(sim);
        ResultSetToken* result = nullptr;
        getStats(connection.token(), &result);
        getStats(nullptr, &result);
    }
    std::fflush(stderr);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST_F(Hygiene, TraceGoesToStandardErrorByDefault) {
    ::testing::internal::CaptureStderr();
    setAPITraceLevel(1);
    EXPECT_EQ(getStatsAPIVersion(nullptr), STAPI_RC_NULL_POINTER);
    setAPITraceLevel(0);
    std::fflush(stderr);
    EXPECT_NE(::testing::internal::GetCapturedStderr().find("[1089] *EXC*  API.getStatsAPIVersion()"),
              std::string::npos);
}

TEST_F(Hygiene, FilledRecordsPointIntoTheResultSetAndNotIntoTheRecord) {
    const GatewaySim sim;
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStats(connection.token(), &result), STAPI_RC_OK);
    StatData one{};
    StatData two{};
    ASSERT_EQ(getFirstStat(result, &one), STAPI_RC_OK);
    ASSERT_EQ(getFirstStat(result, &two), STAPI_RC_OK);
    EXPECT_EQ(one.statIdPtr, two.statIdPtr);
    EXPECT_EQ(one.statValuePtr, two.statValuePtr);
    EXPECT_EQ(one.queryElementPtr, two.queryElementPtr);
}

}  // namespace system_test
