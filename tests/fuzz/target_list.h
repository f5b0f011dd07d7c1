// The fuzz targets: plain functions over bytes, which the fuzzers and the replay of the stored inputs share.
#ifndef ZULSTATS_TESTS_FUZZ_TARGET_LIST_H
#define ZULSTATS_TESTS_FUZZ_TARGET_LIST_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "mutator.h"

namespace fuzz_test {

struct FuzzTarget {
    const char* name;
    // Runs one input and returns how far it came; throws a std::logic_error when something is not as it must be.
    int (*fuzzOne)(const uint8_t* data, size_t size);
    // What an input that comes through to the end returns; the stored inputs have to hold one.
    int deepest;
    InputShape shape;
    // Bytes in front of the shaped ones, with which an input chooses its circumstances.
    size_t controlSize;
};

std::span<const FuzzTarget> allTargets();

// The target of a fuzzer; its build makes the definition.
extern const char* const kThisTarget;

// The targets, each described in the file of its name.
int fuzzFlow(const uint8_t* data, size_t size);
int fuzzAuthorisation(const uint8_t* data, size_t size);
int fuzzAdminReply(const uint8_t* data, size_t size);
int fuzzIdsParser(const uint8_t* data, size_t size);
int fuzzStatsParser(const uint8_t* data, size_t size);
int fuzzSession(const uint8_t* data, size_t size);
int fuzzWalkers(const uint8_t* data, size_t size);
int fuzzRequestReader(const uint8_t* data, size_t size);

}  // namespace fuzz_test

#endif
