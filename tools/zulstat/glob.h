#ifndef ZULSTATS_TOOLS_ZULSTAT_GLOB_H
#define ZULSTATS_TOOLS_ZULSTAT_GLOB_H

#include <string>
#include <string_view>
#include <vector>

namespace zulstat {

// Whether a whole text fits a pattern: "*" stands for any bytes, "?" for one character of UTF-8 (or one byte that is
// none), "[a-z]" and "[!a-z]" for one byte among those named or not, and "\" takes the next character as it is.
bool matchesGlob(std::string_view text, std::string_view pattern);

// Whether a text fits some pattern, or there is none, and fits no pattern that begins with "!".
bool isSelected(std::string_view text, const std::vector<std::string>& patterns);

}  // namespace zulstat

#endif
