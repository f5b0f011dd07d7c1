// Runs the benchmarks that are named on the command line, one after the other; scripts/bench names them and reads what
// Google Benchmark writes.
//   bench_client --port=N [--library=FILE] [--inside=FILE] [--untraced=FILE] [--other=FILE] [--other-inside=FILE]
//                [--empty=FILE] [--work-file=FILE] [--benchmark_...] NAME...
#include <cstdio>
#include <mutex>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "bare_socket.h"
#include "benchmarks.h"

namespace bench {

Settings settings;

namespace {

template <typename Module>
const Module& loaded(std::map<Contender, std::unique_ptr<Module>>* modules,
                     const std::map<Contender, std::string>& paths, Contender contender) {
    // The threads of a benchmark begin at the same time.
    static std::mutex mutex;
    const std::lock_guard hold(mutex);
    std::unique_ptr<Module>& module = (*modules)[contender];
    if (module == nullptr) {
        const auto path = paths.find(contender);
        if (path == paths.end()) {
            throw std::invalid_argument("a benchmark needs a file that the command line does not name");
        }
        module = std::make_unique<Module>(path->second);
    }
    return *module;
}

constexpr uint32_t kLargestN = 10000;

const std::map<std::string_view, Contender> kContenders = {{"floor", Contender::floor},
                                                           {"limit", Contender::limit},
                                                           {"library", Contender::library},
                                                           {"untraced", Contender::untraced},
                                                           {"other", Contender::other}};

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts(1);
    for (const char character : text) {
        if (character == separator) {
            parts.emplace_back();
        } else {
            parts.back() += character;
        }
    }
    return parts;
}

[[noreturn]] void refuse(const std::string& name) {
    throw std::invalid_argument(name + " names no benchmark; write KIND:CONTENDER:CONTENT:SHAPE:N");
}

Spec specOf(const std::string& name) {
    const std::vector<std::string> parts = split(name, ':');
    if (parts.size() != 5 || !kContenders.contains(parts[1]) || (parts[2] != "stats" && parts[2] != "ids")) {
        refuse(name);
    }
    const auto shape = shapeFromText(parts[2] == "stats" ? Content::stats : Content::ids, parts[3]);
    const auto n = numberFromText(parts[4], kLargestN);
    if (!shape || n.value_or(0) < 1) {
        refuse(name);
    }
    return {parts[0], kContenders.at(parts[1]), *shape, static_cast<int32_t>(*n)};
}

void addBenchmark(const Kinds& kinds, const std::string& name) {
    const Spec spec = specOf(name);
    const auto kind = kinds.find(spec.kind);
    if (kind == kinds.end()) {
        refuse(name);
    }
    auto* const added = benchmark::RegisterBenchmark(name.c_str(), kind->second, spec);
    added->UseRealTime()->MeasureProcessCPUTime()->Unit(benchmark::kNanosecond);
    if (spec.kind == "threads") {
        added->Threads(spec.n);
    }
}

// True when the argument was one of the program's own settings.
bool takeSetting(const std::string& argument) {
    const size_t equals = argument.find('=');
    const std::string name = argument.substr(0, equals);
    const std::string value = equals == std::string::npos ? "" : argument.substr(equals + 1);
    const std::map<std::string, std::string*> texts = {
        {"--library", &settings.libraries[Contender::library]},
        {"--untraced", &settings.libraries[Contender::untraced]},
        {"--other", &settings.libraries[Contender::other]},
        {"--inside", &settings.insides[Contender::library]},
        {"--other-inside", &settings.insides[Contender::other]},
        {"--empty", &settings.emptyObject},
        {"--work-file", &settings.workFile},
    };
    if (name == "--port") {
        settings.port = static_cast<int32_t>(numberFromText(value, UINT16_MAX).value_or(0));
        return true;
    }
    const auto text = texts.find(name);
    if (text != texts.end()) {
        *text->second = value;
    }
    return text != texts.end();
}

void run(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    Kinds kinds;
    addExchanges(&kinds);
    addWorkInMemory(&kinds);
    addConnections(&kinds);
    addTraces(&kinds);
    for (int index = 1; index < argc; ++index) {
        if (!takeSetting(argv[index])) {
            addBenchmark(kinds, argv[index]);
        }
    }
    // The module without trace points has both the public functions and the parsers.
    settings.insides[Contender::untraced] = settings.libraries[Contender::untraced];
    benchmark::RunSpecifiedBenchmarks();
}

}  // namespace

const Library& libraryOf(Contender contender) {
    static std::map<Contender, std::unique_ptr<Library>> kept;
    return loaded(&kept, settings.libraries, contender);
}

const Inside& insideOf(Contender contender) {
    static std::map<Contender, std::unique_ptr<Inside>> kept;
    return loaded(&kept, settings.insides, contender);
}

}  // namespace bench

int main(int argc, char** argv) {
    try {
        bench::run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_client: %s\n", error.what());
        return 2;
    }
    return 0;
}
