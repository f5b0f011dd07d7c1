// Long use of the library through its public header: what it takes up stays as it is, and nothing is lost.
#ifndef ZULSTATS_TESTS_SOAK_SOAK_H
#define ZULSTATS_TESTS_SOAK_SOAK_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace soak {

// How long something goes on: a number of times, or, where that is 0, a time.
struct Extent {
    int64_t times;
    std::chrono::milliseconds time;
};

// What the process took up while something was done again and again.
struct Trend {
    int64_t times = 0;
    double seconds = 0;
    int64_t residentAtFirst = 0;
    int64_t residentAtLast = 0;
    int64_t descriptorsAtFirst = 0;
    int64_t descriptorsAtLast = 0;
    // Of a straight line through the measurements behind the first tenth, in bytes for each time.
    double residentSlope = 0;
    double privateSlope = 0;
    std::vector<std::string> failures;  // the first of them
};

// Queries of all six kinds on one connection, each walked to its end; now and then a copy, a query string and a dump.
Trend runQueries(int port, const Extent& extent);
// Openings and closings, each with one query.
Trend runOpenings(int port, const Extent& extent);
// The library's file loaded and unloaded. What a loaded library that is called keeps to the process's end is 1 KiB for
// the name of its trace file, so most times it is only loaded.
Trend runLoads(const std::string& libraryFile, const Extent& extent);

struct ThreadsOutcome {
    int64_t calls = 0;
    int64_t switches = 0;  // of level and file
    double seconds = 0;
    std::vector<std::string> failures;  // the first of them
};

// Threads with a connection each make calls while levels and trace files are switched.
ThreadsOutcome runThreads(int port, int threads, int64_t callsOfEach);

struct AppendOutcome {
    int64_t lines = 0;
    std::vector<std::string> failures;  // the first of them
};

// Two processes, each the given program with the arguments --append FILE TIMES, trace to one file.
AppendOutcome runAppenders(const std::string& program, int64_t times);
// What such a process does; its exit code.
int append(const std::string& file, int64_t times);

// Whether the trend tells of a leak: the bytes that the straight line grows by, and descriptors.
bool isFlat(const Trend& trend, int64_t mostBytes);

}  // namespace soak

#endif
