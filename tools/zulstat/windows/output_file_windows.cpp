#include "output_file.h"

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <cerrno>
#include <fstream>
#include <system_error>

namespace zulstat {

namespace fs = std::filesystem;

// No name of a file stands for a descriptor here.
std::optional<int> descriptorNamed(const fs::path&) {
    return std::nullopt;
}

std::optional<std::string> writeToDescriptor(int, std::string_view) {
    return std::generic_category().message(EBADF);
}

// Names of devices, as NUL, are known to the system alone.
bool isNoOrdinaryFile(const fs::path& path) {
    std::error_code error;
    if (fs::is_directory(path, error)) {
        return true;
    }
    constexpr DWORD kAnySharing = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const HANDLE file = CreateFileW(path.c_str(), 0, kAnySharing, nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return false;
    }
    const bool isOrdinary = GetFileType(file) == FILE_TYPE_DISK;
    CloseHandle(file);
    return !isOrdinary;
}

// A file takes the permissions of its folder.
std::optional<std::string> writeNewFile(const fs::path& path, const std::string_view text, const fs::path&) {
    errno = 0;
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(text.data(), static_cast<std::streamsize>(text.size()));
    file.close();
    return file ? std::nullopt : std::optional(std::generic_category().message(errno == 0 ? EIO : errno));
}

}  // namespace zulstat
