// What a 64-bit little-endian ELF shared library exports and asks for.
#ifndef ZULSTATS_TESTS_RULES_ELF_IMAGE_H
#define ZULSTATS_TESTS_RULES_ELF_IMAGE_H

#include <string>
#include <vector>

namespace rule_test {

struct ElfImage {
    std::vector<std::string> exportedFunctions;  // sorted
    std::vector<std::string> otherExports;       // data and the like; version names left out
    std::vector<std::string> neededLibraries;
    std::string soname;
    std::vector<std::string> imports;  // what it asks other libraries for
    bool hasExecutableStack = true;
    bool isProtectedAfterRelocation = false;
    bool isBoundAtOnce = false;
    bool hasThreadLocalStorage = false;
    bool checksBranchTargets = false;    // indirect branch tracking
    bool checksReturnAddresses = false;  // shadow stack
};

// Throws std::runtime_error when the bytes are not such a library.
ElfImage readElfImage(const std::string& bytes);

}  // namespace rule_test

#endif
