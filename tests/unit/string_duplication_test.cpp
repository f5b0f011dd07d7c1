#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "allocation_faults.h"
#include "diag/heap_blocks.h"
#include "impl/stapi_zul_impl.h"
#include "trace_fixture.h"
#include "trace_text.h"

namespace {

using test_support::AllocationFault;
using test_support::TraceLine;

constexpr size_t kLongestAccepted = 32765;

// The two copy functions and what differs between their trace points.
struct Duplicator {
    std::string name;
    int32_t (*duplicate)(const char*, char**);
    int entryPoint;
    std::string sourceLabel;
    int allocatedPoint;
    std::string allocator;
    std::string resultPrefix;
    int copyPoint;
    int noMemoryPoint;
    int badInputPoint;
    int exitPoint;
};

const Duplicator kAscii = {
    "dup2ASCIIString", stapi::dup2ASCIIString, 1108, "dataPtr", 1109, "malloc", "", 1112, 1113, 1114, 1115};
const Duplicator kNative = {
    "dup2NativeString", stapi::dup2NativeString, 1116, "source dataPtr", 1117, "strdup", "0x", 1120, 1121, 1122, 1123};

class StringDuplication : public TraceTest, public testing::WithParamInterface<Duplicator> {
  protected:
    void TearDown() override {
        stapi::releaseMemory(output_);
        TraceTest::TearDown();
    }

    int32_t duplicate(const char* data) {
        return GetParam().duplicate(data, &output_);
    }

    static std::string message(const std::string& rest) {
        return "stapi_zul_impl." + GetParam().name + rest;
    }

    std::string entryMessage(const char* data, char** output) const {
        return message("(" + GetParam().sourceLabel + "=" + tracedPointer(data) +
                       ", &outputPtr=" + tracedPointer(output) + ") ");
    }

    static std::string exitMessage(size_t size, int rc) {
        return message("() readByteCount=" + std::to_string(size) + " rc=" + std::to_string(rc));
    }

    std::string allocatedMessage(size_t size) const {
        return message("() called " + GetParam().allocator + " for " + std::to_string(size) +
                       " bytes. rc=" + GetParam().resultPrefix + tracedPointer(output_));
    }

    std::string copyMessage(size_t size) const {
        return GetParam().name == kAscii.name ? message("() using memcpy() on writePtr(" + tracedPointer(output_) +
                                                        ") bytes(" + std::to_string(size) + ")")
                                              : message("() about to memcpy for " + std::to_string(size) + " bytes. ");
    }

    struct ExpectedLine {
        int pointId;
        std::string word;
        std::string message;
    };

    void expectTrace(const std::vector<ExpectedLine>& expected) {
        setLevelSilently(0);
        const std::string text = traced();
        const std::vector<TraceLine> lines = test_support::traceLines(text);
        ASSERT_EQ(lines.size(), expected.size()) << text;
        for (size_t index = 0; index < lines.size(); ++index) {
            EXPECT_EQ(lines[index].pointId, expected[index].pointId);
            EXPECT_EQ(lines[index].word, expected[index].word);
            EXPECT_EQ(lines[index].message, expected[index].message);
        }
    }

