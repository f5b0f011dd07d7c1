#include "command_line.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <string_view>
#include <utility>

#include "argument_list.h"
#include "exit_codes.h"
#include "id_list.h"
#include "number.h"
#include "text_escape.h"

namespace zulstat {
namespace {

constexpr std::chrono::milliseconds kLongestTime{86400 * 1000LL};

// Ends the reading of a command line wherever something is wrong with it.
struct UsageFault {
    std::string message;
};

template <class Value>
Value require(std::variant<Value, Fault> parsed) {
    if (const auto* const fault = std::get_if<Fault>(&parsed)) {
        throw UsageFault{fault->message};
    }
    return std::get<Value>(std::move(parsed));
}

int64_t parseWhole(const std::string_view name, const std::string& text, const int64_t lowest, const int64_t highest) {
    int64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end || number < lowest || number > highest) {
        throw UsageFault{std::string(name) + ": " + quoteText(text) + " is no number from " + std::to_string(lowest) +
                         " to " + std::to_string(highest) + "."};
    }
    return number;
}

std::chrono::milliseconds parseTime(const std::string_view name, const std::string& text,
                                    const std::chrono::milliseconds shortest) {
    const auto time = parseSeconds(text);
    if (!time || *time < shortest || *time > kLongestTime) {
        throw UsageFault{std::string(name) + ": " + quoteText(text) + " is no number of seconds from " +
                         formatSeconds(shortest) + " to " + formatSeconds(kLongestTime) + "."};
    }
    return *time;
}

// Ids as they stand, but that "@FILE" stands for the lines of a file and "@@" for an "@".
class IdReader {
  public:
    explicit IdReader(const Surroundings& surroundings) : surroundings_(surroundings) {}

    std::vector<std::string> read(const std::vector<std::string>& arguments, const std::string_view noun) const {
        std::vector<std::string> ids;
        for (const std::string& argument : arguments) {
            if (argument.starts_with("@@")) {
                ids.push_back(argument.substr(1));
            } else if (argument.starts_with('@')) {
                addLines(ids, argument.substr(1));
            } else {
                ids.push_back(argument);
            }
        }
        if (const auto fault = findIdFault(ids, noun)) {
            throw UsageFault{*fault};
        }
        return ids;
    }

  private:
    void addLines(std::vector<std::string>& ids, const std::string& fileName) const {
        if (fileName == "-" && std::exchange(hasReadInput_, true)) {
            throw UsageFault{"@- stands for standard input, which can be read only once. Write it once."};
        }
        const std::string content = require(surroundings_.readFile(fileName));
        const size_t before = ids.size();
        for (const TextLine& line : require(linesOfFile(content, fileName))) {
            if (!line.text.empty() && line.text[0] != '#') {
                ids.emplace_back(line.text);
            }
        }
        if (ids.size() == before) {
            throw UsageFault{"there is no id in " + nameOfInput(fileName) + ". Write one a line."};
        }
    }

    mutable bool hasReadInput_ = false;
    const Surroundings& surroundings_;
};

class CommandLineReader {
  public:
    CommandLineReader(const ArgumentList& list, const Surroundings& surroundings)
        : list_(list), surroundings_(surroundings), ids_(surroundings) {}

    CommandLine read() {
        result_.command = list_.command->command;
        if (!isCommand(Command::completion)) {
            readGateways();
            readTime();
        }
        readTrace();
        readFormat();
        readSelection();
        readSampling();
        readPositionals();
        return std::move(result_);
    }

  private:
    bool isCommand(const Command command) const {
        return result_.command == command;
    }

    void readGateways() {
        std::vector<Gateway> gateways;
        if (const auto file = list_.last(Option::config)) {
            gateways = require(parseConfiguration(require(surroundings_.readFile(*file)), *file));
        }
        for (const std::string& text : list_.all(Option::gateway)) {
            gateways.push_back(require(parseGateway(text)));
        }
        const bool hasHost = list_.has(Option::host) || list_.has(Option::port);
        if (!gateways.empty() && hasHost) {
            throw UsageFault{"--host and --port do not go with --gateway and --config. Write --gateway HOST:PORT."};
        }
        if (gateways.empty() && !list_.has(Option::host)) {
            gateways = gatewaysOfEnvironment();
        }
        if (gateways.empty()) {
            gateways.push_back(gatewayOfHost());
        }
        if (const auto port = list_.last(Option::port)) {
            setPort(gateways, *port);
        }
        if (const auto fault = nameGateways(gateways)) {
            throw UsageFault{fault->message};
        }
        const bool takesOne = isCommand(Command::doctor) || isCommand(Command::dump);
        if (gateways.size() > 1 && takesOne) {
            throw UsageFault{"\"" + std::string(list_.command->name) + "\" takes one gateway at a time, not " +
                             std::to_string(gateways.size()) + "."};
        }
        result_.gateways = std::move(gateways);
    }

