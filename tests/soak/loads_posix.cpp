#include <dlfcn.h>

#if __has_include(<sanitizer/lsan_interface.h>)
#include <sanitizer/lsan_interface.h>
#endif

#include <cstdint>
#include <stdexcept>

#include "loads.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define WITH_LEAK_SANITIZER 1
#endif
#endif

namespace soak {

namespace {

// What this thread allocates while it lives may stay behind: the name of a trace file that nobody has any more.
class LeavesTraceName {
  public:
#if defined(WITH_LEAK_SANITIZER)
    LeavesTraceName() {
        __lsan_disable();
    }
    ~LeavesTraceName() {
        __lsan_enable();
    }
#else
    LeavesTraceName() {}
    ~LeavesTraceName() {}
#endif
    LeavesTraceName(const LeavesTraceName&) = delete;
    LeavesTraceName& operator=(const LeavesTraceName&) = delete;
};

}  // namespace

void loadAndUnload(const std::string& file, bool call) {
    void* const library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        throw std::runtime_error(dlerror());
    }
    if (call) {
        const LeavesTraceName leaves;
        char* version = nullptr;
        const auto function = reinterpret_cast<int32_t (*)(char**)>(dlsym(library, "getStatsAPIVersion"));
        if (function == nullptr || function(&version) != 0) {
            throw std::runtime_error("the loaded library gives no version");
        }
    }
    dlclose(library);
}

}  // namespace soak
