// The DLL as a file: what it imports, exports and says of itself.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include "pe_file.h"
#include "temporary_file.h"
#include "trace_text.h"

namespace {

using dll_test::PeFile;
using dll_test::readPeFile;

std::vector<std::string> expectedExports() {
    std::vector<std::string> names = test_support::splitLines(test_support::readFile(EXPORT_LIST));
    std::sort(names.begin(), names.end());
    return names;
}

// The version resource, kept as the system hands it out.
std::vector<char> versionResource() {
    DWORD ignored = 0;
    const DWORD size = GetFileVersionInfoSizeA(ZULSTATS64_DLL, &ignored);
    std::vector<char> resource(size);
    if (size == 0 || GetFileVersionInfoA(ZULSTATS64_DLL, 0, size, resource.data()) == 0) {
        resource.clear();
    }
    return resource;
}

std::string versionText(const std::vector<char>& resource, const std::string& name) {
    void* text = nullptr;
    UINT length = 0;
    const std::string query = "\\StringFileInfo\\040904B0\\" + name;
    const bool found = VerQueryValueA(resource.data(), query.c_str(), &text, &length) != 0 && length > 0;
    return found ? std::string(static_cast<const char*>(text)) : std::string("not found");
}

TEST(DllFile, IsMadeForX64) {
    EXPECT_EQ(readPeFile(ZULSTATS64_DLL).machine, 0x8664);
}

TEST(DllFile, ImportsTheKernelTheSocketsAndTheRuntimeLibraryOnly) {
    const std::vector<std::string> expected = {"KERNEL32.DLL", "MSVCRT.DLL", "WS2_32.DLL"};
    EXPECT_EQ(readPeFile(ZULSTATS64_DLL).importedDlls, expected);
}

TEST(DllFile, ExportsTheFunctionsOfTheListUnmangledAndNothingElse) {
    const PeFile file = readPeFile(ZULSTATS64_DLL);
    EXPECT_EQ(file.exportedNames, expectedExports());
    EXPECT_EQ(file.exportedFunctions, 23U);
}

TEST(DllFile, DefFileNamesTheDllAndEveryExport) {
    const std::vector<std::string> lines = test_support::splitLines(test_support::readFile(DEF_FILE));
    ASSERT_GE(lines.size(), 2U);
    EXPECT_EQ(lines[0], "LIBRARY ZULSTATS64");
    EXPECT_EQ(lines[1], "EXPORTS");
    std::vector<std::string> names;
    for (size_t index = 2; index < lines.size(); ++index) {
        names.push_back(lines[index].substr(lines[index].find_first_not_of(' ')));
    }
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, expectedExports());
}

TEST(DllFile, HasHighEntropyRandomisationDynamicBaseAndNoExecution) {
    const unsigned flags = readPeFile(ZULSTATS64_DLL).dllCharacteristics;
    EXPECT_NE(flags & IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA, 0U);
    EXPECT_NE(flags & IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE, 0U);
    EXPECT_NE(flags & IMAGE_DLLCHARACTERISTICS_NX_COMPAT, 0U);
}

TEST(DllFile, VersionResourceGivesProductVersionInNumbers) {
    const std::vector<char> resource = versionResource();
    ASSERT_FALSE(resource.empty());
    void* block = nullptr;
    UINT length = 0;
    ASSERT_NE(VerQueryValueA(resource.data(), "\\", &block, &length), 0);
    const auto* const info = static_cast<const VS_FIXEDFILEINFO*>(block);
    EXPECT_EQ(info->dwProductVersionMS, MAKELONG(1, 10));
    EXPECT_EQ(info->dwProductVersionLS, 0U);
    EXPECT_EQ(info->dwFileType, static_cast<DWORD>(VFT_DLL));
}

TEST(DllFile, VersionResourceGivesVersionsAndDescriptionAsText) {
    const std::vector<char> resource = versionResource();
    ASSERT_FALSE(resource.empty());
    EXPECT_EQ(versionText(resource, "ProductVersion"), "10.1.0.0");
    EXPECT_EQ(versionText(resource, "ApiVersion"), "1_1_0_1");
    EXPECT_EQ(versionText(resource, "OriginalFilename"), "ZULSTATS64.dll");
    EXPECT_EQ(versionText(resource, "FileDescription"),
              "Client library for the statistics of a Quillon Gateway daemon");
}

}  // namespace
