// Every stored input through its target, on every system and under every sanitizer.
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

#include "bytes.h"
#include "target_list.h"
#include "temporary_file.h"

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

INSTANTIATE_TEST_SUITE_P(Targets, FuzzReplay, testing::ValuesIn(allTargets().begin(), allTargets().end()),
                         [](const auto& instance) { return std::string(instance.param.name); });

}  // namespace

}  // namespace fuzz_test
