#include "source_tokens.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

namespace rule_test {

namespace {

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

bool isWordCharacter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') || isDigit(character) ||
           character == '_';
}

class Tokenizer {
  public:
    explicit Tokenizer(std::string_view source) : source_(source) {}

    Tokens run() {
        while (at_ < source_.size()) {
            readNext();
        }
        return std::move(tokens_);
    }

  private:
    bool startsWith(std::string_view text) const {
        return source_.substr(at_).starts_with(text);
    }

    void step(size_t count) {
        const std::string_view passed = source_.substr(at_, count);
        line_ += static_cast<int>(std::count(passed.begin(), passed.end(), '\n'));
        at_ += passed.size();
    }

    void stepBehind(std::string_view mark) {
        const size_t found = source_.find(mark, at_);
        step(found == std::string_view::npos ? source_.size() - at_ : found - at_ + mark.size());
    }

    void readNext() {
        const char character = source_[at_];
        const size_t joint = startsWith("\\\r\n") ? 3 : startsWith("\\\n") ? 2 : 0;
        if (joint != 0) {
            step(joint);
        } else if (character == '\n') {
            isAtLineStart_ = true;
            isInDirective_ = false;
            step(1);
        } else if (character == ' ' || character == '\t' || character == '\r') {
            step(1);
        } else if (startsWith("//")) {
            stepBefore('\n');
        } else if (startsWith("/*")) {
            step(2);
            stepBehind("*/");
        } else {
            isInDirective_ = isInDirective_ || (character == '#' && isAtLineStart_);
            isAtLineStart_ = false;
            readToken(character);
        }
    }

    void stepBefore(char end) {
        const size_t found = source_.find(end, at_);
        step(std::min(found, source_.size()) - at_);
    }

    void add(TokenKind kind, size_t start, size_t end, int line) {
        tokens_.push_back({kind, std::string(source_.substr(start, end - start)), line, isInDirective_});
    }

    void readToken(char character) {
        if (startsWith("R\"")) {
            readRawString();
        } else if (character == '"' || character == '\'') {
            readQuoted(character);
        } else if (character == '<' && isBehindInclude()) {
            readHeaderName();
        } else if (isWordCharacter(character)) {
            readWord();
        } else {
            add(TokenKind::mark, at_, at_ + 1, line_);
            step(1);
        }
    }

    bool isBehindInclude() const {
        return isInDirective_ && tokens_.size() >= 2 && tokens_.back().isWord("include") &&
               std::prev(tokens_.end(), 2)->isMark("#");
    }

    void readHeaderName() {
        step(1);
        const size_t start = at_;
        const int line = line_;
        stepBefore('>');
        add(TokenKind::headerName, start, at_, line);
        step(1);
    }

    void readRawString() {
        const int line = line_;
        const size_t bracket = std::min(source_.find('(', at_), source_.size());
        const std::string end = ")" + std::string(source_.substr(at_ + 2, bracket - at_ - 2)) + "\"";
        step(bracket + 1 - at_);
        const size_t start = at_;
        stepBehind(end);
        add(TokenKind::otherLiteral, start, std::max(start, at_ - std::min(at_, end.size())), line);
    }

    // A literal that its line does not close ends with it: such a quote stands in the free text of a directive.
    void readQuoted(char quote) {
        const int line = line_;
        step(1);
        const size_t start = at_;
        while (at_ < source_.size() && source_[at_] != quote && source_[at_] != '\n') {
            step(source_[at_] == '\\' ? 2 : 1);
        }
        add(quote == '"' ? TokenKind::string : TokenKind::otherLiteral, start, at_, line);
        if (at_ < source_.size() && source_[at_] == quote) {
            step(1);
        }
    }

    void readWord() {
        const size_t start = at_;
        const bool isNumber = isDigit(source_[at_]);
        while (at_ < source_.size() && (isWordCharacter(source_[at_]) || (isNumber && source_[at_] == '\''))) {
            ++at_;
        }
        add(TokenKind::word, start, at_, line_);
    }

    std::string_view source_;
    size_t at_ = 0;
    int line_ = 1;
    bool isAtLineStart_ = true;
    bool isInDirective_ = false;
    Tokens tokens_;
};

}  // namespace

Tokens tokensOf(std::string_view source) {
    return Tokenizer(source).run();
}

Tokens withoutDirectives(const Tokens& tokens) {
    Tokens code;
    std::copy_if(tokens.begin(), tokens.end(), std::back_inserter(code),
                 [](const Token& token) { return !token.isInDirective; });
    return code;
}

}  // namespace rule_test
