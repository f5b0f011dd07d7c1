// Starting programs under Wine.
#ifndef ZULSTATS_TESTS_SUPPORT_CREATE_PROCESS_WINDOWS_H
#define ZULSTATS_TESTS_SUPPORT_CREATE_PROCESS_WINDOWS_H

#include <windows.h>

namespace test_support {

// Makes a call of CreateProcess; false, with the last error set, when it fails. While many programs start and end, Wine
// now and then fails with an internal error, and the same call made again succeeds.
template <typename Create>
bool createProcessAtLast(const Create& create) {
    constexpr int kMostAttempts = 5;
    bool created = create() != 0;
    for (int attempt = 1; attempt < kMostAttempts && !created && GetLastError() == ERROR_INTERNAL_ERROR; ++attempt) {
        created = create() != 0;
    }
    return created;
}

}  // namespace test_support

#endif
