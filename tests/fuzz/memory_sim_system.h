// gatewaysim's seam to the system over bytes in memory: one client, who sends and never reads.
#ifndef ZULSTATS_TESTS_FUZZ_MEMORY_SIM_SYSTEM_H
#define ZULSTATS_TESTS_FUZZ_MEMORY_SIM_SYSTEM_H

#include <cstddef>
#include <cstdint>
#include <span>

namespace fuzz_test {

// What the client sends from now on: pieceSize bytes at a time, or with 0 up to the next request's eyecatcher. A piece
// is there when somebody waits for it.
void serveClientStream(std::span<const uint8_t> stream, size_t pieceSize);

}  // namespace fuzz_test

#endif
