// The one list of exported functions, the public header and what the built library really exports.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "elf_image.h"
#include "source_files.h"
#include "temporary_file.h"
#include "trace_text.h"

namespace rule_test {

namespace {

std::vector<std::string> sorted(std::vector<std::string> names) {
    std::sort(names.begin(), names.end());
    return names;
}

// The 23 functions, in the words of the interface.
const std::vector<std::string>& interfaceFunctions() {
    static const std::vector<std::string> kNames = sorted({
        "getStatsAPIVersion",
        "getAPITraceLevel",
        "setAPITraceLevel",
        "setAPITraceFile",
        "dumpState",
        "openGatewayConnection",
        "openRemoteGatewayConnection",
        "closeGatewayConnection",
        "closeAllGatewayConnections",
        "getResourceGroupIds",
        "getStatIds",
        "getStatIdsByStatGroupId",
        "getStats",
        "getStatsByStatId",
        "getStatsByStatGroupId",
        "getFirstId",
        "getNextId",
        "getFirstStat",
        "getNextStat",
        "getIdQuery",
        "copyResultSet",
        "freeResultSet",
        "dumpResultSet",
    });
    return kNames;
}

std::vector<std::string> listedFunctions() {
    return test_support::splitLines(projectFile("src/api/zulstats64.exports"));
}

std::vector<Identifier> headerIdentifiers() {
    return identifiersOf({"src/api/zulstats64.h", projectFile("src/api/zulstats64.h")});
}

// What stands behind the export mark and the type of a return code.
std::vector<std::string> declaredFunctions() {
    const std::vector<Identifier> identifiers = headerIdentifiers();
    std::vector<std::string> names;
    for (size_t index = 0; index + 2 < identifiers.size(); ++index) {
        if (identifiers[index].text == "ZULSTATS64_API" && identifiers[index + 1].text == "int32_t" &&
            identifiers[index + 2].after == "(") {
            names.push_back(identifiers[index + 2].text);
        }
    }
    return names;
}

TEST(ExportList, NamesTheFunctionsOfTheInterface) {
    EXPECT_EQ(sorted(listedFunctions()), interfaceFunctions());
}

TEST(ExportList, IsSorted) {
    EXPECT_EQ(listedFunctions(), sorted(listedFunctions()));
}

TEST(ExportList, NamesWhatThePublicHeaderDeclares) {
    EXPECT_EQ(sorted(declaredFunctions()), sorted(listedFunctions()));
}

TEST(ExportList, PublicHeaderMarksNothingButThoseFunctions) {
    const std::vector<Identifier> identifiers = headerIdentifiers();
    const auto marks = std::count_if(identifiers.begin(), identifiers.end(),
                                     [](const Identifier& each) { return each.text == "ZULSTATS64_API"; });
    // The three definitions of the macro come on top.
    EXPECT_EQ(static_cast<size_t>(marks), declaredFunctions().size() + 3);
}

#if !defined(_WIN32)

ElfImage builtLibrary() {
    return readElfImage(test_support::readFile(BUILT_LIBRARY));
}

TEST(BuiltLibrary, ExportsExactlyTheListedFunctions) {
    EXPECT_EQ(builtLibrary().exportedFunctions, sorted(listedFunctions()));
}

TEST(BuiltLibrary, ExportsNoData) {
    EXPECT_EQ(builtLibrary().otherExports, std::vector<std::string>{});
}

TEST(BuiltLibrary, HasItsName) {
    EXPECT_EQ(builtLibrary().soname, "libzulstats64.so.1");
}

TEST(BuiltLibrary, IsHardened) {
    const ElfImage image = builtLibrary();
    EXPECT_FALSE(image.hasExecutableStack);
    EXPECT_TRUE(image.isProtectedAfterRelocation);
    EXPECT_TRUE(image.isBoundAtOnce);
#if defined(__x86_64__)
    EXPECT_TRUE(image.checksBranchTargets);
    EXPECT_TRUE(image.checksReturnAddresses);
#endif
}

// What a process can give away of it is little, and does not always come back when a library is unloaded.
TEST(BuiltLibrary, TakesNoThreadLocalStorage) {
    EXPECT_FALSE(builtLibrary().hasThreadLocalStorage);
}

#if defined(NDEBUG) && !defined(BUILT_WITH_SANITIZERS)
TEST(BuiltLibrary, ChecksItsStackAndTheSizesOfItsCopies) {
    const std::vector<std::string> imports = builtLibrary().imports;
    EXPECT_EQ(std::count(imports.begin(), imports.end(), "__stack_chk_fail"), 1);
    EXPECT_TRUE(std::any_of(imports.begin(), imports.end(),
                            [](const std::string& name) { return name.starts_with("__") && name.ends_with("_chk"); }));
}
#endif

// What a library may need besides the C library: the dynamic loader, which is part of it, and in a build with
// sanitizers their libraries and what those need.
bool isExpectedBesideTheCLibrary(const std::string& name) {
    std::vector<std::string> heads = {"ld-linux"};
#if defined(BUILT_WITH_SANITIZERS)
    heads.insert(heads.end(), {"libasan.", "libubsan.", "libtsan.", "liblsan.", "libm.", "libdl.", "libpthread.",
                               "librt.", "libgcc_s.", "libstdc++."});
#endif
    return std::any_of(heads.begin(), heads.end(),
                       [&name](const std::string& head) { return name.rfind(head, 0) == 0; });
}

TEST(BuiltLibrary, NeedsTheCLibraryAlone) {
    std::vector<std::string> needed = builtLibrary().neededLibraries;
    needed.erase(std::remove_if(needed.begin(), needed.end(), isExpectedBesideTheCLibrary), needed.end());
    EXPECT_EQ(needed, std::vector<std::string>{"libc.so.6"});
}

#endif

TEST(ElfImage, RefusesWhatIsNoLibrary) {
    EXPECT_THROW(readElfImage(""), std::runtime_error);
    EXPECT_THROW(readElfImage("MZ and something else"), std::runtime_error);
    EXPECT_THROW(readElfImage("\x7F"
                              "ELF\x02\x01 cut off"),
                 std::runtime_error);
}

}  // namespace

}  // namespace rule_test
