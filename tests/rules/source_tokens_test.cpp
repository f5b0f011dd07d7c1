// The tokenizer of the rules, on what is easily read wrongly.
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "source_files.h"
#include "source_tokens.h"

namespace rule_test {

namespace {

std::vector<std::string> textsOf(const Tokens& tokens) {
    std::vector<std::string> texts;
    for (const Token& token : tokens) {
        texts.push_back(token.text);
    }
    return texts;
}

using Texts = std::vector<std::string>;

TEST(SourceTokens, TellLiteralsFromWords) {
    const Tokens tokens = tokensOf("a(\"b \\\" c\", 'd', R\"x(e)\" f)x\", 1'000);");
    EXPECT_EQ(textsOf(tokens), (Texts{"a", "(", "b \\\" c", ",", "d", ",", "e)\" f", ",", "1'000", ")", ";"}));
    EXPECT_EQ(tokens[2].kind, TokenKind::string);
    EXPECT_EQ(tokens[4].kind, TokenKind::otherLiteral);
    EXPECT_EQ(tokens[6].kind, TokenKind::otherLiteral);
    EXPECT_EQ(tokens[8].kind, TokenKind::word);
}

TEST(SourceTokens, LeaveCommentsOut) {
    EXPECT_EQ(textsOf(tokensOf("a // b's\n/* c \"\n */ d")), (Texts{"a", "d"}));
}

TEST(SourceTokens, KnowTheirLines) {
    const Tokens tokens = tokensOf("a\n/*\n*/ b R\"(\n)\" c \\\n d");
    ASSERT_EQ(textsOf(tokens), (Texts{"a", "b", "\n", "c", "d"}));
    EXPECT_EQ(tokens[1].line, 3);
    EXPECT_EQ(tokens[2].line, 3);
    EXPECT_EQ(tokens[3].line, 4);
    EXPECT_EQ(tokens[4].line, 5);
}

TEST(SourceTokens, KnowTheDirectiveThatTheyStandIn) {
    const Tokens tokens = tokensOf(" # define A(b) \\\n c\nd # e");
    EXPECT_EQ(textsOf(withoutDirectives(tokens)), (Texts{"d", "#", "e"}));
    EXPECT_EQ(tokens.size(), 10U);
}

TEST(SourceTokens, EndAnUnclosedLiteralWithItsLine) {
    EXPECT_EQ(textsOf(withoutDirectives(tokensOf("#error it's wrong\na"))), Texts{"a"});
}

TEST(SourceTokens, TakeAHeaderNameForOneTokenBehindAnInclusionOnly) {
    EXPECT_EQ(textsOf(tokensOf("#include <sys/a.h>\nb<c>")), (Texts{"#", "include", "sys/a.h", "b", "<", "c", ">"}));
}

TEST(SourceTokens, GiveTheSourcesInclusions) {
    const std::vector<Inclusion> found =
        inclusionsOf({"a.cpp", "#include <new>\n // #include <b>\n#  include \"c/d.h\"\n"});
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].target, "new");
    EXPECT_TRUE(found[0].isSystem);
    EXPECT_EQ(found[1].target, "c/d.h");
    EXPECT_FALSE(found[1].isSystem);
    EXPECT_EQ(found[1].line, 3);
}

}  // namespace

}  // namespace rule_test