    std::vector<Gateway> gatewaysOfEnvironment() const {
        std::vector<Gateway> gateways;
        const std::string all = surroundings_.environment("ZULSTAT_GATEWAY").value_or("");
        for (size_t start = 0; start < all.size();) {
            const size_t end = std::min(all.find(',', start), all.size());
            const auto parsed = parseGateway(all.substr(start, end - start));
            if (const auto* const fault = std::get_if<Fault>(&parsed)) {
                throw UsageFault{"in the environment variable ZULSTAT_GATEWAY, " + fault->message};
            }
            gateways.push_back(std::get<Gateway>(parsed));
            start = end + 1;
        }
        return gateways;
    }

    Gateway gatewayOfHost() const {
        Gateway gateway{"", kDefaultHost, kDefaultPort};
        if (const auto host = list_.last(Option::host)) {
            if (host->empty()) {
                throw UsageFault{"--host must not be empty."};
            }
            const auto parsed = require(parseAddress(*host));
            if (!parsed.name.empty()) {
                throw UsageFault{"--host takes no name. Write --gateway " + escapeText(*host) + "."};
            }
            gateway.host = parsed.host;
            gateway.port = parsed.port.value_or(kDefaultPort);
        }
        return gateway;
    }

    // The port wins over that of the environment, whose host stays.
    void setPort(std::vector<Gateway>& gateways, const std::string& text) const {
        const auto port = parsePort(text);
        if (!port) {
            throw UsageFault{"--port: " + quoteText(text) + " is no number from 1 to 65535."};
        }
        if (gateways.size() > 1) {
            throw UsageFault{"--port is for one gateway, but the environment variable ZULSTAT_GATEWAY names " +
                             std::to_string(gateways.size()) + ". Write --gateway HOST:PORT."};
        }
        if (const auto host = list_.last(Option::host)) {
            const auto portOfHost = require(parseAddress(*host)).port;
            if (portOfHost && *portOfHost != *port) {
                throw UsageFault{"--host says port " + std::to_string(*portOfHost) + ", --port says " +
                                 std::to_string(*port) + ". Give one of them."};
            }
        }
        gateways.front().port = *port;
    }

    void readTime() {
        result_.timeLimit = isCommand(Command::ping) ? kDefaultPingTimeLimit : kDefaultTimeLimit;
        if (const auto time = list_.last(Option::timeout)) {
            result_.timeLimit = parseTime("--timeout", *time, std::chrono::milliseconds(0));
        } else if (const auto variable = surroundings_.environment("ZULSTAT_TIMEOUT"); variable && !variable->empty()) {
            result_.timeLimit =
                parseTime("the environment variable ZULSTAT_TIMEOUT", *variable, std::chrono::milliseconds(0));
        }
    }

    void readTrace() {
        constexpr int64_t kHighestTraceLevel = 5;
        if (const auto level = list_.last(Option::traceLevel)) {
            result_.traceLevel = static_cast<int32_t>(parseWhole("--trace-level", *level, 0, kHighestTraceLevel));
        }
        result_.traceFile = list_.last(Option::traceFile);
        if (result_.traceFile && !result_.traceLevel) {
            throw UsageFault{"--trace-file needs --trace-level, from 0 to 5, too."};
        }
    }

