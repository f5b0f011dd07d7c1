#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>

#include "library.h"

namespace bench {

namespace {

[[noreturn]] void failLoading() {
    std::fprintf(stderr, "benchmark: %s\n", dlerror());
    std::exit(1);
}

void* load(const std::string& path) {
    void* const handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        failLoading();
    }
    return handle;
}

void* find(void* handle, const char* name) {
    void* const found = dlsym(handle, name);
    if (found == nullptr) {
        failLoading();
    }
    return found;
}

}  // namespace

SharedObject::SharedObject(const std::string& path) : handle_(load(path)) {}

void* SharedObject::function(const char* name) const {
    return find(handle_, name);
}

void loadAndUnload(const std::string& path, const char* firstCall) {
    void* const handle = load(path);
    char* text = nullptr;
    reinterpret_cast<int32_t (*)(char**)>(find(handle, firstCall))(&text);
    dlclose(handle);
}

}  // namespace bench
