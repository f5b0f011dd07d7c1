// Round trips: a query, and a walk over all that it brings.
#include "benchmarks.h"
#include "floor_client.h"
#include "limit_set.h"

namespace bench {

namespace {

void floorRoundTrip(benchmark::State& state, const Spec& spec) {
    const std::vector<Exchange> exchanges = queryExchanges(spec.shape);
    FloorClient client(settings.port);
    client.run(exchanges);  // the server prepares its reply
    for (auto _ : state) {
        client.run(exchanges);
    }
}

void limitRoundTrip(benchmark::State& state, const Spec& spec) {
    const std::vector<Exchange> exchanges = queryExchanges(spec.shape);
    const size_t payloadSize = exchanges.back().bodySize - kPayloadOffset;
    FloorClient client(settings.port);
    LimitResult result;
    client.run(exchanges);  // the server prepares its reply
    for (auto _ : state) {
        client.run(exchanges);
        result.parse(spec.shape.content, client.body() + kPayloadOffset, payloadSize);
        benchmark::DoNotOptimize(result.walk(spec.shape.content));
    }
}

void libraryRoundTrip(benchmark::State& state, const Spec& spec) {
    Connection connection(libraryOf(spec.contender), settings.port);
    requireEntries(connection.queryAndWalk(spec.shape), spec.shape);
    for (auto _ : state) {
        benchmark::DoNotOptimize(connection.queryAndWalk(spec.shape));
    }
}

void roundTrip(benchmark::State& state, const Spec& spec) {
    switch (spec.contender) {
        case Contender::floor:
            floorRoundTrip(state, spec);
            break;
        case Contender::limit:
            limitRoundTrip(state, spec);
            break;
        default:
            libraryRoundTrip(state, spec);
    }
}

}  // namespace

void addExchanges(Kinds* kinds) {
    (*kinds)["round_trip"] = roundTrip;
    (*kinds)["threads"] = roundTrip;  // each of N threads has a connection of its own
}

}  // namespace bench
