// What the trace costs: the lines of a walk at a level, and a dump, against bare writes of the same bytes to the same
// file.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <string>
#include <vector>

#include "bare_socket.h"
#include "benchmarks.h"

namespace bench {

namespace {

// The library's trace goes to the empty work file, at a level, for the life of this object.
class TraceToFile {
  public:
    TraceToFile(const Library& library, int32_t level) : library_(library) {
        emptyWorkFile();
        require(library.setAPITraceFile(settings.workFile.c_str()), "setAPITraceFile");
        require(library.setAPITraceLevel(level), "setAPITraceLevel");
    }
    ~TraceToFile() {
        require(library_.setAPITraceLevel(0), "setAPITraceLevel");
        require(library_.setAPITraceFile(nullptr), "setAPITraceFile");
        emptyWorkFile();
    }
    TraceToFile(const TraceToFile&) = delete;
    TraceToFile& operator=(const TraceToFile&) = delete;

    static void emptyWorkFile() {
        const std::ofstream emptied(settings.workFile, std::ios::binary | std::ios::trunc);
    }

    // What the file holds, by lines with their ends.
    static std::vector<std::string> lines() {
        std::ifstream file(settings.workFile, std::ios::binary);
        std::vector<std::string> found;
        for (std::string line; std::getline(file, line);) {
            found.push_back(line + "\n");
        }
        return found;
    }

  private:
    const Library& library_;
};

// Calls the library once for the lines that this writes at a level, which are told.
template <typename Call>
std::vector<std::string> linesOf(const Library& library, int32_t level, Call call) {
    const TraceToFile trace(library, level);
    TraceToFile::emptyWorkFile();  // of the banner, and of what setting the trace has written
    call();
    return TraceToFile::lines();
}

void writeBare(benchmark::State& state, const std::vector<std::string>& texts) {
    TraceToFile::emptyWorkFile();
    const int file = open(settings.workFile.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    for (auto _ : state) {
        for (const std::string& text : texts) {
            if (write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
                failBenchmark("write", errno);
            }
        }
    }
    close(file);
    TraceToFile::emptyWorkFile();
}

// Whose lines are written: the floor writes those of the library.
const Library& tracedLibrary(const Spec& spec) {
    return libraryOf(spec.contender == Contender::floor ? Contender::library : spec.contender);
}

template <typename Call>
void traceCalls(benchmark::State& state, const Spec& spec, int32_t level, Call call) {
    const Library& library = tracedLibrary(spec);
    const std::vector<std::string> lines = linesOf(library, level, call);
    if (lines.empty()) {
        failBenchmark("a trace without lines", level);
    }
    if (spec.contender == Contender::floor) {
        writeBare(state, lines);
    } else {
        const TraceToFile trace(library, level);
        for (auto _ : state) {
            call();
        }
    }
    state.counters["lines"] = static_cast<double>(lines.size());
}

// A whole walk at trace level N.
void traceLine(benchmark::State& state, const Spec& spec) {
    const Library& library = tracedLibrary(spec);
    Connection connection(library, settings.port);
    ResultSetToken* const resultSet = connection.query(spec.shape);
    traceCalls(state, spec, spec.n, [&] { walk(library, spec.shape.content, resultSet); });
}

void dump(benchmark::State& state, const Spec& spec) {
    const Library& library = tracedLibrary(spec);
    Connection connection(library, settings.port);
    ResultSetToken* const resultSet = connection.query(spec.shape);
    traceCalls(state, spec, 0, [&] { require(library.dumpResultSet(resultSet), "dumpResultSet"); });
}

}  // namespace

void addTraces(Kinds* kinds) {
    (*kinds)["trace_line"] = traceLine;
    (*kinds)["dump"] = dump;
}

}  // namespace bench
