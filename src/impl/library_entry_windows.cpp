// Load and unload of the DLL.
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include "impl/stapi_zul_impl.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) {
        stapi::libraryLoaded();
    } else if (reason == DLL_PROCESS_DETACH) {
        stapi::libraryUnloading();
    }
    return TRUE;
}
