// Making text from a gateway safe to show: whatever it holds, it cannot move the cursor, break a line or hide itself.
#ifndef ZULSTATS_TOOLS_ZULSTAT_TEXT_ESCAPE_H
#define ZULSTATS_TOOLS_ZULSTAT_TEXT_ESCAPE_H

#include <cstddef>
#include <string>
#include <string_view>

namespace zulstat {

// Valid UTF-8 in which every control character, invisible or direction-changing character, byte that is not UTF-8, and
// backslash is written as an escape: \n \r \t \\, \x1B for a byte, \u202E or \U000E0041 for a
// character.
std::string escapeText(std::string_view text);

// The same between double quotes.
std::string quoteText(std::string_view text);

// How many columns of a terminal a valid UTF-8 text takes: two for a wide character, none for a combining one.
size_t displayWidth(std::string_view text);

// As much of a valid UTF-8 text as fits into that many columns, with a mark at its end when something is missing.
std::string cutToWidth(std::string_view text, size_t width);

// The bytes of the character of UTF-8 with which a text begins, or 1 when it begins with none; 0 for no text.
size_t lengthOfCharacter(std::string_view text);

}  // namespace zulstat

#endif
