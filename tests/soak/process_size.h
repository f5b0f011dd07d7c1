// What this process takes up.
#ifndef ZULSTATS_TESTS_SOAK_PROCESS_SIZE_H
#define ZULSTATS_TESTS_SOAK_PROCESS_SIZE_H

#include <cstdint>

namespace soak {

struct ProcessSize {
    int64_t residentBytes;
    int64_t privateBytes;
    int64_t descriptors;  // of files and sockets, or all handles; 0 where the system does not tell
};

ProcessSize processSize();

}  // namespace soak

#endif
