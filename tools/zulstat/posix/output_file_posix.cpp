#include "output_file.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <system_error>

namespace zulstat {
namespace {

namespace fs = std::filesystem;

std::string whyNot() {
    return std::generic_category().message(errno);
}

void awaitRoom(const int descriptor) {
    pollfd wait{descriptor, POLLOUT, 0};
    ::poll(&wait, 1, -1);
}

}  // namespace

std::optional<int> descriptorNamed(const fs::path& path) {
    std::error_code error;
    const fs::path folder = fs::canonical(path.parent_path(), error);
    if (error || folder != fs::canonical("/dev/fd", error)) {
        return std::nullopt;
    }
    const std::string name = path.filename().string();
    int descriptor = 0;
    const auto read = std::from_chars(name.data(), name.data() + name.size(), descriptor);
    const bool isNumber = read.ec == std::errc() && read.ptr == name.data() + name.size() && descriptor >= 0;
    return isNumber ? std::optional(descriptor) : std::nullopt;
}

std::optional<std::string> writeToDescriptor(const int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = ::write(descriptor, text.data(), text.size());
        if (count >= 0) {
            text.remove_prefix(static_cast<size_t>(count));
        } else if (errno == EAGAIN) {
            awaitRoom(descriptor);
        } else if (errno != EINTR) {
            return whyNot();
        }
    }
    return std::nullopt;
}

bool isNoOrdinaryFile(const fs::path& path) {
    std::error_code error;
    return fs::exists(path, error) && !fs::is_regular_file(path, error);
}

std::optional<std::string> writeNewFile(const fs::path& path, const std::string_view text,
                                        const fs::path& withPermissionsOf) {
    constexpr mode_t kNobodyElse = 0600;
    constexpr mode_t kWhatTheUserAllows = 0666;
    constexpr mode_t kAllPermissions = 07777;
    struct stat other {};
    const bool hasOther = ::stat(withPermissionsOf.c_str(), &other) == 0;
    const int file =
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, hasOther ? kNobodyElse : kWhatTheUserAllows);
    if (file < 0) {
        return whyNot();
    }
    std::optional<std::string> fault;
    if (hasOther && ::fchmod(file, other.st_mode & kAllPermissions) != 0) {
        fault = whyNot();
    }
    if (!fault) {
        fault = writeToDescriptor(file, text);
    }
    if (::close(file) != 0 && !fault) {
        fault = whyNot();
    }
    return fault;
}

}  // namespace zulstat
