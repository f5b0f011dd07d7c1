// What a client takes besides time; scripts/bench runs it and reads the line that it prints.
//   bench_cost reply SHAPE                                      bytes of the reply to a query
//   bench_cost calls FILE PORT SHAPE QUERIES                    queries, and walks over what they bring
//   bench_cost floor - PORT SHAPE QUERIES                       the same with bare exchanges
//   bench_cost memory FILE PORT SHAPE CONNECTIONS               the same on so many connections
//   bench_cost equal FILE PORT SHAPE                            the library's buffer and the limit's, byte by byte
// FILE is the library; for equal it is the module with its parsers. A SHAPE is one of statistics, as stats:1000x10, or
// of ids. Allocations are counted when the allocation counter is loaded before all other libraries.
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "allocation_counter.h"
#include "floor_client.h"
#include "library.h"
#include "limit_set.h"

namespace {

using bench::Connection;
using bench::Content;
using bench::Library;
using bench::Shape;

constexpr int32_t kQueriesToSettle = 3;

Shape shapeOf(const std::string& text) {
    const size_t colon = text.find(':');
    const std::string content = text.substr(0, colon);
    const std::string rest = colon == std::string::npos ? "" : text.substr(colon + 1);
    const auto shape = bench::shapeFromText(content == "ids" ? Content::ids : Content::stats, rest);
    if (!shape || (content != "ids" && content != "stats")) {
        throw std::invalid_argument(text + " is no shape such as stats:1000x10");
    }
    return *shape;
}

// What the allocation counter has counted; zeros when it is not loaded.
AllocationCounts countedAllocations() {
    const auto counts = reinterpret_cast<void (*)(AllocationCounts*)>(dlsym(RTLD_DEFAULT, "allocationCounts"));
    AllocationCounts counted = {};
    if (counts != nullptr) {
        counts(&counted);
    }
    return counted;
}

template <typename Query>
void runQueries(int32_t queries, Query query) {
    for (int32_t index = 0; index < kQueriesToSettle; ++index) {
        query();
    }
    const AllocationCounts before = countedAllocations();
    for (int32_t index = 0; index < queries; ++index) {
        query();
    }
    const AllocationCounts after = countedAllocations();
    std::printf("allocations %llu releases %llu bytes %llu\n",
                static_cast<unsigned long long>(after.allocations - before.allocations),
                static_cast<unsigned long long>(after.releases - before.releases),
                static_cast<unsigned long long>(after.bytes - before.bytes));
}

void runLibrary(const std::string& file, int32_t port, const Shape& shape, int32_t queries) {
    const Library library(file);
    Connection connection(library, port);
    runQueries(queries, [&] { connection.queryAndWalk(shape); });
}

void runFloor(int32_t port, const Shape& shape, int32_t queries) {
    const std::vector<bench::Exchange> exchanges = bench::queryExchanges(shape);
    bench::FloorClient client(port);
    runQueries(queries, [&] { client.run(exchanges); });
}

// The sum of the fields of a /proc file whose names begin so, in bytes.
size_t kilobytesIn(const char* file, std::string_view beginning) {
    std::ifstream stream(file);
    size_t sum = 0;
    for (std::string line; std::getline(stream, line);) {
        if (line.starts_with(beginning)) {
            sum += std::strtoull(line.c_str() + line.find(':') + 1, nullptr, 10);
        }
    }
    return sum * 1024;
}

size_t privateBytes() {
    return kilobytesIn("/proc/self/smaps_rollup", "Private_");
}

// From here on the peak is that of what follows.
void resetPeak() {
    std::ofstream("/proc/self/clear_refs") << "5";
}

void measureMemory(const std::string& file, int32_t port, const Shape& shape, int32_t count) {
    const Library library(file);
    { Connection(library, port).queryAndWalk({shape.content, 1, shape.valueLength}); }
    std::vector<std::unique_ptr<Connection>> connections(static_cast<size_t>(count));
    const size_t privateBefore = privateBytes();
    resetPeak();
    const size_t residentBefore = kilobytesIn("/proc/self/status", "VmRSS");
    for (auto& connection : connections) {
        connection = std::make_unique<Connection>(library, port);
    }
    for (int32_t query = 0; query < kQueriesToSettle; ++query) {
        for (auto& connection : connections) {
            connection->queryAndWalk(shape);
        }
    }
    const size_t privateAfter = privateBytes();
    const size_t peak = kilobytesIn("/proc/self/status", "VmHWM");
    std::printf("private %zu peak %zu\n", privateAfter - privateBefore, peak - residentBefore);
}

void compare(const std::string& file, const Shape& shape) {
    const bench::Inside inside(file);
    const bench::Bytes payload = bench::replyPayload(shape);
    bench::LimitResult limit;
    limit.parse(shape.content, payload.data(), payload.size());
    int32_t capacity = 0;
    char* buffer = inside.makeBuffer(&capacity);
    const auto parse = shape.content == Content::stats ? inside.parseStats : inside.parseIds;
    bench::require(parse(payload.data(), payload.size(), &buffer, &capacity), "the library's parser");
    const LimitSet& set = limit.set();
    const bool isEqual = set.size <= static_cast<size_t>(capacity) + sizeof(uint32_t) &&
                         std::memcmp(set.buffer, buffer, set.size) == 0 && limit.walk(shape.content) == shape.count;
    std::printf("equal %d bytes %zu\n", isEqual ? 1 : 0, set.size);
    inside.releaseBuffer(buffer);
}

void run(const std::vector<std::string>& words) {
    const std::string& mode = words.at(0);
    if (mode == "reply") {
        const size_t size = bench::queryExchanges(shapeOf(words.at(1))).back().bodySize;
        std::printf("reply %zu\n", size);
    } else if (mode == "equal") {
        compare(words.at(1), shapeOf(words.at(3)));
    } else if (mode == "calls") {
        runLibrary(words.at(1), std::stoi(words.at(2)), shapeOf(words.at(3)), std::stoi(words.at(4)));
    } else if (mode == "floor") {
        runFloor(std::stoi(words.at(2)), shapeOf(words.at(3)), std::stoi(words.at(4)));
    } else if (mode == "memory") {
        measureMemory(words.at(1), std::stoi(words.at(2)), shapeOf(words.at(3)), std::stoi(words.at(4)));
    } else {
        throw std::invalid_argument(mode + " is no mode; the file bench/cost.cpp names them");
    }
}

}  // namespace

int main(int argc, char** argv) {
    try {
        run(std::vector<std::string>(argv + 1, argv + argc));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_cost: %s\n", error.what());
        return 2;
    }
    return 0;
}
