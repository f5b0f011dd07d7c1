// A connected socket and the four calls of a bare exchange. What fails ends the program with a message: a benchmark has
// nothing to measure then.
#ifndef ZULSTATS_BENCH_BARE_SOCKET_H
#define ZULSTATS_BENCH_BARE_SOCKET_H

#include <cstddef>
#include <cstdint>

namespace bench {

class BareSocket {
  public:
    // To a port of 127.0.0.1, with the options that the library sets.
    explicit BareSocket(int32_t port);
    ~BareSocket();
    BareSocket(const BareSocket&) = delete;
    BareSocket& operator=(const BareSocket&) = delete;

    void sendAll(const uint8_t* bytes, size_t size);
    void waitReadable();
    void receiveExactly(uint8_t* bytes, size_t size);

  private:
    intptr_t socket_;
};

// Writes a line to standard error and ends the program.
[[noreturn]] void failBenchmark(const char* what, int32_t code);

}  // namespace bench

#endif
