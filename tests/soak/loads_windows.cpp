#include <windows.h>

#include <cstdint>
#include <stdexcept>

#include "loads.h"

namespace soak {

void loadAndUnload(const std::string& file, bool call) {
    const HMODULE library = LoadLibraryA(file.c_str());
    if (library == nullptr) {
        throw std::runtime_error("the library cannot be loaded: " + std::to_string(GetLastError()));
    }
    if (call) {
        char* version = nullptr;
        const auto function = reinterpret_cast<int32_t (*)(char**)>(
            reinterpret_cast<void*>(GetProcAddress(library, "getStatsAPIVersion")));
        if (function == nullptr || function(&version) != 0) {
            throw std::runtime_error("the loaded library gives no version");
        }
    }
    FreeLibrary(library);
}

}  // namespace soak
