// The circumstances under which a target runs: what the daemon sends, which call into the system and which allocation
// fails, and how much is traced. The platform layer of a program that holds world.cpp is that file: it knows no system.
#ifndef ZULSTATS_TESTS_FUZZ_WORLD_H
#define ZULSTATS_TESTS_FUZZ_WORLD_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <vector>

namespace fuzz_test {

// The bytes of an input at the front, one after the other, and the rest in a heap block of exactly its size.
class FuzzInput {
  public:
    FuzzInput(const uint8_t* data, size_t size) : data_(data), size_(size) {}

    // 0 when nothing is left.
    uint8_t next() {
        uint8_t value = 0;
        if (size_ > 0) {
            value = *data_;
            ++data_;
            --size_;
        }
        return value;
    }
    const uint8_t* rest() const {
        return data_;
    }
    size_t restSize() const {
        return size_;
    }

  private:
    const uint8_t* data_;
    size_t size_;
};

// A heap block of exactly as many bytes as it holds, so that a sanitizer sees the first step beyond.
class ExactBlock {
  public:
    ExactBlock(const uint8_t* data, size_t size);
    const uint8_t* data() const {
        return block_.get();
    }
    size_t size() const {
        return size_;
    }

  private:
    std::unique_ptr<uint8_t[]> block_;
    size_t size_;
};

constexpr int32_t kSocket = 7;
constexpr size_t kCircumstancesSize = 4;
// The bits of the first that take much time: tracing and dumps.
constexpr uint8_t kTimeConsuming = 0x2F;
// An allocation above this size fails, as a hostile length of some gigabytes may.
constexpr size_t kLargestAllocation = size_t{1} << 20;

// Takes its circumstances from an input, kCircumstancesSize bytes of it:
// - the low half of the first: 15 traces everything, 14 failures, else nothing; its bit 0x10 has the daemon's stream
// end
//   with an error instead of a clean close;
// - the second: how many bytes arrive at a time, 0 for all;
// - the third: which call into the system fails, counted from 1, or 0;
// - the fourth: which allocation fails, counted from 1, or 0; with its high bit all later ones, too.
// One at a time.
class World {
  public:
    explicit World(FuzzInput* input);
    ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    // What the daemon sends from now on; the block outlives its use.
    void serve(const ExactBlock& stream);
    // From now on nothing fails any more, and nothing is traced.
    void calmDown();
    // Whether the run is to dump what there is.
    bool wantsDumps() const {
        return wantsDumps_;
    }
    // What the library has sent last.
    const std::vector<uint8_t>& lastRequest() const;

  private:
    const uint8_t circumstances_;
    const bool wantsDumps_;
};

// Throws a std::logic_error that says what is wrong.
inline void require(bool isAsItMustBe, const char* what) {
    if (!isAsItMustBe) {
        throw std::logic_error(what);
    }
}

// Reads every byte, so that a sanitizer looks at them; their sum.
uint32_t touch(const void* data, size_t size);
bool isZero(const void* data, size_t size);

}  // namespace fuzz_test

#endif
