#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "process_size.h"

namespace soak {

ProcessSize processSize() {
    std::ifstream statm("/proc/self/statm");
    int64_t total = 0;
    int64_t resident = 0;
    int64_t shared = 0;
    if (!(statm >> total >> resident >> shared)) {
        throw std::runtime_error("/proc/self/statm cannot be read");
    }
    const int64_t page = sysconf(_SC_PAGESIZE);
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return {resident * page, (resident - shared) * page, std::distance(begin(descriptors), end(descriptors))};
}

}  // namespace soak
