// The words of a C or C++ text, for rules that no compiler knows: one tokenizer for all of them.
#ifndef ZULSTATS_TESTS_RULES_SOURCE_TOKENS_H
#define ZULSTATS_TESTS_RULES_SOURCE_TOKENS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace rule_test {

enum class TokenKind : uint8_t {
    word,          // an identifier, a keyword or a number
    string,        // a plain string literal; the text is what stands between its quotes
    otherLiteral,  // a raw string or a character; the text is the literal's inside
    headerName,    // what an inclusion names in angle brackets
    mark,          // one character of anything else
};

struct Token {
    TokenKind kind = TokenKind::mark;
    std::string text;
    int line = 0;
    bool isInDirective = false;  // of the preprocessor, its "#" included

    bool isWord(std::string_view word) const {
        return kind == TokenKind::word && text == word;
    }
    bool isMark(std::string_view mark) const {
        return kind == TokenKind::mark && text == mark;
    }
};

using Tokens = std::vector<Token>;

// All tokens of a text, in order. Blanks and comments yield nothing.
Tokens tokensOf(std::string_view source);

// The tokens that the preprocessor leaves to the compiler.
Tokens withoutDirectives(const Tokens& tokens);

}  // namespace rule_test

#endif
