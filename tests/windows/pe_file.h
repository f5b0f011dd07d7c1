// Reads the tables of a 64-bit Windows program or DLL from its file.
#ifndef ZULSTATS_TESTS_WINDOWS_PE_FILE_H
#define ZULSTATS_TESTS_WINDOWS_PE_FILE_H

#include <cstdint>
#include <string>
#include <vector>

namespace dll_test {

struct PeFile {
    uint16_t machine = 0;
    uint16_t dllCharacteristics = 0;
    std::vector<std::string> importedDlls;   // upper case, sorted
    std::vector<std::string> exportedNames;  // sorted
    uint32_t exportedFunctions = 0;          // named or not
};

// Throws std::runtime_error when the file cannot be read or is not such a file.
PeFile readPeFile(const std::string& path);

}  // namespace dll_test

#endif
