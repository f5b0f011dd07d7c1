#include "glob.h"

#include <algorithm>
#include <cstddef>
#include <optional>

#include "text_escape.h"

namespace zulstat {
namespace {

struct SetMatch {
    bool fits;
    size_t length;  // of the set in the pattern
};

// `pattern` begins behind "[". Nothing when the set has no end: then the bracket stands for itself.
std::optional<SetMatch> matchSet(const std::string_view pattern, const unsigned char byte) {
    const bool isNegated = !pattern.empty() && (pattern[0] == '!' || pattern[0] == '^');
    size_t position = isNegated ? 1 : 0;
    const size_t first = position;
    bool fits = false;
    while (position < pattern.size() && (pattern[position] != ']' || position == first)) {
        const auto low = static_cast<unsigned char>(pattern[position]);
        const bool isRange =
            position + 2 < pattern.size() && pattern[position + 1] == '-' && pattern[position + 2] != ']';
        const auto high = isRange ? static_cast<unsigned char>(pattern[position + 2]) : low;
        fits = fits || (byte >= low && byte <= high);
        position += isRange ? 3 : 1;
    }
    if (position >= pattern.size()) {
        return std::nullopt;
    }
    return SetMatch{fits != isNegated, position + 1};
}

struct Step {
    size_t ofPattern = 0;
    size_t ofText = 0;  // 0: does not fit
};

// One step of pattern that is no "*" against the start of a text that is not empty.
Step matchOne(const std::string_view text, const std::string_view pattern) {
    if (pattern[0] == '?') {
        return {1, lengthOfCharacter(text)};
    }
    if (pattern[0] == '[') {
        if (const auto set = matchSet(pattern.substr(1), static_cast<unsigned char>(text[0]))) {
            return {set->length + 1, set->fits ? 1U : 0U};
        }
    }
    const bool isEscaped = pattern[0] == '\\' && pattern.size() > 1;
    const char wanted = pattern[isEscaped ? 1 : 0];
    return {isEscaped ? 2U : 1U, text[0] == wanted ? 1U : 0U};
}

}  // namespace

bool matchesGlob(std::string_view text, std::string_view pattern) {
    // Where to go on when what follows the last "*" does not fit.
    std::string_view textAtStar;
    std::string_view patternAtStar;
    bool hasStar = false;
    while (true) {
        if (!pattern.empty() && pattern[0] == '*') {
            pattern.remove_prefix(1);
            hasStar = true;
            textAtStar = text;
            patternAtStar = pattern;
            continue;
        }
        if (text.empty() && pattern.empty()) {
            return true;
        }
        const Step step = text.empty() || pattern.empty() ? Step{} : matchOne(text, pattern);
        if (step.ofText > 0) {
            text.remove_prefix(step.ofText);
            pattern.remove_prefix(step.ofPattern);
        } else if (hasStar && !textAtStar.empty()) {
            textAtStar.remove_prefix(1);
            text = textAtStar;
            pattern = patternAtStar;
        } else {
            return false;
        }
    }
}

bool isSelected(const std::string_view text, const std::vector<std::string>& patterns) {
    bool isWanted = false;
    bool hasWantedPattern = false;
    for (const std::string_view pattern : patterns) {
        if (pattern.starts_with('!')) {
            if (matchesGlob(text, pattern.substr(1))) {
                return false;
            }
        } else {
            hasWantedPattern = true;
            isWanted = isWanted || matchesGlob(text, pattern);
        }
    }
    return isWanted || !hasWantedPattern;
}

}  // namespace zulstat
