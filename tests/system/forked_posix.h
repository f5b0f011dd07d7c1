#ifndef ZULSTATS_TESTS_SYSTEM_FORKED_POSIX_H
#define ZULSTATS_TESTS_SYSTEM_FORKED_POSIX_H

#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <vector>

namespace system_test {

// Runs an action in a forked child and brings the codes that it gives back. The child ends without running anything of
// this process's own end.
template <typename Action>
std::vector<int32_t> inForkedChild(Action action) {
    int ends[2];
    if (::pipe(ends) != 0) {
        throw std::runtime_error("cannot create a pipe");
    }
    const pid_t child = ::fork();
    if (child == 0) {
        const std::vector<int32_t> codes = action();
        const auto size = static_cast<ssize_t>(codes.size() * sizeof(int32_t));
        ::_exit(::write(ends[1], codes.data(), static_cast<size_t>(size)) == size ? 0 : 1);
    }
    ::close(ends[1]);
    std::vector<int32_t> codes;
    int32_t code = 0;
    while (::read(ends[0], &code, sizeof code) == sizeof code) {
        codes.push_back(code);
    }
    ::close(ends[0]);
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error("the forked child did not end as it should");
    }
    return codes;
}

}  // namespace system_test

#endif
