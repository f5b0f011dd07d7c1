// Every allocation of the library goes through one module, so that each can be made to fail in a test.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "source_files.h"

namespace rule_test {

namespace {

constexpr const char* kMemoryModule = "src/diag/heap_blocks.cpp";

const std::set<std::string>& allocators() {
    static const std::set<std::string> kNames = {
        "malloc",    "calloc",     "realloc", "reallocarray", "free",         "aligned_alloc", "posix_memalign",
        "memalign",  "valloc",     "alloca",  "strdup",       "strndup",      "asprintf",      "vasprintf",
        "HeapAlloc", "LocalAlloc", "getline", "getdelim",     "VirtualAlloc", "GlobalAlloc",   "open_memstream"};
    return kNames;
}

// What allocates behind its name, when it stands behind "std::".
const std::set<std::string>& allocatingTypes() {
    static const std::set<std::string> kNames = {
        "string",       "wstring",     "basic_string", "vector",   "deque",         "list",
        "map",          "multimap",    "set",          "multiset", "unordered_map", "unordered_set",
        "make_unique",  "make_shared", "function",     "thread",   "ostringstream", "istringstream",
        "stringstream", "regex",       "any",          "promise",  "async"};
    return kNames;
}

std::vector<std::string> allocationsIn(const SourceFile& file) {
    std::vector<std::string> places;
    for (const Identifier& each : identifiersOf(file)) {
        const bool isMember = each.before == "->" || (!each.before.empty() && each.before.back() == '.');
        const bool isAllocator = allocators().count(each.text) == 1 && !isMember;
        const bool isType = allocatingTypes().count(each.text) == 1 && each.before == "::";
        // A placement new makes no block; "= delete" is a declaration.
        const bool isNew = each.text == "new" && each.after != "(";
        const bool isDelete = each.text == "delete" && (each.before.empty() || each.before.back() != '=');
        if (isAllocator || isType || isNew || isDelete) {
            places.push_back(placeOf(file, each.line) + " " + each.text);
        }
    }
    return places;
}

TEST(AllocationRule, SeesEveryKindOfAllocation) {
    const SourceFile sample = {"sample.cpp",
                               "#include <new>  // malloc(1) in a comment\n"
                               "const char* text = \"malloc failed, free it with delete\";\n"
                               "void* a = malloc(1);\n"
                               "void* b = std::calloc(1, 1);\n"
                               "int* c = new int;\n"
                               "delete c;\n"
                               "std::string d;\n"
                               "std::vector<int> e;\n"
                               "auto f = std::make_unique<int>(1);\n"
                               "Type(const Type&) = delete;\n"
                               "auto* g = new (storage) Type;\n"
                               "table.free(a);\n"};
    EXPECT_EQ(allocationsIn(sample),
              (std::vector<std::string>{"sample.cpp:3 malloc", "sample.cpp:4 calloc", "sample.cpp:5 new",
                                        "sample.cpp:6 delete", "sample.cpp:7 string", "sample.cpp:8 vector",
                                        "sample.cpp:9 make_unique"}));
}

TEST(AllocationRule, TheLibraryAllocatesInItsMemoryModuleAlone) {
    bool moduleSeen = false;
    for (const SourceFile& file : sourcesBelow("src")) {
        const std::vector<std::string> places = allocationsIn(file);
        if (file.path == kMemoryModule) {
            moduleSeen = !places.empty();
        } else {
            EXPECT_EQ(places, std::vector<std::string>{});
        }
    }
    EXPECT_TRUE(moduleSeen) << kMemoryModule << " has no allocation, or is no longer there";
}

}  // namespace

}  // namespace rule_test
