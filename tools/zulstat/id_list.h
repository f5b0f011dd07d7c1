// Id lists as the gateway takes them: ids joined with ":".
#ifndef ZULSTATS_TOOLS_ZULSTAT_ID_LIST_H
#define ZULSTATS_TOOLS_ZULSTAT_ID_LIST_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zulstat {

// The longest list that one query takes.
inline constexpr size_t kLongestIdList = 32765;

// What is wrong with the ids, as a whole sentence; none when they can be asked for. `noun` names one, as in "group id".
std::optional<std::string> findIdFault(const std::vector<std::string>& ids, std::string_view noun);

// Without the second and later occurrences; the order is kept.
std::vector<std::string> withoutRepeats(const std::vector<std::string>& ids);

std::string joinIds(const std::vector<std::string>& ids);

// As few parts as possible, in order, each of which joins to at most `limit` characters.
std::vector<std::vector<std::string>> splitIds(const std::vector<std::string>& ids, size_t limit = kLongestIdList);

}  // namespace zulstat

#endif
