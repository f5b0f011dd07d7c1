#ifndef ZULSTATS_SIM_LOG_H
#define ZULSTATS_SIM_LOG_H

#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>

namespace gatewaysim {

// The bytes in double quotes, everything but printable ASCII escaped, cut after a readable length.
std::string inQuotes(std::string_view bytes, size_t longest = 120);

// A message made fit for one line of a terminal: everything but printable ASCII escaped.
std::string onOneLine(std::string_view message);

// One line on standard error without a time, for what ends the program before it has begun to work.
void complain(std::string_view message);

// Lines on standard error, each by one write and with the time: "gatewaysim: 2024-05-06T07:08:09.123Z MESSAGE".
class Log {
  public:
    explicit Log(bool verbose) : verbose_(verbose) {}

    void always(std::string_view message);
    void whenVerbose(std::string_view message);

  private:
    const bool verbose_;
    std::mutex mutex_;
};

}  // namespace gatewaysim

#endif
