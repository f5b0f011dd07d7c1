// Who may include whom: nothing points upwards, and systems differ in src/platform alone.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "source_files.h"

namespace rule_test {

namespace {

using Names = std::set<std::string>;

// For each folder of src/, the folders whose headers it may use besides its own.
const std::map<std::string, Names>& allowedFolders() {
    static const std::map<std::string, Names> kAllowed = {
        {"api", {"gateway", "comms", "resultset", "impl", "diag"}},
        {"gateway", {"comms", "resultset", "diag", "platform"}},
        {"comms", {"wire", "resultset", "diag", "platform"}},
        {"impl", {"resultset", "diag", "platform"}},
        {"resultset", {"diag", "platform"}},
        {"diag", {"platform"}},
        {"wire", {}},
        {"platform", {}},
    };
    return kAllowed;
}

// What no folder rule allows, file by file.
const std::set<std::pair<std::string, std::string>>& exceptions() {
    static const std::set<std::pair<std::string, std::string>> kList = {
        // Start-up initialises the list of connections.
        {"src/impl/stapi_zul_impl.cpp", "gateway/stapi_zul_gwytok.h"},
    };
    return kList;
}

const Names& standardHeaders() {
    static const Names kHeaders = {
        "algorithm", "array",   "atomic",   "cerrno",  "cinttypes",   "climits",     "cstdarg",
        "cstddef",   "cstdint", "cstdio",   "cstdlib", "cstring",     "ctime",       "limits",
        "memory",    "new",     "optional", "utility", "type_traits", "string_view", "iterator",
    };
    return kHeaders;
}

// The one statement of codes and records, which every layer may include.
constexpr const char* kPublicHeader = "api/zulstats64.h";

std::string folderOf(const std::string& path) {
    const std::string inSource = path.substr(path.find('/') + 1);
    return inSource.substr(0, inSource.find('/'));
}

bool isPlatformFile(const std::string& path) {
    return path.rfind("src/platform/", 0) == 0;
}

bool isEntryFile(const std::string& path) {
    return path == "src/impl/library_entry_windows.cpp" || path == "src/impl/library_entry_posix.cpp";
}

std::vector<Inclusion> inclusionsBelow(const std::string& folder) {
    std::vector<Inclusion> all;
    for (const SourceFile& file : sourcesBelow(folder)) {
        const std::vector<Inclusion> ofFile = inclusionsOf(file);
        all.insert(all.end(), ofFile.begin(), ofFile.end());
    }
    return all;
}

std::string describe(const Inclusion& inclusion) {
    return inclusion.file + ":" + std::to_string(inclusion.line) + " includes " + inclusion.target;
}

TEST(IncludeRules, FindTheSourcesAndTheirInclusions) {
    EXPECT_GT(sourcesBelow("src").size(), 30U);
    const std::vector<Inclusion> all = inclusionsBelow("src");
    EXPECT_GT(all.size(), 100U);
    EXPECT_TRUE(std::any_of(all.begin(), all.end(), [](const Inclusion& each) {
        return each.file == "src/diag/stapi_zul_diag.cpp" && each.target == "diag/heap_blocks.h" && !each.isSystem;
    }));
}

TEST(IncludeRules, EveryFolderOfTheLibraryHasItsRule) {
    for (const SourceFile& file : sourcesBelow("src")) {
        EXPECT_EQ(allowedFolders().count(folderOf(file.path)), 1U) << file.path;
    }
}

TEST(IncludeRules, OwnHeadersAreNamedFromTheSourceFolder) {
    for (const Inclusion& each : inclusionsBelow("src")) {
        if (!each.isSystem) {
            EXPECT_NO_THROW(projectFile("src/" + each.target)) << describe(each);
        }
    }
}

TEST(IncludeRules, NothingOfTheLibraryPointsUpwards) {
    for (const Inclusion& each : inclusionsBelow("src")) {
        if (!each.isSystem) {
            const std::string from = folderOf(each.file);
            const std::string to = each.target.substr(0, each.target.find('/'));
            const bool allowed = from == to || each.target == kPublicHeader ||
                                 allowedFolders().at(from).count(to) == 1 ||
                                 exceptions().count({each.file, each.target}) == 1;
            EXPECT_TRUE(allowed) << describe(each);
        }
    }
}

TEST(IncludeRules, FoldersDoNotIncludeEachOtherInACircle) {
    std::map<std::string, Names> uses;
    for (const Inclusion& each : inclusionsBelow("src")) {
        if (!each.isSystem && each.target != kPublicHeader) {
            uses[folderOf(each.file)].insert(each.target.substr(0, each.target.find('/')));
        }
    }
    const auto usesNoneThatIsLeft = [&uses](const std::pair<const std::string, Names>& entry) {
        return std::all_of(entry.second.begin(), entry.second.end(), [&uses, &entry](const std::string& used) {
            return used == entry.first || uses.count(used) == 0;
        });
    };
    // Takes away, again and again, a folder that uses no other; what is left is a circle.
    auto folderToTake = std::find_if(uses.begin(), uses.end(), usesNoneThatIsLeft);
    while (folderToTake != uses.end()) {
        uses.erase(folderToTake);
        folderToTake = std::find_if(uses.begin(), uses.end(), usesNoneThatIsLeft);
    }
    for (const auto& [folder, used] : uses) {
        ADD_FAILURE() << folder << " is part of a circle";
    }
}

TEST(IncludeRules, SystemHeadersStandInThePlatformFolderAlone) {
    for (const Inclusion& each : inclusionsBelow("src")) {
        if (each.isSystem && !isPlatformFile(each.file) && !isEntryFile(each.file) &&
            each.file != "src/api/zulstats64.h") {
            EXPECT_EQ(standardHeaders().count(each.target), 1U) << describe(each);
        }
    }
}

TEST(IncludeRules, EntryFilesUseTheLoaderOfTheirSystemAlone) {
    for (const Inclusion& each : inclusionsBelow("src")) {
        if (each.isSystem && isEntryFile(each.file)) {
            EXPECT_EQ(each.file, "src/impl/library_entry_windows.cpp") << describe(each);
            EXPECT_EQ(each.target, "windows.h") << describe(each);
        }
    }
}

TEST(IncludeRules, PublicHeaderNeedsTheFixedWidthIntegersAlone) {
    std::vector<std::string> targets;
    for (const Inclusion& each : inclusionsOf({"src/api/zulstats64.h", projectFile("src/api/zulstats64.h")})) {
        targets.push_back(each.target);
    }
    EXPECT_EQ(targets, std::vector<std::string>{"stdint.h"});
}

TEST(IncludeRules, PlatformConditionsStandInThePlatformFolderAlone) {
    // The public header has to know how its reader's system imports; nothing else has to know a system.
    const Names conditions = {"_WIN32", "_WIN64", "__linux__", "__unix__", "__APPLE__", "__MINGW32__", "WIN32"};
    for (const SourceFile& file : sourcesBelow("src")) {
        if (!isPlatformFile(file.path) && file.path != "src/api/zulstats64.h") {
            for (const Identifier& each : identifiersOf(file)) {
                EXPECT_EQ(conditions.count(each.text), 0U) << placeOf(file, each.line) << " asks for " << each.text;
            }
        }
    }
}

TEST(IncludeRules, ProgramsUseThePublicHeaderAlone) {
    const std::vector<Inclusion> all = inclusionsBelow("tools");
    EXPECT_TRUE(std::any_of(all.begin(), all.end(), [](const Inclusion& each) {
        return each.target.find("zulstats64.h") != std::string::npos;
    }));
    for (const Inclusion& each : all) {
        for (const auto& [folder, used] : allowedFolders()) {
            EXPECT_NE(each.target.rfind(folder + "/", 0), 0U) << describe(each);
        }
        EXPECT_EQ(each.target.find("stapi_zul"), std::string::npos) << describe(each);
    }
}

TEST(IncludeRules, StandInDaemonUsesNothingOfTheLibrary) {
    for (const Inclusion& each : inclusionsBelow("sim")) {
        for (const SourceFile& header : sourcesBelow("src")) {
            const std::string name = header.path.substr(header.path.rfind('/') + 1);
            EXPECT_NE(each.target.substr(each.target.rfind('/') + 1), name) << describe(each);
        }
    }
}

}  // namespace

}  // namespace rule_test
