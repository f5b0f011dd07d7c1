// What a client takes besides time; scripts/bench runs it and reads the line that it prints.
//   bench_cost MODE FILE PORT SHAPE N
//     reply               bytes of the reply to a query
//     calls               N queries, and walks over what they bring
//     floor               the same with bare exchanges
//     memory              queries and walks on N connections
//     equal               compares the library's buffer with the limit's, byte by byte
//     parse, limit-parse  parses one reply N times, for a counter of instructions
//     walk, limit-walk    walks one result set N times
// FILE is the library; for equal and parse it is the module with its parsers. A SHAPE is one of statistics, as
// stats:1000x10, or of ids. What a mode does not need may be "-". Allocations are counted when the allocation counter
// is loaded before all other libraries.
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
    runQueries(queries, [&] { bench::requireEntries(connection.queryAndWalk(shape), shape); });
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

class ParsedByLibrary {
  public:
    explicit ParsedByLibrary(const std::string& file) : inside_(file), buffer_(inside_.makeBuffer(&capacity_)) {}
    ~ParsedByLibrary() {
        inside_.releaseBuffer(buffer_);
    }
    ParsedByLibrary(const ParsedByLibrary&) = delete;
    ParsedByLibrary& operator=(const ParsedByLibrary&) = delete;

    void parse(Content content, const bench::Bytes& payload) {
        const auto parser = content == Content::stats ? inside_.parseStats : inside_.parseIds;
        bench::require(parser(payload.data(), payload.size(), &buffer_, &capacity_), "the library's parser");
    }

    // Whether its first bytes are these.
    bool beginsWith(const char* bytes, size_t size) const {
        return size <= static_cast<size_t>(capacity_) + sizeof(uint32_t) && std::memcmp(buffer_, bytes, size) == 0;
    }

  private:
    bench::Inside inside_;
    int32_t capacity_ = 0;
    char* buffer_;
};

void compare(const std::string& file, const Shape& shape) {
    const bench::Bytes payload = bench::replyPayload(shape);
    bench::LimitResult limit;
    limit.parse(shape.content, payload.data(), payload.size());
    bench::requireEntries(limit.walk(shape.content), shape);
    ParsedByLibrary library(file);
    library.parse(shape.content, payload);
    const bool isEqual = library.beginsWith(limit.set().buffer, limit.set().size);
    std::printf("equal %d bytes %zu\n", isEqual ? 1 : 0, limit.set().size);
}

void parseAgain(const std::string& file, const Shape& shape, int32_t times) {
    const bench::Bytes payload = bench::replyPayload(shape);
    ParsedByLibrary library(file);
    for (int32_t index = 0; index < times; ++index) {
        library.parse(shape.content, payload);
    }
}

void walkAgain(const std::string& file, int32_t port, const Shape& shape, int32_t times) {
    const Library library(file);
    Connection connection(library, port);
    ResultSetToken* const resultSet = connection.query(shape);
    for (int32_t index = 0; index < times; ++index) {
        bench::walk(library, shape.content, resultSet);
    }
}

void useLimitAgain(const Shape& shape, int32_t parses, int32_t walks) {
    const bench::Bytes payload = bench::replyPayload(shape);
    bench::LimitResult limit;
    for (int32_t index = 0; index < parses; ++index) {
        limit.parse(shape.content, payload.data(), payload.size());
    }
    for (int32_t index = 0; index < walks; ++index) {
        limit.walk(shape.content);
    }
}

struct Words {
    std::string mode;
    std::string file;
    int32_t port;
    Shape shape;
    int32_t count;
};

int32_t numberOf(const std::string& text) {
    const auto number = bench::numberFromText(text == "-" ? "0" : text, INT32_MAX);
    if (!number) {
        throw std::invalid_argument(text + " is no number");
    }
    return static_cast<int32_t>(*number);
}

Words wordsOf(const std::vector<std::string>& words) {
    if (words.size() != 5) {
        throw std::invalid_argument("usage: bench_cost MODE FILE PORT SHAPE N");
    }
    return {words[0], words[1], numberOf(words[2]), shapeOf(words[3]), numberOf(words[4])};
}

void run(const Words& words) {
    if (words.mode == "reply") {
        std::printf("reply %zu\n", bench::queryExchanges(words.shape).back().bodySize);
    } else if (words.mode == "equal") {
        compare(words.file, words.shape);
    } else if (words.mode == "calls") {
        runLibrary(words.file, words.port, words.shape, words.count);
    } else if (words.mode == "floor") {
        runFloor(words.port, words.shape, words.count);
    } else if (words.mode == "memory") {
        measureMemory(words.file, words.port, words.shape, words.count);
    } else if (words.mode == "parse") {
        parseAgain(words.file, words.shape, words.count);
    } else if (words.mode == "walk") {
        walkAgain(words.file, words.port, words.shape, words.count);
    } else if (words.mode == "limit-parse") {
        useLimitAgain(words.shape, words.count, 0);
    } else if (words.mode == "limit-walk") {
        useLimitAgain(words.shape, 1, words.count);
    } else {
        throw std::invalid_argument(words.mode + " is no mode; the file bench/cost.cpp names them");
    }
}

}  // namespace

int main(int argc, char** argv) {
    try {
        run(wordsOf(std::vector<std::string>(argv + 1, argv + argc)));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_cost: %s\n", error.what());
        return 2;
    }
    return 0;
}
