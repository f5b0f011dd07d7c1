#include "temporary_file.h"

#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "line_ends.h"

namespace test_support {

namespace {

std::filesystem::path uniquePath() {
    std::random_device source;
    std::ostringstream name;
    name << "zulstats-test-" << std::hex << source() << source() << source();
    return std::filesystem::temp_directory_path() / name.str();
}

}  // namespace

TemporaryFile::TemporaryFile() : path_(uniquePath()) {}

TemporaryFile::TemporaryFile(std::string_view content) : path_(uniquePath()) {
    std::ofstream file(path_, std::ios::binary);
    file << content << std::flush;
    if (!file) {
        throw std::runtime_error("cannot write " + path());
    }
}

TemporaryFile::~TemporaryFile() {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
}

std::string TemporaryFile::content() const {
    return withPlainLineEnds(readFile(path_));
}

std::string readFile(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

}  // namespace test_support
