#include <windows.h>

#include "bare_socket.h"
#include "library.h"

namespace bench {

namespace {

HMODULE load(const std::string& path) {
    const HMODULE handle = LoadLibraryA(path.c_str());
    if (handle == nullptr) {
        failBenchmark(path.c_str(), static_cast<int32_t>(GetLastError()));
    }
    return handle;
}

void* find(HMODULE handle, const char* name) {
    void* const found = reinterpret_cast<void*>(GetProcAddress(handle, name));
    if (found == nullptr) {
        failBenchmark(name, static_cast<int32_t>(GetLastError()));
    }
    return found;
}

}  // namespace

SharedObject::SharedObject(const std::string& path) : handle_(load(path)) {}

void* SharedObject::function(const char* name) const {
    return find(static_cast<HMODULE>(handle_), name);
}

void loadAndUnload(const std::string& path, const char* firstCall) {
    const HMODULE handle = load(path);
    char* text = nullptr;
    reinterpret_cast<int32_t (*)(char**)>(find(handle, firstCall))(&text);
    FreeLibrary(handle);
}

}  // namespace bench
