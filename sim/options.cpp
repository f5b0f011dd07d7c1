#include "options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstddef>
#include <string_view>

#include "admin_service.h"
#include "hostile.h"
#include "log.h"
#include "output.h"

namespace gatewaysim {

namespace {

struct RawOptions {
    std::string host = "127.0.0.1";
    std::string port = "0";
    std::string catalogueFile;
    std::string builtIn;
    std::vector<std::string> faults;
    std::string hostile;
    bool listHostile = false;
    std::string format;
    std::string seed;
    std::string frozenClock;
    std::string clockStep;
    std::string gateway;
    std::string output;
    std::string recording;
};

constexpr const char* kRecord = "record";
constexpr const char* kReplay = "replay";

int64_t numberInRange(const char* option, const std::string& text, int64_t lowest, int64_t highest) {
    const auto number = parseNumber(text);
    if (!number.has_value() || *number < lowest || *number > highest) {
        throw BadOption(std::string(option) + " " + inQuotes(text) + " is not a number from " + std::to_string(lowest) +
                        " to " + std::to_string(highest));
    }
    return *number;
}

std::string checkedHost(const std::string& host) {
    if (host == "localhost") {
        return "127.0.0.1";
    }
    if (!isLoopback(host)) {
        throw BadOption("--host " + inQuotes(host) + " is not a loopback address: use localhost, 127.0.0.1 or ::1");
    }
    return host;
}

std::string footer() {
    return faultHelp() +
           "\n"
           "Queries: the ids of a query are separated by \":\". More than one id gives as many responses. GET_STATS takes\n"
           "  groups and statistics alike, STAT_IDS takes groups. An unknown id gives a response with the code " +
           std::to_string(kUnknownId) +
           ".\n"
           "  Without an id GET_STATS gives a response per group, STAT_IDS one of all statistics.\n"
           "\n"
           "Catalogue: a JSON object with \"protocol\" (the protocol version's text), \"groups\" (an array of ids) and\n"
           "  \"statistics\" (an array of objects). A statistic has \"id\", \"group\" and \"kind\", and by its kind\n"
           "    text     \"text\", and optionally \"repeat\" (how often the text stands in the value)\n"
           "    counter  \"start\" and \"rate\" (growth per second), and optionally \"lag\": an object with \"low\", \"high\"\n"
           "             and \"period\", how far the counter is behind its straight line\n"
           "    gauge    \"low\", \"high\", \"period\" (seconds), and optionally \"decimals\" (0 to 6)\n"
           "    clock    \"shows\": \"now\" or \"start\" (of the simulator)\n"
           "    sum      \"plus\", and optionally \"minus\": arrays of ids of other statistics, and of numbers\n"
           "    rate     \"of\": the id of a counter, or of a sum of counters; optionally \"decimals\"\n"
           "    percent  \"part\": an id; \"of\": an array of ids and numbers, the whole; optionally \"decimals\"\n"
           "  A statistic may have \"code\", the code of the response about it alone. A group may be an object with \"id\"\n"
           "  and \"code\". A negative code comes without entries, any other with them.\n"
           "  --print-catalogue shows a whole one. In the place of a text may stand {\"hex\": \"1B5B324A\"}, its bytes.\n"
           "\n"
           "Exit codes: 0 ended on request, 1 failed: the output or the recording cannot be written, 2 bad option, catalogue,\n"
           "  recording, fault or port.\n";
}

std::optional<ListFormat> checkedFormat(const RawOptions& raw) {
    if (!raw.format.empty() && !raw.listHostile) {
        throw BadOption("--format needs --list-hostile");
    }
    if (raw.format.empty() || raw.format == "text") {
        return raw.listHostile ? std::optional(ListFormat::text) : std::nullopt;
    }
    if (raw.format == "tabs") {
        return ListFormat::tabs;
    }
    throw BadOption("--format " + inQuotes(raw.format) + " is not one of text and tabs");
}

BuiltIn checkedBuiltIn(const RawOptions& raw) {
    if (!raw.builtIn.empty() && !raw.catalogueFile.empty()) {
        throw BadOption("--built-in and --catalogue each say what to serve: give one of them");
    }
    if (raw.builtIn.empty() || raw.builtIn == "everyday") {
        return BuiltIn::everyday;
    }
    if (raw.builtIn == "unusual") {
        return BuiltIn::unusual;
    }
    throw BadOption("--built-in " + inQuotes(raw.builtIn) + " is not one of everyday and unusual");
}

std::vector<Fault> checkedFaults(const RawOptions& raw) {
    std::vector<Fault> faults;
    if (!raw.hostile.empty()) {
        const auto ofBehaviour = faultsOfBehaviour(raw.hostile);
        if (!ofBehaviour.has_value()) {
            throw BadOption("--hostile " + inQuotes(raw.hostile) + " is unknown; --list-hostile lists what is known");
        }
        faults = *ofBehaviour;
    }
    for (const std::string& fault : raw.faults) {
        try {
            faults.push_back(parseFault(fault));
        } catch (const BadFault& error) {
            throw BadOption(error.what());
        }
    }
    return faults;
}

RecordingOptions checkedRecording(const RawOptions& raw) {
    if (raw.output == "-") {
        throw BadOption("--output - is no file: a recording needs one, since standard output tells the port");
    }
    const auto gateway = parseAddress(raw.gateway);
    if (!gateway.has_value()) {
        throw BadOption("--gateway " + inQuotes(raw.gateway) +
                        " is not HOST:PORT with a port from 1 to 65535, such as gateway-one:2980 or [::1]:2980");
    }
    return {*gateway, raw.output};
}

Options checked(const RawOptions& raw, Options options) {
    options.host = checkedHost(raw.host);
    options.port = static_cast<uint16_t>(numberInRange("--port", raw.port, 0, UINT16_MAX));
    if (!raw.seed.empty()) {
        options.seed = static_cast<uint64_t>(numberInRange("--seed", raw.seed, 0, INT64_MAX));
    }
    if (!raw.frozenClock.empty()) {
        options.frozenClock = parseIsoText(raw.frozenClock);
        if (!options.frozenClock.has_value()) {
            throw BadOption("--frozen-clock " + inQuotes(raw.frozenClock) +
                            " is not a time such as 2024-05-06T07:08:09Z");
        }
    }
    if (!raw.clockStep.empty()) {
        if (!options.frozenClock.has_value()) {
            throw BadOption("--clock-step needs --frozen-clock");
        }
        options.clockStep = std::chrono::seconds(numberInRange("--clock-step", raw.clockStep, 0, 86400));
    }
    options.builtIn = checkedBuiltIn(raw);
    options.listHostile = checkedFormat(raw);
    options.faults = checkedFaults(raw);
    return options;
}

// An option that was given an empty text is not an option that was left out.
void refuseEmpty(const CLI::App& app) {
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& result : option->results()) {
            if (result.empty()) {
                throw BadOption(option->get_name() + " needs a value");
            }
        }
    }
}

