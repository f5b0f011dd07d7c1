#include "nearest.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>

namespace zulstat {
namespace {

size_t distanceBetween(const std::string_view left, const std::string_view right) {
    std::vector<size_t> beforeLast;
    std::vector<size_t> last(right.size() + 1);
    std::vector<size_t> current(right.size() + 1);
    for (size_t column = 0; column <= right.size(); ++column) {
        last[column] = column;
    }
    for (size_t row = 1; row <= left.size(); ++row) {
        current[0] = row;
        for (size_t column = 1; column <= right.size(); ++column) {
            const size_t change = left[row - 1] == right[column - 1] ? 0 : 1;
            current[column] = std::min({last[column] + 1, current[column - 1] + 1, last[column - 1] + change});
            if (row > 1 && column > 1 && left[row - 1] == right[column - 2] && left[row - 2] == right[column - 1]) {
                current[column] = std::min(current[column], beforeLast[column - 2] + 1);
            }
        }
        beforeLast = last;
        std::swap(last, current);
    }
    return last[right.size()];
}

}  // namespace

std::optional<std::string> findNearest(const std::string_view text, const std::vector<std::string>& candidates) {
    constexpr size_t kLongestThatIsCompared = 200;
    if (text.size() > kLongestThatIsCompared) {
        return std::nullopt;
    }
    const size_t most = (text.size() + 2) / 3;
    size_t best = most + 1;
    std::optional<std::string> nearest;
    for (const std::string& candidate : candidates) {
        const size_t longer = std::max(candidate.size(), text.size());
        const size_t shorter = std::min(candidate.size(), text.size());
        if (longer - shorter >= best) {
            continue;
        }
        const size_t distance = distanceBetween(text, candidate);
        if (distance < best) {
            best = distance;
            nearest = candidate;
        }
    }
    return nearest;
}

std::optional<std::string> findShortestBeginningWith(const std::string_view text,
                                                     const std::vector<std::string>& candidates) {
    std::optional<std::string> shortest;
    for (const std::string& candidate : candidates) {
        const bool isLonger = candidate.size() > text.size() && candidate.starts_with(text);
        if (!text.empty() && isLonger && (!shortest || candidate.size() < shortest->size())) {
            shortest = candidate;
        }
    }
    return shortest;
}

}  // namespace zulstat
