#include "gateway_sampler.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <utility>

#include "gateway_connection.h"

namespace zulstat {
namespace {

using Clock = std::chrono::steady_clock;

std::chrono::microseconds since(const Clock::time_point begin) {
    return std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begin);
}

// Whether the next query may be made.
bool makeQuery(GatewayConnection& connection, const Query& query, Report& report) {
    Answer answer = connection.ask(query);
    report.failure = failureOf(query, answer);
    if (!report.failure || !answer.elements.empty()) {
        report.results.push_back({query, std::move(answer.elements), answer.arrivedAt});
    }
    return !report.failure;
}

Sample takeFrom(GatewayConnection& connection, const Gateway& gateway, const std::vector<Query>& queries) {
    Sample sample;
    sample.report.gateway = gateway;
    sample.report.startedAt = std::chrono::system_clock::now();
    const Clock::time_point start = Clock::now();
    if (!connection.isOpen()) {
        if (const int32_t code = connection.open(gateway); code != STAPI_RC_OK) {
            sample.report.failure = connectFailure(code);
        }
        sample.connecting = since(start);
    }
    if (connection.isOpen()) {
        sample.report.protocolVersion = connection.protocolVersion();
        const Clock::time_point begin = Clock::now();
        for (const Query& query : queries) {
            if (!makeQuery(connection, query, sample.report)) {
                break;
            }
        }
        sample.asking = since(begin);
    }
    sample.report.duration = since(start);
    return sample;
}

}  // namespace

struct GatewaySampler::Shared {
    Gateway gateway;
    std::vector<Query> queries;
    std::function<void(Sample)> take;
    GatewayConnection connection;
    std::mutex mutex;
    std::condition_variable changed;
    size_t wanted = 0;
    bool isBusy = false;
    bool isStopping = false;
    bool isOver = false;

    void run() {
        while (awaitOrder()) {
            Sample sample = takeFrom(connection, gateway, queries);
            const std::lock_guard lock(mutex);
            isBusy = false;
            changed.notify_all();
            if (!isStopping) {
                take(std::move(sample));
            }
        }
        connection.close();
        const std::lock_guard lock(mutex);
        isOver = true;
        changed.notify_all();
    }

    // False when it is over.
    bool awaitOrder() {
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] { return wanted > 0 || isStopping; });
        wanted -= wanted > 0 ? 1 : 0;
        isBusy = !isStopping;
        return isBusy;
    }
};

GatewaySampler::GatewaySampler(Gateway gateway, std::vector<Query> queries, std::function<void(Sample)> take)
    : shared_(std::make_shared<Shared>()) {
    shared_->gateway = std::move(gateway);
    shared_->queries = std::move(queries);
    shared_->take = std::move(take);
    std::thread([shared = shared_] { shared->run(); }).detach();
}

GatewaySampler::~GatewaySampler() {
    askToStop();
}

void GatewaySampler::takeSample() {
    const std::lock_guard lock(shared_->mutex);
    ++shared_->wanted;
    shared_->changed.notify_all();
}

void GatewaySampler::cutOff() {
    shared_->connection.cutOff();
}

void GatewaySampler::askToStop() {
    const std::lock_guard lock(shared_->mutex);
    shared_->isStopping = true;
    shared_->changed.notify_all();
}

bool GatewaySampler::stop(const std::chrono::milliseconds limit) {
    askToStop();
    std::unique_lock lock(shared_->mutex);
    shared_->changed.wait_for(lock, limit, [this] { return shared_->isOver || shared_->isBusy; });
    return shared_->isOver;
}

}  // namespace zulstat
