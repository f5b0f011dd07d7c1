// Round trips and walks with a timer of its own, where Google Benchmark is not at hand.
//   round_trip_timer LIBRARY PORT COUNT...    a line for each number of statistics and each contender:
//                                             KIND CONTENDER COUNT NANOSECONDS
#include <chrono>
#include <cstdio>

#include "floor_client.h"
#include "limit_set.h"

namespace {

using bench::Content;
using bench::Shape;
using Clock = std::chrono::steady_clock;

constexpr uint32_t kValueLength = 10;
constexpr uint32_t kMostStatistics = 1000000;
constexpr std::chrono::milliseconds kMeasured(100);
constexpr int32_t kCallsBetweenLooks = 8;

// Nanoseconds of a call, of as many as fit into the time; the first is not counted.
template <typename Call>
double timeOf(Call call) {
    call();
    const Clock::time_point begin = Clock::now();
    int64_t calls = 0;
    Clock::duration taken = Clock::duration::zero();
    while (taken < kMeasured) {
        for (int32_t index = 0; index < kCallsBetweenLooks; ++index) {
            call();
        }
        calls += kCallsBetweenLooks;
        taken = Clock::now() - begin;
    }
    return std::chrono::duration<double, std::nano>(taken).count() / static_cast<double>(calls);
}

void print(const char* kind, const char* contender, const Shape& shape, double nanoseconds) {
    std::printf("%s %s %u %.1f\n", kind, contender, static_cast<unsigned>(shape.count), nanoseconds);
}

void measure(const bench::Library& library, int32_t port, const Shape& shape) {
    const std::vector<bench::Exchange> exchanges = bench::queryExchanges(shape);
    bench::FloorClient floor(port);
    print("round_trip", "floor", shape, timeOf([&] { floor.run(exchanges); }));

    bench::LimitResult limit;
    const size_t payloadSize = exchanges.back().bodySize - bench::kPayloadOffset;
    print("round_trip", "limit", shape, timeOf([&] {
              floor.run(exchanges);
              limit.parse(shape.content, floor.body() + bench::kPayloadOffset, payloadSize);
              limit.walk(shape.content);
          }));
    print("parse", "limit", shape,
          timeOf([&] { limit.parse(shape.content, floor.body() + bench::kPayloadOffset, payloadSize); }));
    print("walk", "limit", shape, timeOf([&] { limit.walk(shape.content); }));

    bench::Connection connection(library, port);
    bench::requireEntries(connection.queryAndWalk(shape), shape);
    print("round_trip", "library", shape, timeOf([&] { connection.queryAndWalk(shape); }));
    ResultSetToken* const resultSet = connection.query(shape);
    print("walk", "library", shape, timeOf([&] { bench::walk(library, shape.content, resultSet); }));
}

}  // namespace

int main(int argc, char** argv) {
    const auto port = bench::numberFromText(argc < 4 ? "" : argv[2], UINT16_MAX);
    if (!port) {
        std::fprintf(stderr, "usage: round_trip_timer LIBRARY PORT COUNT...\n");
        return 2;
    }
    const bench::Library library(argv[1]);
    for (int index = 3; index < argc; ++index) {
        const auto count = bench::numberFromText(argv[index], kMostStatistics);
        if (!count) {
            std::fprintf(stderr, "round_trip_timer: %s is no number of statistics\n", argv[index]);
            return 2;
        }
        measure(library, static_cast<int32_t>(*port), {Content::stats, *count, kValueLength});
    }
    return 0;
}
