// What differs between the systems where a file is replaced. One file per system implements it.
#ifndef ZULSTATS_TOOLS_ZULSTAT_OUTPUT_FILE_H
#define ZULSTATS_TOOLS_ZULSTAT_OUTPUT_FILE_H

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace zulstat {

// The open descriptor that a name stands for, as /dev/stdout and /dev/fd/3 do; nothing for every other name.
std::optional<int> descriptorNamed(const std::filesystem::path& path);

// What went wrong, if anything did.
std::optional<std::string> writeToDescriptor(int descriptor, std::string_view text);

// A device, a pipe or a folder: nothing that a file could take the place of.
bool isNoOrdinaryFile(const std::filesystem::path& path);

// Makes a new file with the permissions of the other one, if that exists. What went wrong, if anything did.
std::optional<std::string> writeNewFile(const std::filesystem::path& path, std::string_view text,
                                        const std::filesystem::path& withPermissionsOf);

}  // namespace zulstat

#endif