    void readFormat() {
        result_.outputFile = list_.last(Option::output);
        result_.isWide = list_.has(Option::wide);
        result_.hasHeader = !list_.has(Option::noHeader);
        result_.withTexts = list_.has(Option::withTexts);
        result_.isQuiet = list_.has(Option::quiet);
        if (result_.outputFile && result_.outputFile->empty()) {
            throw UsageFault{"--output must not be empty."};
        }
        if (result_.outputFile == "-") {
            result_.outputFile.reset();
        }
        const std::string format = list_.last(Option::format).value_or("table");
        if (format == "json") {
            result_.format = OutputFormat::json;
        } else if (format == "csv") {
            result_.format = OutputFormat::csv;
        } else if (format == "openmetrics") {
            result_.format = OutputFormat::openmetrics;
        } else if (format != "table") {
            throw UsageFault{"--format: there is no format " + quoteText(format) +
                             ", only table, json, csv and openmetrics."};
        }
        const bool takesOnlyTableAndJson = isCommand(Command::ping) || isCommand(Command::doctor);
        const bool isTableOrJson = result_.format == OutputFormat::table || result_.format == OutputFormat::json;
        if (takesOnlyTableAndJson && !isTableOrJson) {
            throw UsageFault{"--format: \"" + std::string(list_.command->name) + "\" has table and json alone."};
        }
        if (result_.format == OutputFormat::openmetrics && !isCommand(Command::stats)) {
            throw UsageFault{"--format openmetrics goes with \"stats\" alone, which asks for values once."};
        }
        if (result_.withTexts && result_.format != OutputFormat::openmetrics) {
            throw UsageFault{"--with-texts needs --format openmetrics."};
        }
        readColor();
    }

    void readColor() {
        const std::string color = list_.last(Option::color).value_or("auto");
        if (color == "always") {
            result_.color = ColorChoice::always;
        } else if (color == "never") {
            result_.color = ColorChoice::never;
        } else if (color != "auto") {
            throw UsageFault{"--color: there is no " + quoteText(color) + ", only auto, always and never."};
        }
    }

    void readSelection() {
        result_.selection.patterns = list_.all(Option::match);
        const std::string order = list_.last(Option::sort).value_or("");
        if (order == "id") {
            result_.selection.order = SortOrder::byId;
        } else if (order == "value") {
            result_.selection.order = SortOrder::byValue;
        } else if (order == "change" && isCommand(Command::watch)) {
            result_.selection.order = SortOrder::byChange;
        } else if (order == "change") {
            throw UsageFault{"--sort change goes with \"watch\" alone, which sees changes."};
        } else if (list_.has(Option::sort)) {
            throw UsageFault{"--sort: there is no order " + quoteText(order) + ", only id, value and change."};
        }
    }

    void readSampling() {
        constexpr std::chrono::milliseconds kShortestInterval{50};
        constexpr std::chrono::milliseconds kUsualInterval{1000};
        constexpr std::chrono::milliseconds kUsualWatchInterval{2000};
        constexpr int64_t kMostSamples = 1000000000;
        result_.interval = isCommand(Command::watch) ? kUsualWatchInterval : kUsualInterval;
        if (const auto interval = list_.last(Option::interval)) {
            result_.interval = parseTime("--interval", *interval, kShortestInterval);
        }
        if (const auto count = list_.last(Option::count)) {
            result_.count = parseWhole("--count", *count, 1, kMostSamples);
        }
        if (const auto until = list_.last(Option::until)) {
            result_.until = parseCondition(*until);
            if (!result_.until) {
                throw UsageFault{"--until: " + quoteText(*until) +
                                 " is no condition. Write 'ID OP VALUE', as in 'pool.used < 10'; OP is = != < <= > or "
                                 ">=, and sizes need a number."};
            }
        }
        result_.counters = list_.all(Option::counter);
    }

    void readPositionals() {
        switch (result_.command) {
            case Command::ids:
                readQueries(QueryKind::statisticIds, ids_.read(list_.positionals, "group id"), {});
                break;
            case Command::groups:
                readQueries(QueryKind::resourceGroups, {}, {});
                break;
            case Command::stats:
            case Command::watch:
                readQueries(QueryKind::statistics, ids_.read(list_.all(Option::group), "group id"),
                            ids_.read(list_.all(Option::id), "statistic id"));
                break;
            case Command::check:
                readCheck();
                break;
            case Command::dump:
                result_.dumpFile = onePositional();
                if (result_.dumpFile == "-") {
                    throw UsageFault{
                        "\"dump\" writes to a file, not to standard output. Write ./- for a file of "
                        "that name."};
                }
                break;
            case Command::completion:
                result_.completionFor = onePositional();
                if (!isShell(result_.completionFor)) {
                    throw UsageFault{"there is no completion for " + quoteText(result_.completionFor) +
                                     ", only for bash, zsh and fish; man is the manual page."};
                }
                break;
            case Command::ping:
            case Command::doctor:
                break;
        }
    }

