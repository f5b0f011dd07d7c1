#include "id_list.h"

#include <unordered_set>

#include "text_escape.h"

namespace zulstat {
namespace {

constexpr char kSeparator = ':';

}  // namespace

std::optional<std::string> findIdFault(const std::vector<std::string>& ids, const std::string_view noun) {
    const std::string name(noun);
    for (const std::string& id : ids) {
        if (id.empty()) {
            return "a " + name + " must not be empty.";
        }
        if (id.find(kSeparator) != std::string::npos) {
            return "the " + name + " " + quoteText(id) +
                   " contains \":\", which separates the ids of a list. Give several ids as arguments of their own.";
        }
        if (id.size() > kLongestIdList) {
            return "a " + name + " of " + std::to_string(id.size()) + " characters is too long: at most " +
                   std::to_string(kLongestIdList) + " are possible.";
        }
    }
    return std::nullopt;
}

std::vector<std::string> withoutRepeats(const std::vector<std::string>& ids) {
    std::unordered_set<std::string_view> seen;
    std::vector<std::string> kept;
    for (const std::string& id : ids) {
        if (seen.insert(id).second) {
            kept.push_back(id);
        }
    }
    return kept;
}

std::string joinIds(const std::vector<std::string>& ids) {
    std::string list;
    for (const std::string& id : ids) {
        if (&id != &ids.front()) {
            list += kSeparator;
        }
        list += id;
    }
    return list;
}

std::vector<std::vector<std::string>> splitIds(const std::vector<std::string>& ids, const size_t limit) {
    std::vector<std::vector<std::string>> parts;
    size_t length = 0;
    for (const std::string& id : ids) {
        if (parts.empty() || length + 1 + id.size() > limit) {
            parts.emplace_back();
            length = id.size();
        } else {
            length += 1 + id.size();
        }
        parts.back().push_back(id);
    }
    return parts;
}

}  // namespace zulstat
