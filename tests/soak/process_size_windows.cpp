#define PSAPI_VERSION 2
// clang-format off
#include <windows.h>
#include <psapi.h>
// clang-format on

#include <stdexcept>

#include "process_size.h"

namespace soak {

ProcessSize processSize() {
    PROCESS_MEMORY_COUNTERS_EX counters = {};
    counters.cb = sizeof counters;
    if (GetProcessMemoryInfo(GetCurrentProcess(), reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&counters),
                             sizeof counters) == 0) {
        throw std::runtime_error("the system does not tell the process's memory");
    }
    DWORD handles = 0;
    GetProcessHandleCount(GetCurrentProcess(), &handles);
    return {static_cast<int64_t>(counters.WorkingSetSize), static_cast<int64_t>(counters.PrivateUsage),
            static_cast<int64_t>(handles)};
}

}  // namespace soak