// A command takes its own options; those of the simulation would go unheeded.
void refuseForeign(const CLI::App& app, const CLI::App& command) {
    for (const CLI::Option* option : app.get_options()) {
        if (option->count() > 0 && command.get_option_no_throw(option->get_name()) == nullptr) {
            throw BadOption(option->get_name() + " does not go with " + command.get_name());
        }
    }
}

void addServing(CLI::App& app, RawOptions& raw, Options& options) {
    app.add_option("--host", raw.host, "Loopback address to listen on (127.0.0.1)");
    app.add_option("--port", raw.port, "Port to listen on; 0 picks a free one (0)");
    app.add_flag("--exit-with-stdin", options.exitWithStandardInput, "End at the end of standard input too");
    app.add_flag("--verbose", options.verbose, "Log every exchange on standard error");
}

void addSimulation(CLI::App& app, RawOptions& raw, Options& options) {
    app.add_option("--catalogue", raw.catalogueFile, "JSON file of what to serve (a built-in one, see --built-in)");
    app.add_option("--built-in", raw.builtIn,
                   "Built-in catalogue to serve: everyday, or unusual ids and values (everyday)");
    app.add_flag("--print-catalogue", options.printCatalogue, "Print the catalogue and end");
    app.add_option("--fault", raw.faults, "Answer wrongly, see below; may be given more than once")
        ->expected(1)
        ->take_all()
        ->allow_extra_args(false);
    app.add_option("--hostile", raw.hostile, "Behave as badly as this name says, see --list-hostile");
    app.add_flag("--list-hostile", raw.listHostile, "Print the names for --hostile and end");
    app.add_option("--format", raw.format, "Of the list: text, or tabs for programs (text)");
    app.add_option("--seed", raw.seed, "Number that decides all chance: gauges and opaque values (chance itself)");
    app.add_option("--frozen-clock", raw.frozenClock, "Time at which the values stand, as 2024-05-06T07:08:09Z");
    app.add_option("--clock-step", raw.clockStep, "Seconds that a frozen clock goes on after each GET_STATS (0)");
}

