// Opening and closing, many open connections, and loading the library.
#include <memory>
#include <vector>

#include "benchmarks.h"
#include "floor_client.h"

namespace bench {

namespace {

void openAndClose(benchmark::State& state, const Spec& spec) {
    const Exchange closing = closingExchange();
    for (auto _ : state) {
        if (spec.contender == Contender::floor) {
            FloorClient(settings.port).run(closing);
        } else {
            const Connection connection(libraryOf(spec.contender), settings.port);
        }
    }
}

// One query on each of N open connections in turn; a sweep over all of them is one iteration.
void sweep(benchmark::State& state, const Spec& spec) {
    const auto count = static_cast<size_t>(spec.n);
    if (spec.contender == Contender::floor) {
        const std::vector<Exchange> exchanges = queryExchanges(spec.shape);
        std::vector<std::unique_ptr<FloorClient>> clients(count);
        for (auto& client : clients) {
            client = std::make_unique<FloorClient>(settings.port);
            client->run(exchanges);
        }
        for (auto _ : state) {
            for (auto& client : clients) {
                client->run(exchanges);
            }
        }
    } else {
        std::vector<std::unique_ptr<Connection>> connections(count);
        for (auto& connection : connections) {
            connection = std::make_unique<Connection>(libraryOf(spec.contender), settings.port);
            connection->queryAndWalk(spec.shape);
        }
        for (auto _ : state) {
            for (auto& connection : connections) {
                benchmark::DoNotOptimize(connection->queryAndWalk(spec.shape));
            }
        }
    }
}

// The floor is a shared object with one function and no start-up.
void load(benchmark::State& state, const Spec& spec) {
    const bool isFloor = spec.contender == Contender::floor;
    const std::string path = isFloor ? settings.emptyObject : settings.libraries.at(spec.contender);
    for (auto _ : state) {
        loadAndUnload(path, isFloor ? "emptyCall" : "getStatsAPIVersion");
    }
}

}  // namespace

void addConnections(Kinds* kinds) {
    (*kinds)["open_close"] = openAndClose;
    (*kinds)["sweep"] = sweep;
    (*kinds)["load"] = load;
}

}  // namespace bench
