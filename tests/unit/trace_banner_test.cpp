// When the banner is written, and where.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "api/zulstats64.h"
#include "diag/stapi_zul_diag.h"
#include "fixed_clock.h"
#include "trace_fixture.h"
#include "trace_text.h"

namespace {

using test_support::TemporaryFile;

constexpr const char* kUnusableFile = "/no/such/folder/of/traces/trace.txt";

int64_t bannersIn(const std::string& text) {
    const std::vector<std::string> lines = test_support::splitLines(text);
    return std::count_if(lines.begin(), lines.end(),
                         [](const std::string& line) { return line.rfind("*** ", 0) == 0; });
}

using TraceBanner = TraceTest;

TEST_F(TraceBanner, NamesDateProductApiAndBuildLevel) {
    const FixedClock clock({5, 6, 2007, 8, 9, 10, 11});
    traceToFile(0);
    EXPECT_EQ(setAPITraceLevel(1), 0);
    EXPECT_EQ(
        traced(),
        "*** 05/06/07 OXA Quillon ZULSTATS DLL trace V10.1.0.0 API V1_1_0_1 Build Level d1010-20250408-1235 ***\n");
}

class BannerOnRaise : public TraceTest, public testing::WithParamInterface<int> {};

TEST_P(BannerOnRaise, FromZeroIsWrittenAndComesFirst) {
    traceToFile(0);
    EXPECT_EQ(setAPITraceLevel(GetParam()), 0);
    EXPECT_EQ(bannersIn(traced()), 1);
    EXPECT_EQ(traced().rfind("*** ", 0), 0U);
    EXPECT_EQ(stapi::traceBannerWritten, 0);
}

INSTANTIATE_TEST_SUITE_P(Levels, BannerOnRaise, testing::Range(1, 6));

TEST_F(TraceBanner, IsWrittenAtEveryRaiseFromZeroUntilADestinationIsSetAtALevelOfOneOrMore) {
    traceToFile(0);
    for (int64_t raise = 1; raise <= 3; ++raise) {
        setAPITraceLevel(1);
        EXPECT_EQ(bannersIn(traced()), raise);
        setAPITraceLevel(0);
    }
    setAPITraceLevel(1);
    setAPITraceFile(file_.path().c_str());
    EXPECT_EQ(bannersIn(traced()), 5);
    setAPITraceLevel(0);
    setAPITraceLevel(1);
    EXPECT_EQ(bannersIn(traced()), 5);
}

TEST_F(TraceBanner, IsNotWrittenByARaiseBetweenLevelsAboveZero) {
    traceToFile(1);
    setAPITraceLevel(2);
    setAPITraceLevel(1);
    EXPECT_EQ(traced(), "");
}

TEST_F(TraceBanner, IsNotWrittenByAFallToZeroOrAStayAtZero) {
    traceToFile(0);
    setAPITraceLevel(0);
    EXPECT_EQ(traced(), "");
    setLevelSilently(1);
    setAPITraceLevel(0);
    EXPECT_EQ(traced(), "");
}

TEST_F(TraceBanner, IsNotWrittenByARefusedLevel) {
    traceToFile(0);
    setAPITraceLevel(6);
    EXPECT_EQ(traced(), "");
}

TEST_F(TraceBanner, OfANewFileIsWrittenAtALevelOfOneOrMoreAndSetsTheFlag) {
    setLevelSilently(1);
    EXPECT_EQ(setAPITraceFile(file_.path().c_str()), 0);
    EXPECT_EQ(bannersIn(traced()), 1);
    EXPECT_EQ(stapi::traceBannerWritten, 1);
}

TEST_F(TraceBanner, OfANewFileIsNotWrittenAtLevelZeroButAtTheNextRaise) {
    EXPECT_EQ(setAPITraceFile(file_.path().c_str()), 0);
    EXPECT_EQ(traced(), "");
    EXPECT_EQ(stapi::traceBannerWritten, 0);
    setAPITraceLevel(1);
    EXPECT_EQ(bannersIn(traced()), 1);
    EXPECT_EQ(stapi::traceBannerWritten, 0);
}

TEST_F(TraceBanner, IsWrittenAgainWhenTheSameFileIsNamedAgain) {
    traceToFile(1);
    setAPITraceFile(file_.path().c_str());
    setAPITraceFile(file_.path().c_str());
    EXPECT_EQ(bannersIn(traced()), 2);
}

TEST_F(TraceBanner, IsWrittenForStandardErrorThatIsAlreadyTheDestinationOnce) {
    const std::string text = standardErrorOf([] {
        setLevelSilently(1);
        setAPITraceFile(nullptr);
        setAPITraceFile(nullptr);
        setLevelSilently(0);
    });
    EXPECT_EQ(bannersIn(text), 1);
    EXPECT_EQ(stapi::traceBannerWritten, 1);
}

TEST_F(TraceBanner, IsNotWrittenForStandardErrorAtLevelZero) {
    EXPECT_EQ(standardErrorOf([] { setAPITraceFile(nullptr); }), "");
    EXPECT_EQ(stapi::traceBannerWritten, 0);
}

TEST_F(TraceBanner, IsWrittenToTheOldDestinationAlsoWhenTheSwitchFails) {
    traceToFile(1);
    EXPECT_EQ(setAPITraceFile(kUnusableFile), -130);
    EXPECT_EQ(bannersIn(traced()), 1);
    EXPECT_EQ(stapi::traceBannerWritten, 1);
    EXPECT_EQ(setAPITraceFile(kUnusableFile), -130);
    EXPECT_EQ(bannersIn(traced()), 1);
}

TEST_F(TraceBanner, ComesBeforeTheLineThatTellsOfTheSwitch) {
    const TemporaryFile second;
    traceToFile(4);
    setAPITraceFile(second.path().c_str());
    resetTrace();
    const std::vector<std::string> lines = test_support::splitLines(second.content());
    ASSERT_EQ(lines.size(), 3U) << second.content();
    EXPECT_EQ(lines[0].rfind("*** ", 0), 0U);
    EXPECT_NE(lines[1].find("[1098]"), std::string::npos);
    EXPECT_NE(lines[2].find("[1101]"), std::string::npos);
}

// ---- Every order of calls
// --------------------------------------------------------------------------------------------

enum class Step { levelZero, levelOne, levelTwo, firstFile, secondFile, standardError, unusableFile };
constexpr int kSteps = 7;
constexpr int kSequenceLength = 4;

// What the rules say, in the words of the rules.
struct BannerModel {
    bool flag = false;
    int level = 0;
    size_t destination = 2;  // first file, second file, standard error
    std::array<int64_t, 3> banners = {};

