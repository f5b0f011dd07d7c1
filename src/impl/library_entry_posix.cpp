// Load and unload of the shared library.
#include "impl/stapi_zul_impl.h"

namespace {

__attribute__((constructor)) void onLoad() {
    stapi::libraryLoaded();
}

__attribute__((destructor)) void onUnload() {
    stapi::libraryUnloading();
}

}  // namespace