CLI::App& addRecord(CLI::App& app, RawOptions& raw, Options& options) {
    CLI::App& command = *app.add_subcommand(
        kRecord, "Pass on what clients and a real gateway send each other, and write it to a file for replay");
    command.add_option("--gateway", raw.gateway, "HOST:PORT of the gateway")->required();
    command.add_option("--output", raw.output, "File to write, which must not exist yet")->required();
    addServing(command, raw, options);
    return command;
}

CLI::App& addReplay(CLI::App& app, RawOptions& raw, ReplayChoices& choices, Options& options) {
    CLI::App& command = *app.add_subcommand(kReplay, "Answer with what a gateway answered when it was recorded");
    command.add_option("RECORDING", raw.recording, "The file")->required();
    command.add_flag("--timed", choices.timed, "Take as long for every answer as the gateway took");
    command.add_flag("--again", choices.again,
                     "After the last answer to a question begin with the first; without it the last one stays");
    addServing(command, raw, options);
    return command;
}

}  // namespace

std::optional<Options> parseOptions(int count, const char* const* arguments) {
    RawOptions raw;
    Options options;
    ReplayChoices choices;
    CLI::App app(
        "gatewaysim: a stand-in Gateway daemon on loopback. Prints one line, \"gatewaysim listening on HOST:PORT\",\n"
        "once it listens, and serves until SIGTERM or SIGINT (Ctrl+C). Every request that departs from the protocol in\n"
        "any byte is named on standard error and its connection ended.",
        "gatewaysim");
    app.set_version_flag("--version", "gatewaysim " ZULSTATS_PACKAGE_VERSION, "Print the version and end");
    addServing(app, raw, options);
    addSimulation(app, raw, options);
    const CLI::App& recordCommand = addRecord(app, raw, options);
    const CLI::App& replayCommand = addReplay(app, raw, choices, options);
    app.require_subcommand(0, 1);
    app.footer(footer());
    try {
        app.parse(count, arguments);
    } catch (const CLI::CallForHelp&) {
        print(app.help());
        return std::nullopt;
    } catch (const CLI::CallForVersion& version) {
        print(std::string(version.what()) + "\n");
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        throw BadOption(error.what());
    }
    refuseEmpty(app);
    for (const CLI::App* command : app.get_subcommands()) {
        refuseEmpty(*command);
        refuseForeign(app, *command);
    }
    if (recordCommand.parsed()) {
        options.recording = checkedRecording(raw);
    }
    if (replayCommand.parsed()) {
        options.replay = ReplayOptions{raw.recording, choices};
    }
    if (!raw.catalogueFile.empty()) {
        options.catalogueFile = raw.catalogueFile;
    }
    return checked(raw, options);
}

}  // namespace gatewaysim