    void setLevel(int newLevel) {
        if (!flag && level == 0 && newLevel >= 1) {
            ++banners.at(destination);
        }
        level = newLevel;
    }

    void setDestination(size_t newDestination, bool switched) {
        if (switched) {
            destination = newDestination;
            flag = false;
        }
        if (level >= 1 && !flag) {
            ++banners.at(destination);
            flag = true;
        }
    }

    void play(Step step) {
        switch (step) {
            case Step::levelZero:
                setLevel(0);
                break;
            case Step::levelOne:
                setLevel(1);
                break;
            case Step::levelTwo:
                setLevel(2);
                break;
            case Step::firstFile:
                setDestination(0, true);
                break;
            case Step::secondFile:
                setDestination(1, true);
                break;
            case Step::standardError:
                setDestination(2, destination != 2);
                break;
            case Step::unusableFile:
                setDestination(destination, false);
                break;
        }
    }
};

void playOnTheLibrary(Step step, const TemporaryFile& first, const TemporaryFile& second) {
    switch (step) {
        case Step::levelZero:
            EXPECT_EQ(setAPITraceLevel(0), 0);
            break;
        case Step::levelOne:
            EXPECT_EQ(setAPITraceLevel(1), 0);
            break;
        case Step::levelTwo:
            EXPECT_EQ(setAPITraceLevel(2), 0);
            break;
        case Step::firstFile:
            EXPECT_EQ(setAPITraceFile(first.path().c_str()), 0);
            break;
        case Step::secondFile:
            EXPECT_EQ(setAPITraceFile(second.path().c_str()), 0);
            break;
        case Step::standardError:
            EXPECT_EQ(setAPITraceFile(nullptr), 0);
            break;
        case Step::unusableFile:
            EXPECT_EQ(setAPITraceFile(kUnusableFile), -130);
            break;
    }
}

std::vector<Step> sequenceOf(int number, int firstStep) {
    std::vector<Step> steps = {static_cast<Step>(firstStep)};
    for (int position = 1; position < kSequenceLength; ++position) {
        steps.push_back(static_cast<Step>(number % kSteps));
        number /= kSteps;
    }
    return steps;
}

std::string describe(const std::vector<Step>& steps) {
    const std::array<const char*, kSteps> names = {"level 0",     "level 1",        "level 2",      "first file",
                                                   "second file", "standard error", "unusable file"};
    std::string text;
    for (const Step step : steps) {
        text += std::string(text.empty() ? "" : ", ") + names.at(static_cast<size_t>(step));
    }
    return text;
}

class BannerInEveryOrder : public TraceTest, public testing::WithParamInterface<int> {};

TEST_P(BannerInEveryOrder, FollowsItsRules) {
    for (int number = 0; number < kSteps * kSteps * kSteps; ++number) {
        const std::vector<Step> steps = sequenceOf(number, GetParam());
        const TemporaryFile first;
        const TemporaryFile second;
        BannerModel model;
        const std::string onStandardError = standardErrorOf([&steps, &first, &second, &model] {
            for (const Step step : steps) {
                playOnTheLibrary(step, first, second);
                model.play(step);
                EXPECT_EQ(stapi::traceBannerWritten, model.flag ? 1 : 0) << describe(steps);
            }
        });
        resetTrace();
        EXPECT_EQ(bannersIn(first.content()), model.banners[0]) << describe(steps);
        EXPECT_EQ(bannersIn(second.content()), model.banners[1]) << describe(steps);
        EXPECT_EQ(bannersIn(onStandardError), model.banners[2]) << describe(steps);
    }
}

INSTANTIATE_TEST_SUITE_P(FirstSteps, BannerInEveryOrder, testing::Range(0, kSteps),
                         [](const testing::TestParamInfo<int>& tested) {
                             std::string name = describe({static_cast<Step>(tested.param)});
                             name.erase(std::remove(name.begin(), name.end(), ' '), name.end());
                             return name;
                         });

}  // namespace
