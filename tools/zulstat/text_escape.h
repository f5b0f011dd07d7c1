// Making text from a gateway safe to show: whatever it holds, it cannot move the cursor, break a line or hide itself.
#ifndef ZULSTATS_TOOLS_ZULSTAT_TEXT_ESCAPE_H
#define ZULSTATS_TOOLS_ZULSTAT_TEXT_ESCAPE_H

#include <cstddef>
#include <string>
#include <string_view>

namespace zulstat {

// Valid UTF-8 in which every control character, invisible or direction-changing character, byte that is not UTF-8, and
// backslash is written as an escape: \n \r \t \\, \x1B for a byte, \u202E for a character.
std::string escapeText(std::string_view text);

// The same between double quotes.
std::string quoteText(std::string_view text);

// How many code points a valid UTF-8 text has.
size_t countCodePoints(std::string_view text);

}  // namespace zulstat

#endif
