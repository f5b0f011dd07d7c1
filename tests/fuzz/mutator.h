// Mutations that know what an input is made of: behind a plain mutation they repair eyecatchers, lengths and counts, so
// that what lies behind a length check is reached, too.
#ifndef ZULSTATS_TESTS_FUZZ_MUTATOR_H
#define ZULSTATS_TESTS_FUZZ_MUTATOR_H

#include <cstddef>
#include <cstdint>
#include <span>

namespace fuzz_test {

// What stands behind the control bytes of an input.
enum class InputShape { replies, idsPayload, statsPayload, resultSet, requests };

// A source of numbers that a seed determines.
class Dice {
  public:
    explicit Dice(uint32_t seed) : state_(uint64_t{seed} * 2654435761U + 0x9E3779B97F4A7C15U) {}
    // Below count, which is above 0.
    uint32_t below(uint32_t count);
    bool oneIn(uint32_t count) {
        return below(count) == 0;
    }

  private:
    uint64_t state_;
};

// Makes eyecatchers, lengths, counts and codes of shaped bytes fit each other; now and then it leaves one as it is.
void repair(InputShape shape, std::span<uint8_t> bytes, Dice* dice);

// Overwrites a field somewhere by a number at which lengths and counts go wrong.
void spoil(std::span<uint8_t> bytes, Dice* dice);

}  // namespace fuzz_test

#endif
