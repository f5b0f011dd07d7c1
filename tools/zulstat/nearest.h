#ifndef ZULSTATS_TOOLS_ZULSTAT_NEAREST_H
#define ZULSTATS_TOOLS_ZULSTAT_NEAREST_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zulstat {

// The candidate that a user may have meant: with the fewest characters added, left out, changed or swapped, but not
// more than a third of them, rounded up. The first of several.
std::optional<std::string> findNearest(std::string_view text, const std::vector<std::string>& candidates);

// The shortest candidate that is longer than the text and begins with it, as when a user left out the end.
std::optional<std::string> findShortestBeginningWith(std::string_view text, const std::vector<std::string>& candidates);

}  // namespace zulstat

#endif
