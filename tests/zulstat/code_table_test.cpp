#include "code_table.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>

namespace {

using zulstat::CodeEntry;
using zulstat::codeTable;
using zulstat::findCode;

std::map<std::string, int32_t> codesOfHeader() {
    const std::ifstream file(PUBLIC_HEADER);
    std::ostringstream text;
    text << file.rdbuf();
    const std::string header = text.str();
    const std::regex definition("\\b(STAPI_RC_[A-Z_0-9]+)\\s*=\\s*(-?[0-9]+)");
    std::map<std::string, int32_t> codes;
    for (std::sregex_iterator match(header.begin(), header.end(), definition), end; match != end; ++match) {
        codes[(*match)[1]] = std::stoi((*match)[2]);
    }
    return codes;
}

std::map<std::string, int32_t> codesOfTable() {
    std::map<std::string, int32_t> codes;
    for (const CodeEntry& entry : codeTable()) {
        codes[std::string(entry.name)] = entry.code;
    }
    return codes;
}

TEST(CodeTable, HasEveryCodeOfTheHeaderAndNoOther) {
    const auto expected = codesOfHeader();
    ASSERT_GT(expected.size(), 30U) << "not read: " << PUBLIC_HEADER;
    EXPECT_EQ(codesOfTable(), expected);
}

TEST(CodeTable, HasEveryCodeOnce) {
    std::set<int32_t> codes;
    for (const CodeEntry& entry : codeTable()) {
        EXPECT_TRUE(codes.insert(entry.code).second) << entry.name;
    }
}

TEST(CodeTable, SaysOfEveryFailureWhatItMeansAndWhatToDo) {
    for (const CodeEntry& entry : codeTable()) {
        EXPECT_FALSE(entry.meaning.empty()) << entry.name;
        EXPECT_NE(entry.meaning.back(), '.') << entry.name;
        if (entry.code != 0) {
            ASSERT_FALSE(entry.advice.empty()) << entry.name;
            EXPECT_TRUE(entry.advice.back() == '.' || entry.advice.back() == '?') << entry.name;
        }
    }
}

TEST(CodeTable, FindsACodeByItsNumber) {
    ASSERT_NE(findCode(-135), nullptr);
    EXPECT_EQ(findCode(-135)->name, "STAPI_RC_CONNECT_REFUSED");
}

TEST(CodeTable, KnowsNothingOfOtherNumbers) {
    EXPECT_EQ(findCode(-112), nullptr);
    EXPECT_EQ(findCode(2), nullptr);
}

}  // namespace