    char* output_ = nullptr;
};

TEST_P(StringDuplication, CopiesTheTextWithItsTerminatorIntoABlockOfItsOwn) {
    const std::string source = "SYS1:SYS2";
    ASSERT_EQ(duplicate(source.c_str()), 0);
    EXPECT_NE(output_, source.c_str());
    EXPECT_STREQ(output_, source.c_str());
}

TEST_P(StringDuplication, CopiesTheEmptyTextAsOneTerminator) {
    ASSERT_EQ(duplicate(""), 0);
    ASSERT_NE(output_, nullptr);
    EXPECT_EQ(output_[0], '\0');
}

TEST_P(StringDuplication, CopiesEveryByteValueUnchanged) {
    std::string source;
    for (int byte = 1; byte <= 255; ++byte) {
        source.push_back(static_cast<char>(byte));
    }
    ASSERT_EQ(duplicate(source.c_str()), 0);
    EXPECT_EQ(std::memcmp(output_, source.c_str(), source.size() + 1), 0);
}

TEST_P(StringDuplication, CopiesTheLongestAcceptedText) {
    const std::string source(kLongestAccepted, 'x');
    ASSERT_EQ(duplicate(source.c_str()), 0);
    EXPECT_EQ(std::strlen(output_), kLongestAccepted);
    EXPECT_EQ(source, output_);
}

TEST_P(StringDuplication, RefusesATextOneLongerAndLeavesTheOutputUntouched) {
    const std::string source(kLongestAccepted + 1, 'x');
    ASSERT_EQ(duplicate("before"), 0);
    char* const before = output_;
    EXPECT_EQ(duplicate(source.c_str()), -2);
    EXPECT_EQ(output_, before);
    EXPECT_STREQ(output_, "before");
}

TEST_P(StringDuplication, RefusesANullTextAndLeavesTheOutputUntouched) {
    ASSERT_EQ(duplicate("before"), 0);
    char* const before = output_;
    EXPECT_EQ(duplicate(nullptr), -2);
    EXPECT_EQ(output_, before);
    EXPECT_STREQ(output_, "before");
}

TEST_P(StringDuplication, RefusesANullOutput) {
    EXPECT_EQ(GetParam().duplicate("text", nullptr), -2);
    EXPECT_EQ(GetParam().duplicate(nullptr, nullptr), -2);
}

TEST_P(StringDuplication, WithoutMemoryGivesMinusOneAndANullOutput) {
    const AllocationFault fault(1);
    EXPECT_EQ(duplicate("text"), -1);
    EXPECT_TRUE(fault.hasStruck());
    EXPECT_EQ(output_, nullptr);
}

TEST_P(StringDuplication, AllocatesOnceForACopyAndNeverForARefusal) {
    test_support::takeAllocationCount();
    GetParam().duplicate(nullptr, &output_);
    EXPECT_EQ(test_support::takeAllocationCount(), 0);
    duplicate("text");
    EXPECT_EQ(test_support::takeAllocationCount(), 1);
}

TEST_P(StringDuplication, TracesEachStepOfACopy) {
    const char* const source = "text";
    traceToFile(4);
    ASSERT_EQ(duplicate(source), 0);
    expectTrace({{GetParam().entryPoint, "ENTRY", entryMessage(source, &output_)},
                 {GetParam().allocatedPoint, "DEBUG", allocatedMessage(5)},
                 {GetParam().copyPoint, "DEBUG", copyMessage(5)},
                 {GetParam().exitPoint, "EXIT", exitMessage(5, 0)}});
}

TEST_P(StringDuplication, TracesAFailedAllocation) {
    const char* const source = "text";
    traceToFile(4);
    {
        const AllocationFault fault(1);
        ASSERT_EQ(duplicate(source), -1);
    }
    expectTrace({{GetParam().entryPoint, "ENTRY", entryMessage(source, &output_)},
                 {GetParam().allocatedPoint, "DEBUG", allocatedMessage(5)},
                 {GetParam().noMemoryPoint, "*EXC*", message("() malloc failed for 5 bytes")},
                 {GetParam().exitPoint, "EXIT", exitMessage(5, -1)}});
}

TEST_P(StringDuplication, TracesANullTextWithACountOfZero) {
    traceToFile(4);
    ASSERT_EQ(duplicate(nullptr), -2);
    expectTrace({{GetParam().entryPoint, "ENTRY", entryMessage(nullptr, &output_)},
                 {GetParam().badInputPoint, "*EXC*", message("() supplied input data pointer was NULL or overlength")},
                 {GetParam().exitPoint, "EXIT", exitMessage(0, -2)}});
}

TEST_P(StringDuplication, TracesANullOutput) {
    const char* const source = "text";
    traceToFile(4);
    ASSERT_EQ(GetParam().duplicate(source, nullptr), -2);
    expectTrace({{GetParam().entryPoint, "ENTRY", entryMessage(source, nullptr)},
                 {GetParam().badInputPoint, "*EXC*", message("() supplied input data pointer was NULL or overlength")},
                 {GetParam().exitPoint, "EXIT", exitMessage(5, -2)}});
}

TEST_P(StringDuplication, TracesAnOverlongTextWithItsSize) {
    const std::string source(40000, 'x');
    traceToFile(4);
    ASSERT_EQ(duplicate(source.c_str()), -2);
    expectTrace({{GetParam().entryPoint, "ENTRY", entryMessage(source.c_str(), &output_)},
                 {GetParam().badInputPoint, "*EXC*", message("() supplied input data pointer was NULL or overlength")},
                 {GetParam().exitPoint, "EXIT", exitMessage(40001, -2)}});
}

INSTANTIATE_TEST_SUITE_P(Functions, StringDuplication, testing::Values(kAscii, kNative),
                         [](const testing::TestParamInfo<Duplicator>& tested) { return tested.param.name; });

TEST(StringDuplicationOfAnEarlierCopy, IsReleasedByTheAsciiFunction) {
    // Would it not be, the leak checker would report the first copy; would it be kept, the texts would be the same.
    char* output = nullptr;
    ASSERT_EQ(stapi::dup2ASCIIString("first", &output), 0);
    ASSERT_EQ(stapi::dup2ASCIIString("second", &output), 0);
    EXPECT_STREQ(output, "second");
    stapi::releaseMemory(output);
}

TEST(StringDuplicationOfAnEarlierCopy, IsReleasedByTheAsciiFunctionAlsoWhenThereIsNoMemoryForTheNext) {
    char* output = nullptr;
    ASSERT_EQ(stapi::dup2ASCIIString("first", &output), 0);
    const AllocationFault fault(1);
    EXPECT_EQ(stapi::dup2ASCIIString("second", &output), -1);
    EXPECT_EQ(output, nullptr);
}

TEST(StringDuplicationOfAnEarlierCopy, IsLeftAliveByTheNativeFunction) {
    char* output = nullptr;
    ASSERT_EQ(stapi::dup2NativeString("first", &output), 0);
    char* const earlier = output;
    ASSERT_EQ(stapi::dup2NativeString("second", &output), 0);
    EXPECT_NE(output, earlier);
    EXPECT_STREQ(earlier, "first");  // a use of released memory, if it were not so
    EXPECT_STREQ(output, "second");
    stapi::releaseMemory(earlier);
    stapi::releaseMemory(output);
}

TEST(StringDuplicationOfAnEarlierCopy, IsLeftAliveByTheNativeFunctionAlsoWhenThereIsNoMemoryForTheNext) {
    char* output = nullptr;
    ASSERT_EQ(stapi::dup2NativeString("first", &output), 0);
    char* const earlier = output;
    const AllocationFault fault(1);
    EXPECT_EQ(stapi::dup2NativeString("second", &output), -1);
    EXPECT_EQ(output, nullptr);
    EXPECT_STREQ(earlier, "first");
    stapi::releaseMemory(earlier);
}

}  // namespace