    static bool isShell(const std::string& name) {
        return name == "bash" || name == "zsh" || name == "fish" || name == "man";
    }

    std::string onePositional() const {
        if (list_.positionals.size() != 1 || list_.positionals.front().empty()) {
            throw UsageFault{"\"" + std::string(list_.command->name) + "\" needs one " +
                             std::string(list_.command->positionals) + "."};
        }
        return list_.positionals.front();
    }

    void readQueries(const QueryKind kind, std::vector<std::string> groups, std::vector<std::string> statistics) {
        if (!groups.empty()) {
            result_.queries.push_back({kind, AskedBy::group, std::move(groups)});
        }
        if (!statistics.empty()) {
            result_.queries.push_back({kind, AskedBy::statisticId, std::move(statistics)});
        }
        if (result_.queries.empty()) {
            result_.queries.push_back({kind, AskedBy::all, {}});
        }
    }

    // One that is named twice is checked once.
    void addMetric(Metric metric) {
        std::vector<Metric>& metrics = result_.check.metrics;
        if (std::find(metrics.begin(), metrics.end(), metric) == metrics.end()) {
            metrics.push_back(std::move(metric));
        }
    }

    void readCheck() {
        std::vector<std::string> ids;
        for (const std::string& text : list_.positionals) {
            const Metric metric = parseMetric(text);
            const std::vector<std::string> idsOfMetric = ids_.read({metric.id}, "statistic id");
            for (const std::string& id : idsOfMetric) {
                addMetric({id, metric.isRate});
                ids.push_back(id);
            }
        }
        if (ids.empty()) {
            throw UsageFault{"\"check\" needs at least one METRIC: the id of a statistic, or rate:ID."};
        }
        for (const std::string& text : list_.all(Option::warning)) {
            result_.check.warnings.push_back(require(parseThreshold(text, result_.check.metrics)));
        }
        for (const std::string& text : list_.all(Option::critical)) {
            result_.check.criticals.push_back(require(parseThreshold(text, result_.check.metrics)));
        }
        result_.check.okIfMissing = list_.has(Option::okIfMissing);
        readQueries(QueryKind::statistics, {}, std::move(ids));
    }

    const ArgumentList& list_;
    const Surroundings& surroundings_;
    IdReader ids_;
    CommandLine result_;
};

EarlyEnd usageError(const std::string& message, const CommandEntry* const command) {
    const std::string name = command == nullptr ? "" : std::string(command->name) + " ";
    EarlyEnd end{kExitUsage, "", "zulstat: " + message + "\nTry \"zulstat " + name + "--help\".\n"};
    if (command != nullptr && command->command == Command::check) {
        // A check that cannot even be read must still be one.
        CheckResult result = checkThatCannotBeMade(message);
        end.exitCode = result.exitCode;
        end.standardOutput = std::move(result.text);
    }
    return end;
}

}  // namespace

std::variant<CommandLine, EarlyEnd> parseCommandLine(const std::vector<std::string>& arguments,
                                                     const Surroundings& surroundings) {
    const auto parsed = parseArguments(arguments);
    if (const auto* const fault = std::get_if<ArgumentFault>(&parsed)) {
        return usageError(fault->message, fault->command);
    }
    const auto& list = std::get<ArgumentList>(parsed);
    if (list.has(Option::help)) {
        return EarlyEnd{kExitOk, list.command == nullptr ? helpText() : helpText(*list.command), ""};
    }
    if (list.has(Option::version)) {
        return EarlyEnd{kExitOk, surroundings.versionText() + "\n", ""};
    }
    if (list.command == nullptr) {
        return usageError(describeMissingCommand(list), nullptr);
    }
    try {
        return CommandLineReader(list, surroundings).read();
    } catch (const UsageFault& fault) {
        return usageError(fault.message, list.command);
    }
}

}  // namespace zulstat
