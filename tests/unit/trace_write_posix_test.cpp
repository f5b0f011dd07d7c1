// How a line reaches the system: a socket that keeps records apart stands in for the destination, so that every write
// is one record.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "api/zulstats64.h"
#include "diag/stapi_zul_diag.h"
#include "trace_fixture.h"
#include "trace_text.h"

namespace {

constexpr size_t kLongestRecord = 1 << 17;

// While it lives, a stream's descriptor leads to a socket that keeps each write as one record.
class RecordedStream {
  public:
    explicit RecordedStream(std::FILE* stream) : descriptor_(fileno(stream)), saved_(fcntl(descriptor_, F_DUPFD, 100)) {
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends_.data()), 0);
        EXPECT_GE(dup2(ends_[1], descriptor_), 0);
    }
    ~RecordedStream() {
        restore();
        close(ends_[0]);
        close(ends_[1]);
    }
    RecordedStream(const RecordedStream&) = delete;
    RecordedStream& operator=(const RecordedStream&) = delete;

    // All that was written, write by write.
    std::vector<std::string> writes() {
        restore();
        std::vector<std::string> records;
        std::vector<char> record(kLongestRecord);
        ssize_t size = recv(ends_[0], record.data(), record.size(), MSG_DONTWAIT);
        while (size > 0) {
            records.emplace_back(record.data(), static_cast<size_t>(size));
            size = recv(ends_[0], record.data(), record.size(), MSG_DONTWAIT);
        }
        return records;
    }

  private:
    void restore() {
        if (saved_ >= 0) {
            dup2(saved_, descriptor_);
            close(saved_);
            saved_ = -1;
        }
    }

    int descriptor_;
    int saved_;
    std::array<int, 2> ends_ = {-1, -1};
};

class TraceWrites : public TraceTest, public testing::WithParamInterface<bool> {
  protected:
    void SetUp() override {
        TraceTest::SetUp();
        if (GetParam()) {
            traceToFile(0);
        }
    }
};

TEST_P(TraceWrites, LineIsOneWrite) {
    const std::string longText(2000, 'x');
    RecordedStream stream(stapi::traceStream);
    setLevelSilently(4);
    TRACE_EXC(1, "without arguments\n");
    TRACE_DEBUG(2, "with %s and %d and %p\n", "text", 42, static_cast<const void*>(nullptr));
    TRACE_ENTRY(3, "long %s\n", longText.c_str());
    TRACE_EXC_UNLOCKED(4, "without the lock %d\n", 1);
    setLevelSilently(0);
    const std::vector<std::string> writes = stream.writes();
    ASSERT_EQ(writes.size(), 4U);
    for (size_t index = 0; index < writes.size(); ++index) {
        const std::vector<test_support::TraceLine> lines = test_support::traceLines(writes[index]);
        ASSERT_EQ(lines.size(), 1U) << writes[index];
        EXPECT_EQ(lines[0].pointId, static_cast<int>(index) + 1);
        EXPECT_EQ(writes[index].find('\n'), writes[index].size() - 1);
    }
}

TEST_P(TraceWrites, LineOfAHexDumpIsOneWrite) {
    const std::string bytes(40, 'x');
    RecordedStream stream(stapi::traceStream);
    setLevelSilently(4);
    const stapi::HexDumpArea area = {bytes.data(), 40, 0, bytes.size()};
    TRACE_DATA(1, area, "bytes\n");
    setLevelSilently(0);
    const std::vector<std::string> writes = stream.writes();
    ASSERT_EQ(writes.size(), 4U);
    for (const std::string& write : writes) {
        EXPECT_EQ(write.find('\n'), write.size() - 1) << write;
    }
}

// The prefix of a line is as long for every text.
TEST_P(TraceWrites, LineOf65536BytesIsOneWriteAndALongerOneIsSeveral) {
    constexpr size_t kLongestOfOneWrite = 65536;
    size_t prefix = 0;
    {
        RecordedStream stream(stapi::traceStream);
        setLevelSilently(4);
        TRACE_EXC(1, "%s\n", "");
        setLevelSilently(0);
        prefix = stream.writes().at(0).size();
    }
    for (const size_t size : {kLongestOfOneWrite, kLongestOfOneWrite + 1}) {
        const std::string text(size - prefix, 'x');
        RecordedStream stream(stapi::traceStream);
        setLevelSilently(4);
        TRACE_EXC(1, "%s\n", text.c_str());
        setLevelSilently(0);
        const std::vector<std::string> writes = stream.writes();
        EXPECT_EQ(writes.size(), size > kLongestOfOneWrite ? 2U : 1U);
        std::string line;
        for (const std::string& write : writes) {
            line += write;
        }
        EXPECT_EQ(line.size(), size);
        EXPECT_EQ(line.substr(prefix - 1), text + "\n");
    }
}

TEST_P(TraceWrites, BannerIsOneWrite) {
    RecordedStream stream(stapi::traceStream);
    EXPECT_EQ(setAPITraceLevel(1), 0);
    setLevelSilently(0);
    const std::vector<std::string> writes = stream.writes();
    ASSERT_EQ(writes.size(), 1U);
    EXPECT_EQ(writes[0].rfind("*** ", 0), 0U);
    EXPECT_EQ(writes[0].substr(writes[0].size() - 5), " ***\n");
}

TEST_P(TraceWrites, NothingIsWrittenAtLevelZero) {
    RecordedStream stream(stapi::traceStream);
    TRACE_EXC(1, "nothing\n");
    char* version = nullptr;
    getStatsAPIVersion(&version);
    getStatsAPIVersion(nullptr);
    EXPECT_TRUE(stream.writes().empty());
}

INSTANTIATE_TEST_SUITE_P(Destinations, TraceWrites, testing::Bool(), [](const testing::TestParamInfo<bool>& tested) {
    return tested.param ? "NamedFile" : "StandardError";
});

}  // namespace
