// Every stored input through its target, on every system and under every sanitizer.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "bytes.h"
#include "comms/stapi_zul_statcomms.h"
#include "diag/heap_blocks.h"
#include "resultset/stapi_zul_resultsetbuffer.h"
#include "target_list.h"
#include "temporary_file.h"
#include "walking.h"
#include "world.h"

namespace fuzz_test {

static std::ostream& operator<<(std::ostream& stream, const FuzzTarget& target) {
    return stream << target.name;
}

namespace {

using test_support::Bytes;

// One input in hexadecimal digits on each line.
std::vector<Bytes> storedInputs(const std::string& name) {
    std::vector<Bytes> inputs;
    const std::string text = test_support::readFile(CORPUS_FOLDER "/" + name + ".txt");
    size_t start = 0;
    while (start < text.size()) {
        const size_t end = std::min(text.find('\n', start), text.size());
        std::string line = text.substr(start, end - start);
        line.erase(std::remove(line.begin(), line.end(), '\r'), line.end());
        inputs.push_back(test_support::hex(line));
        start = end + 1;
    }
    return inputs;
}

class FuzzReplay : public testing::TestWithParam<FuzzTarget> {};

TEST_P(FuzzReplay, EveryStoredInputRunsToItsEnd) {
    int line = 0;
    for (const Bytes& input : storedInputs(GetParam().name)) {
        ++line;
        EXPECT_NO_THROW(GetParam().fuzzOne(input.data(), input.size())) << "line " << line;
    }
    EXPECT_GT(line, 10);
}

TEST_P(FuzzReplay, TheStoredInputsComeThroughToTheEndOfTheTarget) {
    int deepest = 0;
    for (const Bytes& input : storedInputs(GetParam().name)) {
        deepest = std::max(deepest, GetParam().fuzzOne(input.data(), input.size()));
    }
    EXPECT_EQ(deepest, GetParam().deepest);
}

// A parser's code, and the buffer that it leaves.
struct Parsed {
    int32_t rc;
    int32_t capacity;
    Bytes buffer;
    size_t steps;
    bool operator==(const Parsed&) const = default;
};

using Parser = int32_t (*)(const uint8_t*, char**, int32_t*, size_t);
using Walk = size_t (*)(ResultSetToken*);

// The first byte of circumstances under which nothing fails.
constexpr uint8_t kSilent = 0x00;
constexpr uint8_t kTraced = 0x0F;

Parsed parsedUnder(uint8_t circumstances, Parser parser, Walk walk, const ExactBlock& payload, int32_t capacity) {
    const uint8_t control[kCircumstancesSize] = {circumstances};
    FuzzInput input(control, sizeof control);
    World world(&input);
    auto* buffer = static_cast<char*>(stapi::allocateMemory(stapi::resultSetAllocation(capacity)));
    const int32_t rc = parser(payload.data(), &buffer, &capacity, payload.size());
    world.calmDown();
    const stapi::MemoryHolder<char> holder(buffer);
    Parsed parsed = {rc, capacity, {}, 0};
    if (buffer != nullptr) {
        parsed.buffer = test_support::bytesAt(buffer, stapi::resultSetAllocation(capacity));
        ResultSetToken token = {};
        token.owner = stapi::OWNER_USER;
        token.resultSetBuf = buffer;
        token.resultSetBufLen = capacity;
        parsed.steps = walk(&token);
    }
    return parsed;
}

// Where nothing is traced, the parsers hand on whole entries. Every input is a payload, with and without the bytes in
// front that choose its circumstances.
TEST_P(FuzzReplay, EveryStoredInputIsParsedToTheSameWithAndWithoutTrace) {
    constexpr int32_t kCapacities[] = {16, 60};
    for (const Bytes& input : storedInputs(GetParam().name)) {
        for (const size_t start : {size_t{0}, std::min(GetParam().controlSize, input.size())}) {
            const ExactBlock payload(input.data() + start, input.size() - start);
            for (const int32_t capacity : kCapacities) {
                EXPECT_EQ(parsedUnder(kSilent, stapi::parseStatsData, walkStats, payload, capacity),
                          parsedUnder(kTraced, stapi::parseStatsData, walkStats, payload, capacity));
                EXPECT_EQ(parsedUnder(kSilent, stapi::parseIdsData, walkIds, payload, capacity),
                          parsedUnder(kTraced, stapi::parseIdsData, walkIds, payload, capacity));
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Targets, FuzzReplay, testing::ValuesIn(allTargets().begin(), allTargets().end()),
                         [](const auto& instance) { return std::string(instance.param.name); });

}  // namespace

}  // namespace fuzz_test
