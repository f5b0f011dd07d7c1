#include <cstdint>
#include <cstdio>
#include <exception>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>

#include "admin_service.h"
#include "catalogue.h"
#include "hostile.h"
#include "log.h"
#include "options.h"
#include "server.h"
#include "system.h"

namespace gatewaysim {

namespace {

constexpr int kFailed = 1;
constexpr int kBadInput = 2;

uint64_t chosenSeed(const Options& options) {
    if (options.seed.has_value()) {
        return *options.seed;
    }
    std::random_device device;
    return static_cast<uint64_t>(device()) << 32 | device();
}

Clock chosenClock(const Options& options) {
    return options.frozenClock.has_value() ? Clock(*options.frozenClock, options.clockStep) : Clock();
}

std::string catalogueText(const Options& options) {
    if (options.catalogueFile.has_value()) {
        return readCatalogueFile(*options.catalogueFile);
    }
    return options.builtIn == BuiltIn::unusual ? unusualCatalogueText() : everydayCatalogueText();
}

void printLine(const std::string& line) {
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fflush(stdout);
}

// For an answer that is all that was asked for: to lose a part of it is a failure.
void printAnswer(const std::string& text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
        throw std::runtime_error("the output cannot be written: look whether the disk is full");
    }
}

native::Listening listenAsTold(const Options& options) {
    try {
        return native::listenOn(options.host, options.port);
    } catch (const std::runtime_error& error) {
        throw BadOption("cannot listen on " + options.host + " port " + std::to_string(options.port) + ": " +
                        error.what() + "; give another --port, or 0 for a free one");
    }
}

void serve(const Options& options, const Catalogue& catalogue, Log& log) {
    static StopSignal stop;
    raiseOnTerminationRequest(stop);
    const Clock clock = chosenClock(options);
    const uint64_t seed = chosenSeed(options);
    const AdminService service(catalogue, clock, seed);
    const Simulation simulation{service, options.faults, seed, log};
    const native::Listening listening = listenAsTold(options);
    const std::string host = options.host.find(':') == std::string::npos ? options.host : "[" + options.host + "]";
    printLine("gatewaysim listening on " + host + ":" + std::to_string(listening.port) + "\n");
    std::thread inputWatch;
    if (options.exitWithStandardInput) {
        inputWatch = std::thread([] { raiseAtEndOfStandardInput(stop); });
    }
    Server(listening.socket, simulation, stop).run();
    if (inputWatch.joinable()) {
        inputWatch.join();
    }
    native::closeSocket(listening.socket);
}

int run(int count, const char* const* arguments) {
    Log log(false);
    try {
        prepareProcess();
        const std::optional<Options> options = parseOptions(count, arguments);
        if (!options.has_value()) {
            return 0;
        }
        if (options->listHostile.has_value()) {
            printAnswer(*options->listHostile == ListFormat::tabs ? hostileListForPrograms() : hostileListForReading());
            return 0;
        }
        const std::string text = catalogueText(*options);
        const Catalogue catalogue = parseCatalogue(text, options->catalogueFile.value_or("built-in"));
        if (options->printCatalogue) {
            printAnswer(text);
            return 0;
        }
        Log chosenLog(options->verbose);
        serve(*options, catalogue, chosenLog);
        return 0;
    } catch (const BadOption& error) {
        log.always(std::string(error.what()) + " (gatewaysim --help says more)");
    } catch (const BadCatalogue& error) {
        log.always(error.what());
    } catch (const std::exception& error) {
        log.always(error.what());
        return kFailed;
    }
    return kBadInput;
}

}  // namespace

}  // namespace gatewaysim

int main(int count, char** arguments) {
    return gatewaysim::run(count, arguments);
}
