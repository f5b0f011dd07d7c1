#ifndef ZULSTATS_SIM_OPTIONS_H
#define ZULSTATS_SIM_OPTIONS_H

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "address.h"
#include "clock.h"
#include "fault.h"
#include "replay.h"

namespace gatewaysim {

enum class ListFormat { text, tabs };

enum class BuiltIn { everyday, unusual };

struct RecordingOptions {
    Address gateway;
    std::string file;
};

struct ReplayOptions {
    std::string file;
    ReplayChoices choices;
};

struct Options {
    // With neither of them it simulates.
    std::optional<RecordingOptions> recording;
    std::optional<ReplayOptions> replay;
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

// Nothing when help or the version was asked for and given. Throws BadOption.
std::optional<Options> parseOptions(int count, const char* const* arguments);

}  // namespace gatewaysim

#endif
