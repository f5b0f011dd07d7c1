// A library loaded and unloaded by its file.
#ifndef ZULSTATS_TESTS_SOAK_LOADS_H
#define ZULSTATS_TESTS_SOAK_LOADS_H

#include <string>

namespace soak {

// Loads the file, calls its getStatsAPIVersion where that is asked for, and unloads it. Throws std::runtime_error.
void loadAndUnload(const std::string& file, bool call);

}  // namespace soak

#endif
