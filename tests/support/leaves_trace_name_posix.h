// For tests that load further instances of the library.
#ifndef ZULSTATS_TESTS_SUPPORT_LEAVES_TRACE_NAME_POSIX_H
#define ZULSTATS_TESTS_SUPPORT_LEAVES_TRACE_NAME_POSIX_H

#if defined(__SANITIZE_ADDRESS__)
#define WITH_LEAK_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define WITH_LEAK_SANITIZER 1
#endif
#endif
#if defined(WITH_LEAK_SANITIZER)
#include <sanitizer/lsan_interface.h>
#endif

namespace test_support {

// While it lives, what this thread allocates may stay behind: an instance that was used leaves the name of its trace
// destination to the end of the process.
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

}  // namespace test_support

#endif
