#include <cstdint>
#include <exception>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>

#include "address.h"
#include "admin_service.h"
#include "catalogue.h"
#include "hostile.h"
#include "log.h"
#include "options.h"
#include "output.h"
#include "recording.h"
#include "recording_proxy.h"
#include "replay.h"
#include "server.h"
#include "session.h"
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

native::Listening listenAsTold(const Options& options) {
    try {
        return native::listenOn(options.host, options.port);
    } catch (const std::runtime_error& error) {
        throw BadOption("cannot listen on " + options.host + " port " + std::to_string(options.port) + ": " +
                        error.what() + "; give another --port, or 0 for a free one");
    }
}

// Serves until it is told to end.
void serve(const Options& options, const native::Listening& listening, const ConnectionHandler& handler, Log& log,
           StopSignal& stop) {
    raiseOnTerminationRequest(stop);
    print("gatewaysim listening on " + textOf(Address{options.host, listening.port}) + "\n");
    std::thread inputWatch;
    if (options.exitWithStandardInput) {
        inputWatch = std::thread([&stop] { raiseAtEndOfStandardInput(stop); });
    }
    Server(listening.socket, handler, log, stop).run();
    if (inputWatch.joinable()) {
        inputWatch.join();
    }
    native::closeSocket(listening.socket);
}

void simulate(const Options& options, const Catalogue& catalogue, Log& log, StopSignal& stop) {
    const Clock clock = chosenClock(options);
    const uint64_t seed = chosenSeed(options);
    const AdminService service(catalogue, clock, seed);
    const Simulation simulation{service, options.faults, seed, log};
    serve(
        options, listenAsTold(options),
        [&](Connection& connection, uint64_t number) { Session(connection, simulation, number).run(); }, log, stop);
}

// Returns the program's exit code.
int record(const Options& options, Log& log, StopSignal& stop) {
    const std::string& file = options.recording->file;
    // Before the file is made: what ends here leaves none behind.
    const native::Listening listening = listenAsTold(options);
    if (options.recording->gateway.port == listening.port && isLoopback(options.recording->gateway.host)) {
        throw BadOption("--gateway " + textOf(options.recording->gateway) +
                        " is the address that this program itself listens on");
    }
    RecordingWriter writer(file, textOf(options.recording->gateway), [&](const std::string& reason) {
        log.always("the recording " + inQuotes(file) + " cannot be written any further: " + reason +
                   "; look whether the disk is full");
        stop.raise();
    });
    RecordingProxy proxy(options.recording->gateway, writer, log, stop);
    serve(
        options, listening, [&](Connection& client, uint64_t number) { proxy.serve(client, number); }, log, stop);
    log.always("recorded " + std::to_string(writer.exchanges()) + " exchanges in " + inQuotes(file));
    return writer.hasFailed() ? kFailed : 0;
}

std::unique_ptr<Replay> chosenReplay(const ReplayOptions& chosen, Log& log) {
    try {
        return std::make_unique<Replay>(readRecording(chosen.file), chosen.choices, log);
    } catch (const BadRecording& error) {
        throw BadRecording("recording " + inQuotes(chosen.file) + ": " + error.what());
    }
}

void replay(const Options& options, Log& log, StopSignal& stop) {
    const std::unique_ptr<Replay> replay = chosenReplay(*options.replay, log);
    serve(
        options, listenAsTold(options),
        [&](Connection& connection, uint64_t number) { replay->serve(connection, number); }, log, stop);
}

// Returns the program's exit code.
int work(const Options& options) {
    static StopSignal stop;
    Log log(options.verbose);
    if (options.recording.has_value()) {
        return record(options, log, stop);
    }
    if (options.replay.has_value()) {
        replay(options, log, stop);
        return 0;
    }
    const std::string text = catalogueText(options);
    const Catalogue catalogue = parseCatalogue(text, options.catalogueFile.value_or("built-in"));
    if (options.printCatalogue) {
        print(text);
    } else {
        simulate(options, catalogue, log, stop);
    }
    return 0;
}

int run(int count, const char* const* arguments) {
    try {
        prepareProcess();
        const std::optional<Options> options = parseOptions(count, arguments);
        if (!options.has_value()) {
            return 0;
        }
        if (options->listHostile.has_value()) {
            print(*options->listHostile == ListFormat::tabs ? hostileListForPrograms() : hostileListForReading());
            return 0;
        }
        return work(*options);
    } catch (const BadOption& error) {
        complain(std::string(error.what()) + " (gatewaysim --help says more)");
    } catch (const BadCatalogue& error) {
        complain(error.what());
    } catch (const BadRecording& error) {
        complain(error.what());
    } catch (const std::exception& error) {
        complain(error.what());
        return kFailed;
    }
    return kBadInput;
}

}  // namespace

}  // namespace gatewaysim

int main(int count, char** arguments) {
    return gatewaysim::run(count, arguments);
}
