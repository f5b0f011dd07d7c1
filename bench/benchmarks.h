// The benchmarks that the client program knows. Each is named KIND:CONTENDER:CONTENT:SHAPE:N, as in
// round_trip:library:stats:1000x10:1; what N means depends on the kind.
#ifndef ZULSTATS_BENCH_BENCHMARKS_H
#define ZULSTATS_BENCH_BENCHMARKS_H

#include <benchmark/benchmark.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "library.h"
#include "shape.h"

namespace bench {

// What is measured: bare exchanges or writes, the least that is to be done, the library, the library without trace
// points, and a library of another build.
enum class Contender : int32_t { floor, limit, library, untraced, other };

struct Spec {
    std::string kind;
    Contender contender;
    Shape shape;
    int32_t n;
};

// Where things are, from the command line.
struct Settings {
    int32_t port = 0;
    std::string workFile;  // which traces and bare writes go to
    std::map<Contender, std::string> libraries;
    std::map<Contender, std::string> insides;
    std::string emptyObject;
};
extern Settings settings;

// The builds of the library, each loaded when it is first asked for.
const Library& libraryOf(Contender contender);
const Inside& insideOf(Contender contender);

using Benchmark = void (*)(benchmark::State&, const Spec&);

// Each of these adds its kinds.
using Kinds = std::map<std::string, Benchmark>;
void addExchanges(Kinds* kinds);
void addWorkInMemory(Kinds* kinds);
void addConnections(Kinds* kinds);
void addTraces(Kinds* kinds);

}  // namespace bench

#endif
