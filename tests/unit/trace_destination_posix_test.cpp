// Trace destinations that only POSIX systems have.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "api/zulstats64.h"
#include "diag/stapi_zul_diag.h"
#include "trace_fixture.h"
#include "trace_text.h"

namespace {

using TraceDestinationPosix = TraceTest;

// A name of this many bytes for a file: "." folders fill it up.
std::string nameOfLength(const std::string& path, size_t length) {
    const size_t slash = path.rfind('/');
    const std::string file = path.substr(slash + 1);
    std::string name = path.substr(0, slash + 1);
    while (name.size() + file.size() + 2 <= length) {
        name += "./";
    }
    if (name.size() + file.size() < length) {
        name += "/";
    }
    return name + file;
}

TEST_F(TraceDestinationPosix, NameOf1023BytesIsTheLongestThatIsTaken) {
    const std::string name = nameOfLength(file_.path(), 1023);
    ASSERT_EQ(name.size(), 1023U);
    EXPECT_EQ(setAPITraceFile(name.c_str()), 0);
    EXPECT_EQ(std::string(stapi::statAPITraceFile), name);
    setLevelSilently(1);
    TRACE_EXC(1, "line\n");
    setLevelSilently(0);
    EXPECT_EQ(test_support::messagesOfPoint(traced(), 1).size(), 1U);
}

TEST_F(TraceDestinationPosix, NameOf1024BytesIsAFailedSwitchAlsoWhenTheSystemWouldOpenIt) {
    const std::string name = nameOfLength(file_.path(), 1024);
    ASSERT_EQ(name.size(), 1024U);
    EXPECT_EQ(setAPITraceFile(name.c_str()), -130);
    EXPECT_STREQ(stapi::statAPITraceFile, "stderr");
    EXPECT_FALSE(std::filesystem::exists(file_.path()));
}

TEST_F(TraceDestinationPosix, LongNameIsToldWholeByTheStateDump) {
    const std::string name = nameOfLength(file_.path(), 1023);
    EXPECT_EQ(setAPITraceFile(name.c_str()), 0);
    EXPECT_EQ(dumpState(), 0);
    EXPECT_NE(traced().find("statAPITraceFile=" + name + "\n"), std::string::npos);
}

TEST_F(TraceDestinationPosix, FileIsNotInheritedByChildPrograms) {
    EXPECT_EQ(setAPITraceFile(file_.path().c_str()), 0);
    const int flags = fcntl(fileno(stapi::traceStream), F_GETFD);
    ASSERT_GE(flags, 0);
    EXPECT_NE(flags & FD_CLOEXEC, 0);
}

TEST_F(TraceDestinationPosix, SwitchesLeaveNoDescriptorOpen) {
    const auto openDescriptors = [] {
        size_t count = 0;
        for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            ++count;
        }
        return count;
    };
    const size_t before = openDescriptors();
    for (int round = 0; round < 20; ++round) {
        EXPECT_EQ(setAPITraceFile(file_.path().c_str()), 0);
        EXPECT_EQ(setAPITraceFile(file_.path().c_str()), 0);
        EXPECT_EQ(setAPITraceFile("/no/such/folder/of/traces/trace.txt"), -130);
    }
    EXPECT_EQ(openDescriptors(), before + 1);
    EXPECT_EQ(setAPITraceFile(nullptr), 0);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(TraceDestinationPosix, FullDeviceFailsAFormattedWriteToIt) {
    if (::access("/dev/full", W_OK) != 0) {
        GTEST_SKIP() << "this system has no /dev/full";
    }
    std::FILE* const full = std::fopen("/dev/full", "w");
    ASSERT_NE(full, nullptr);
    std::setvbuf(full, nullptr, _IONBF, 0);
    EXPECT_EQ(stapi::tracePrintf(full, "%d\n", 1), -1);
    std::fclose(full);
}

TEST_F(TraceDestinationPosix, FullDeviceIsIgnored) {
    if (::access("/dev/full", W_OK) != 0) {
        GTEST_SKIP() << "this system has no /dev/full";
    }
    EXPECT_EQ(setAPITraceFile("/dev/full"), 0);
    setLevelSilently(5);
    char* version = nullptr;
    EXPECT_EQ(getStatsAPIVersion(&version), 0);
    EXPECT_EQ(dumpState(), 0);
    EXPECT_EQ(setAPITraceLevel(0), 0);
    EXPECT_EQ(setAPITraceFile(file_.path().c_str()), 0);
    setLevelSilently(1);
    TRACE_EXC(1, "line\n");
    EXPECT_EQ(test_support::messagesOfPoint(traced(), 1).size(), 1U);
}

}  // namespace
