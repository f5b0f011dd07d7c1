#ifndef ZULSTATS_SIM_OPTIONS_H
#define ZULSTATS_SIM_OPTIONS_H

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "clock.h"
#include "fault.h"

namespace gatewaysim {

enum class ListFormat { text, tabs };

enum class BuiltIn { everyday, unusual };

struct Options {
    std::string host = "127.0.0.1";
    uint16_t port = 0;
    std::optional<std::string> catalogueFile;
    BuiltIn builtIn = BuiltIn::everyday;
    bool printCatalogue = false;
    std::optional<ListFormat> listHostile;
    std::vector<Fault> faults;
    std::optional<uint64_t> seed;
    std::optional<Instant> frozenClock;
    std::chrono::seconds clockStep{0};
    bool exitWithStandardInput = false;
    bool verbose = false;
};

class BadOption : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Nothing when help was asked for and given. Throws BadOption.
std::optional<Options> parseOptions(int count, const char* const* arguments);

}  // namespace gatewaysim

#endif
