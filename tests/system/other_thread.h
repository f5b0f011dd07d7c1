#ifndef ZULSTATS_TESTS_SYSTEM_OTHER_THREAD_H
#define ZULSTATS_TESTS_SYSTEM_OTHER_THREAD_H

#include <future>
#include <utility>

namespace system_test {

// Runs an action in a thread of its own, to its end, and gives its result.
template <typename Action>
auto inOtherThread(Action action) {
    return std::async(std::launch::async, std::move(action)).get();
}

}  // namespace system_test

#endif
