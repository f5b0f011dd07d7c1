// A target as libFuzzer runs it. With the environment variable ZULSTATS_FUZZ_PLAIN inputs are
// mutated without any knowledge of what they are.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "mutator.h"
#include "target_list.h"
#include "world.h"

extern "C" {

// libFuzzer's and the sanitizer's own names.
size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t maxSize);                            // NOLINT
size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t maxSize, unsigned int seed);  // NOLINT
int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);                                   // NOLINT
const char* __asan_default_options();                                                           // NOLINT

}  // extern "C"

namespace {

// libFuzzer takes what stands in this section for coverage: an input that comes further than others is kept.
constexpr int kDepths = 16;
__attribute__((section("__libfuzzer_extra_counters"))) uint8_t depthsReached[kDepths];

using fuzz_test::Dice;
using fuzz_test::FuzzTarget;

const FuzzTarget& findTarget() {
    for (const FuzzTarget& target : fuzz_test::allTargets()) {
        if (std::string_view(target.name) == fuzz_test::kThisTarget) {
            return target;
        }
    }
    std::abort();
}

const FuzzTarget& thisTarget() {
    static const FuzzTarget& kTarget = findTarget();
    return kTarget;
}

bool isPlain() {
    static const bool kPlain = std::getenv("ZULSTATS_FUZZ_PLAIN") != nullptr;
    return kPlain;
}

// Traces and dumps take most of the time of a run that has them, and what fails early hides what comes later: most
// descendants of inputs that ask for these go without.
void makeSteady(const FuzzTarget& target, uint8_t* data, Dice* dice) {
    if (target.controlSize >= fuzz_test::kCircumstancesSize) {
        if (!dice->oneIn(24)) {
            data[0] &= static_cast<uint8_t>(~fuzz_test::kTimeConsuming);
        }
        if (!dice->oneIn(4)) {
            data[2] = 0;
        }
        if (!dice->oneIn(4)) {
            data[3] = 0;
        }
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const int depth = thisTarget().fuzzOne(data, size);
    depthsReached[depth % kDepths] = 1;
    return 0;
}

// Three in eight mutations leave the shape alone; the others are repaired, and some of these are spoilt at one place
// behind that.
size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t maxSize, unsigned int seed) {
    constexpr uint32_t kWays = 8;
    constexpr uint32_t kPlainWays = 3;
    Dice dice(seed);
    const uint32_t way = dice.below(kWays);
    const size_t mutated = LLVMFuzzerMutate(data, size, maxSize);
    const FuzzTarget& target = thisTarget();
    if (isPlain() || mutated <= target.controlSize) {
        return mutated;
    }
    makeSteady(target, data, &dice);
    if (way < kPlainWays) {
        return mutated;
    }
    const std::span<uint8_t> shaped(data + target.controlSize, mutated - target.controlSize);
    fuzz_test::repair(target.shape, shaped, &dice);
    if (way == kPlainWays) {
        fuzz_test::spoil(shaped, &dice);
    }
    return mutated;
}

// A small quarantine keeps freed blocks long enough for such short runs, and the fuzzer fast.
const char* __asan_default_options() {
    return "quarantine_size_mb=8:allocator_may_return_null=1:detect_stack_use_after_return=0";
}
