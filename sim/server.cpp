#include "server.h"

#include <atomic>
#include <exception>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

namespace gatewaysim {

namespace {

constexpr std::chrono::milliseconds kPauseWithoutResources{100};

}  // namespace

struct Server::Worker {
    Worker(NativeSocket socket, const ConnectionHandler& chosenHandler, Log& sharedLog, const StopSignal& stop,
           uint64_t number)
        : connection(std::make_unique<Connection>(socket, stop)),
          handler(chosenHandler),
          log(sharedLog),
          connectionNumber(number) {}

    void run() {
        const std::string name = "connection " + std::to_string(connectionNumber);
        try {
            handler(*connection, connectionNumber);
        } catch (const Stopped&) {
            log.whenVerbose(name + ": ended because the simulator ends");
        } catch (const std::exception& error) {
            log.always(name + ": failed: " + error.what());
        }
        connection.reset();
        finished.store(true);
    }

    std::unique_ptr<Connection> connection;
    const ConnectionHandler& handler;
    Log& log;
    const uint64_t connectionNumber;
    std::atomic<bool> finished{false};
    std::thread thread;
};

Server::Server(NativeSocket listener, ConnectionHandler handler, Log& log, const StopSignal& stop)
    : listener_(listener), handler_(std::move(handler)), log_(log), stop_(stop) {}

Server::~Server() = default;

void Server::run() {
    while (native::wait(listener_, native::Interest::receive, stop_) == native::Waited::ready) {
        acceptOne();
        joinFinished();
    }
    joinAll();
}

void Server::acceptOne() {
    const native::Accepted accepted = native::acceptOne(listener_);
    if (accepted.outcome == native::Accepted::Outcome::connected) {
        start(accepted.socket);
    } else if (accepted.outcome == native::Accepted::Outcome::outOfResources) {
        log_.always("cannot accept a connection: " + accepted.failure + "; trying again");
        native::wait(listener_, native::Interest::stopOnly, stop_, kPauseWithoutResources);
    }
}

void Server::start(NativeSocket socket) {
    const uint64_t number = ++connections_;
    auto worker = std::make_unique<Worker>(socket, handler_, log_, stop_, number);
    log_.whenVerbose("connection " + std::to_string(number) + ": accepted");
    try {
        worker->thread = std::thread(&Worker::run, worker.get());
        workers_.push_back(std::move(worker));
    } catch (const std::system_error& error) {
        log_.always("connection " + std::to_string(number) + ": dropped, no thread for it: " + error.what());
    }
}

void Server::joinFinished() {
    workers_.remove_if([](const std::unique_ptr<Worker>& worker) {
        if (!worker->finished.load()) {
            return false;
        }
        worker->thread.join();
        return true;
    });
}

void Server::joinAll() {
    for (const std::unique_ptr<Worker>& worker : workers_) {
        worker->thread.join();
    }
    workers_.clear();
}

}  // namespace gatewaysim
