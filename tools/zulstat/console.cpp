#include "console.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace zulstat {

bool standardOutputTakesColour() {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing changes a variable of the environment.
    const char* const noColour = std::getenv("NO_COLOR");
    const bool isUnwanted = noColour != nullptr && *noColour != '\0';
    return !isUnwanted && standardOutputIsColourTerminal();
}

WriteOutcome writeAllOutput(const std::string_view text) {
    errno = 0;
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
        const int error = errno == 0 ? EIO : errno;
        return {error, isReaderGone(error)};
    }
    if (std::fclose(stdout) != 0) {
        return {errno == 0 ? EIO : errno, false};
    }
    return {};
}

void endProcess(const int exitCode) {
    std::fflush(stderr);
    std::_Exit(exitCode);
}

}  // namespace zulstat
