// The dialect in which all sources are written, as far as clang-tidy's identifier naming does not hold it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <set>
#include <string>
#include <vector>

#include "source_files.h"
#include "source_tokens.h"

namespace rule_test {

namespace {

// The guard of a header: its path without a leading "src/", in upper case. The public header's users know its name.
std::string guardOf(const std::string& path) {
    if (path == "src/api/zulstats64.h") {
        return "ZULSTATS64_H";
    }
    std::string guard = "ZULSTATS_" + (path.starts_with("src/") ? path.substr(4) : path);
    std::transform(guard.begin(), guard.end(), guard.begin(), [](unsigned char character) {
        return std::isalnum(character) != 0 ? static_cast<char>(std::toupper(character)) : '_';
    });
    return guard;
}

bool hasDirectiveAt(const Tokens& tokens, size_t start, const std::vector<std::string>& words) {
    bool fits = start + words.size() < tokens.size() && tokens[start].isInDirective && tokens[start].isMark("#");
    for (size_t index = 0; fits && index < words.size(); ++index) {
        fits = tokens[start + 1 + index].isWord(words[index]);
    }
    return fits;
}

// How deep conditions are nested behind each token; the guard's own condition is the first level.
bool isClosedByTheLastDirectiveAlone(const Tokens& tokens) {
    int depth = 0;
    for (size_t index = 0; index + 1 < tokens.size(); ++index) {
        if (tokens[index].isInDirective && tokens[index].isMark("#")) {
            const std::string& directive = tokens[index + 1].text;
            depth += directive.starts_with("if") ? 1 : 0;
            depth -= directive == "endif" ? 1 : 0;
            const bool isLast = index + 2 == tokens.size();
            if ((depth == 0) != isLast) {
                return false;
            }
        }
    }
    return depth == 0;
}

// What is wrong with a header's guard, or nothing.
std::string faultOfGuard(const SourceFile& header) {
    const Tokens tokens = tokensOf(header.text);
    const std::string guard = guardOf(header.path);
    if (!hasDirectiveAt(tokens, 0, {"ifndef", guard}) || !hasDirectiveAt(tokens, 3, {"define", guard})) {
        return header.path + " does not begin with #ifndef and #define of " + guard;
    }
    if (!isClosedByTheLastDirectiveAlone(tokens)) {
        return header.path + " does not end with the #endif of its guard";
    }
    return "";
}

// Where a source has the pragma that stands for a guard elsewhere.
std::vector<std::string> pragmasOnce(const SourceFile& file) {
    std::vector<std::string> places;
    const Tokens tokens = tokensOf(file.text);
    for (size_t index = 0; index < tokens.size(); ++index) {
        if (hasDirectiveAt(tokens, index, {"pragma", "once"})) {
            places.push_back(placeOf(file, tokens[index].line));
        }
    }
    return places;
}

bool isUnqualifiedType(const std::string& word) {
    static const std::set<std::string> kOthers = {"size_t",    "ptrdiff_t", "intptr_t",
                                                  "uintptr_t", "intmax_t",  "uintmax_t"};
    const bool isInteger = word.starts_with("int") || word.starts_with("uint");
    const bool hasWidth = word.find_first_of("1368") != std::string::npos && word.ends_with("_t");
    return kOthers.contains(word) || (isInteger && hasWidth);
}

// Where a source writes std:: before a fixed-width type or size_t.
std::vector<std::string> qualifiedTypes(const SourceFile& file) {
    std::vector<std::string> places;
    const Tokens tokens = tokensOf(file.text);
    for (size_t index = 0; index + 3 < tokens.size(); ++index) {
        const bool isStandard =
            tokens[index].isWord("std") && tokens[index + 1].isMark(":") && tokens[index + 2].isMark(":");
        if (isStandard && isUnqualifiedType(tokens[index + 3].text)) {
            places.push_back(placeOf(file, tokens[index].line) + " std::" + tokens[index + 3].text);
        }
    }
    return places;
}

using Places = std::vector<std::string>;

TEST(DialectRules, EveryHeaderHasAGuardOfItsPath) {
    size_t headers = 0;
    for (const SourceFile& file : allSources()) {
        if (file.isHeader()) {
            ++headers;
            EXPECT_EQ(faultOfGuard(file), "");
        }
    }
    EXPECT_GT(headers, 80U);
}

TEST(DialectRules, NoPragmaStandsForAGuard) {
    for (const SourceFile& file : allSources()) {
        EXPECT_EQ(pragmasOnce(file), Places{});
    }
}

TEST(DialectRules, FixedWidthTypesAreNotQualified) {
    for (const SourceFile& file : allSources()) {
        EXPECT_EQ(qualifiedTypes(file), Places{});
    }
}

TEST(DialectScanner, NamesAGuardAfterThePathBelowTheSourceFolder) {
    EXPECT_EQ(guardOf("src/diag/text_format.h"), "ZULSTATS_DIAG_TEXT_FORMAT_H");
    EXPECT_EQ(guardOf("tests/wire/exchange.h"), "ZULSTATS_TESTS_WIRE_EXCHANGE_H");
    EXPECT_EQ(guardOf("src/api/zulstats64.h"), "ZULSTATS64_H");
}

struct GuardCase {
    const char* name;
    const char* text;
    bool isAccepted;
};

class Guards : public testing::TestWithParam<GuardCase> {};

TEST_P(Guards, AreAcceptedOrRefused) {
    EXPECT_EQ(faultOfGuard({"sim/a.h", GetParam().text}).empty(), GetParam().isAccepted) << GetParam().text;
}

constexpr GuardCase kGuardCases[] = {
    {"Whole", "// What it is.\n#ifndef ZULSTATS_SIM_A_H\n#define ZULSTATS_SIM_A_H\nint a;\n#endif\n", true},
    {"WithAConditionInside",
     "#ifndef ZULSTATS_SIM_A_H\n#define ZULSTATS_SIM_A_H\n#ifdef B\nint a;\n#else\nint b;\n#endif\n#endif\n", true},
    {"OfAnotherPath", "#ifndef ZULSTATS_SIM_B_H\n#define ZULSTATS_SIM_B_H\n#endif\n", false},
    {"DefinedUnderAnotherName", "#ifndef ZULSTATS_SIM_A_H\n#define ZULSTATS_SIM_AH\n#endif\n", false},
    {"BehindCode", "int a;\n#ifndef ZULSTATS_SIM_A_H\n#define ZULSTATS_SIM_A_H\n#endif\n", false},
    {"BeforeCode", "#ifndef ZULSTATS_SIM_A_H\n#define ZULSTATS_SIM_A_H\n#endif\nint a;\n", false},
    {"ClosedTooEarly", "#ifndef ZULSTATS_SIM_A_H\n#define ZULSTATS_SIM_A_H\n#endif\n#ifdef B\n#endif\n", false},
    {"NotClosed", "#ifndef ZULSTATS_SIM_A_H\n#define ZULSTATS_SIM_A_H\n#ifdef B\n#endif\n", false},
    {"Missing", "#pragma once\nint a;\n", false},
};

INSTANTIATE_TEST_SUITE_P(DialectScanner, Guards, testing::ValuesIn(kGuardCases),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST(DialectScanner, FindsPragmasButNotTheirMention) {
    const SourceFile file = {"a.h", "// #pragma once\nint a;\n  #  pragma once\n#pragma pack\n"};
    EXPECT_EQ(pragmasOnce(file), Places{"a.h:3"});
}

TEST(DialectScanner, FindsQualifiedTypesInCodeAndMacros) {
    const SourceFile file = {
        "a.cpp",
        "#define A std::size_t\nstd :: uint8_t b; // std::int8_t\nconst char* c = \"std::int8_t\";\n"
        "std::int_least64_t d; std::string e; std::integral_constant<int32_t, 1> f;\n"};
    EXPECT_EQ(qualifiedTypes(file),
              (Places{"a.cpp:1 std::size_t", "a.cpp:2 std::uint8_t", "a.cpp:4 std::int_least64_t"}));
}

}  // namespace

}  // namespace rule_test
