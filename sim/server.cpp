#include "server.h"

#include <atomic>
#include <exception>
#include <string>
#include <system_error>
#include <thread>

namespace gatewaysim {

namespace {

constexpr std::chrono::milliseconds kPauseWithoutResources{100};

}  // namespace

struct Server::Worker {
    Worker(NativeSocket socket, const Simulation& shared, const StopSignal& stop, uint64_t number)
        : connection(std::make_unique<Connection>(socket, stop)), simulation(shared), connectionNumber(number) {}

    void run() {
        const std::string name = "connection " + std::to_string(connectionNumber);
        try {
            Session(*connection, simulation, connectionNumber).run();
        } catch (const Stopped&) {
            simulation.log.whenVerbose(name + ": ended because the simulator ends");
        } catch (const std::exception& error) {
            simulation.log.always(name + ": failed: " + error.what());
        }
        connection.reset();
        finished.store(true);
    }

    std::unique_ptr<Connection> connection;
    const Simulation& simulation;
    const uint64_t connectionNumber;
    std::atomic<bool> finished{false};
    std::thread thread;
};

Server::Server(NativeSocket listener, const Simulation& simulation, const StopSignal& stop)
    : listener_(listener), simulation_(simulation), stop_(stop) {}

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
        simulation_.log.always("cannot accept a connection: " + accepted.failure + "; trying again");
        native::wait(listener_, native::Interest::stopOnly, stop_, kPauseWithoutResources);
    }
}

void Server::start(NativeSocket socket) {
    const uint64_t number = ++connections_;
    auto worker = std::make_unique<Worker>(socket, simulation_, stop_, number);
    simulation_.log.whenVerbose("connection " + std::to_string(number) + ": accepted");
    try {
        worker->thread = std::thread(&Worker::run, worker.get());
        workers_.push_back(std::move(worker));
    } catch (const std::system_error& error) {
        simulation_.log.always("connection " + std::to_string(number) + ": dropped, no thread for it: " + error.what());
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
