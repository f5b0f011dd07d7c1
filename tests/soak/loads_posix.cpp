#include <dlfcn.h>

#include <cstdint>
#include <stdexcept>

#include "leaves_trace_name_posix.h"
#include "loads.h"

namespace soak {

void loadAndUnload(const std::string& file, bool call) {
    void* const library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        throw std::runtime_error(dlerror());
    }
    if (call) {
        const test_support::LeavesTraceName leaves;
        char* version = nullptr;
        const auto function = reinterpret_cast<int32_t (*)(char**)>(dlsym(library, "getStatsAPIVersion"));
        if (function == nullptr || function(&version) != 0) {
            throw std::runtime_error("the loaded library gives no version");
        }
    }
    dlclose(library);
}

}  // namespace soak
