#include "temporary_file.h"

#include <fstream>
#include <random>
#include <system_error>

namespace sim_test {

namespace {

std::string uniqueName() {
    std::random_device device;
    return "gatewaysim-test-" + std::to_string(device()) + "-" + std::to_string(device()) + ".json";
}

}  // namespace

TemporaryFile::TemporaryFile(std::string_view content) : path_(std::filesystem::temp_directory_path() / uniqueName()) {
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

}  // namespace sim_test
