// A connection for a look at what listens somewhere. One file per system implements it.
#ifndef ZULSTATS_TOOLS_ZULSTAT_PROBE_SOCKET_H
#define ZULSTATS_TOOLS_ZULSTAT_PROBE_SOCKET_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace zulstat {

// As the system lays it out.
struct ProbeAddress {
    std::vector<unsigned char> bytes;
    int family = 0;
    std::string text;  // "127.0.0.1", "::1"
};

// Why it did not work, in the system's words.
struct ProbeFault {
    std::string reason;
    bool isRefused = false;
    bool isTimeOut = false;
};

// In the order in which they would be tried. May wait as long as the system's name service does.
std::variant<std::vector<ProbeAddress>, ProbeFault> resolveForProbe(const std::string& host, int32_t port);

// How many descriptors the process may still open, as far as that is known beforehand.
size_t roomForDescriptors();

// Why the process cannot open any connection at this moment, in the system's words; nothing when it can.
std::optional<std::string> whyNoConnection();

class ProbeSocket {
  public:
    using Deadline = std::chrono::steady_clock::time_point;

    ProbeSocket();
    ~ProbeSocket();
    ProbeSocket(const ProbeSocket&) = delete;
    ProbeSocket& operator=(const ProbeSocket&) = delete;

    std::optional<ProbeFault> connect(const ProbeAddress& address, Deadline deadline);
    std::optional<ProbeFault> send(std::string_view bytes, Deadline deadline);
    // Some bytes; none at the end of the stream.
    std::variant<std::string, ProbeFault> receive(size_t most, Deadline deadline);

  private:
    struct Handle;
    std::unique_ptr<Handle> handle_;
};

}  // namespace zulstat

#endif
