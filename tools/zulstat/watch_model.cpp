#include "watch_model.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <map>
#include <string_view>
#include <tuple>
#include <utility>

#include "gateway_address.h"
#include "glob.h"
#include "nearest.h"
#include "number.h"
#include "text_escape.h"

namespace zulstat {
namespace {

constexpr size_t kLongestHistory = 60;

// Numbers the rows of a sample that have the same element and id.
class RowKeys {
  public:
    using Key = std::tuple<std::string, std::string, size_t>;

    Key next(const WatchRow& row) {
        return {row.element, row.id, counts_[{row.element, row.id}]++};
    }

  private:
    std::map<std::pair<std::string, std::string>, size_t> counts_;
};

void remember(WatchRow& row, const std::optional<double> number) {
    row.history.push_back(number);
    if (row.history.size() > kLongestHistory) {
        row.history.pop_front();
    }
}

double sizeOfChange(const WatchRow& row) {
    return row.change ? std::fabs(*row.change) : -1;
}

std::optional<double> finite(const double number) {
    return std::isfinite(number) ? std::optional(number) : std::nullopt;
}

// The change of two numbers that are not both whole and short; nothing where rounding them would be seen in it.
std::optional<double> roundedChange(const WatchRow& row, const WatchRow& before) {
    constexpr double kLeastSteps = 1000;
    if (compareNumbers(row.value, before.value) == 0) {
        return 0;
    }
    const double greater = std::max(std::fabs(*row.number), std::fabs(*before.number));
    const double step = greater - std::nextafter(greater, 0.0);
    const double change = *row.number - *before.number;
    return std::fabs(change) < kLeastSteps * step ? std::nullopt : finite(change);
}

}  // namespace

WatchModel::WatchModel(const std::vector<Gateway>& gateways, std::vector<std::string> counters, Selection selection)
    : counters_(std::move(counters)), selection_(std::move(selection)) {
    for (const Gateway& gateway : gateways) {
        gateways_.emplace_back().gateway = gateway;
    }
}

void WatchModel::awaitStatistic(std::string id) {
    awaited_ = std::move(id);
}

void WatchModel::addSample(const size_t gateway, const Report& report) {
    WatchedGateway& watched = gateways_.at(gateway);
    std::map<RowKeys::Key, const WatchRow*> known;
    RowKeys knownKeys;
    for (const WatchRow& row : watched.rows) {
        known.emplace(knownKeys.next(row), &row);
    }
    RowKeys keys;
    std::vector<WatchRow> rows;
    for (const QueryResult& result : report.results) {
        for (const Element& element : result.elements) {
            const auto add = [&](const Entry& entry) {
                WatchRow row;
                row.gateway = gateway;
                row.element = element.text;
                row.code = element.code;
                row.id = entry.id;
                row.value = entry.value;
                row.number = parseNumber(entry.value);
                row.isCounter = row.number && !counters_.empty() && isSelected(entry.id, counters_);
                row.at = result.at;
                const auto before = known.find(keys.next(row));
                if (before != known.end()) {
                    follow(row, *before->second);
                }
                remember(row, row.isCounter ? row.rate : row.number);
                rows.push_back(std::move(row));
            };
            if (isFailed(element)) {
                add({});
            }
            std::for_each(element.entries.begin(), element.entries.end(), add);
        }
    }
    watched.rows = std::move(rows);
    watched.isUp = true;
    watched.isKnown = true;
    watched.reason.clear();
    watched.nextTry.reset();
    watched.lastHeard = report.startedAt;
    watched.duration = report.duration;
    watched.note = noteOn(watched);
}

void WatchModel::markDown(const size_t gateway, const std::string& reason,
                          const std::chrono::system_clock::time_point now, const std::chrono::microseconds duration) {
    WatchedGateway& watched = gateways_.at(gateway);
    if (watched.isUp || !watched.isKnown) {
        watched.since = now;
    }
    watched.isUp = false;
    watched.isKnown = true;
    watched.reason = reason;
    watched.note.clear();
    watched.lastHeard = now;
    watched.duration = duration;
    for (WatchRow& row : watched.rows) {
        row.change.reset();
        row.exactChange.reset();
        row.rate.reset();
        row.isReset = false;
        remember(row, std::nullopt);
    }
}

void WatchModel::setNextTry(const size_t gateway, const std::chrono::system_clock::time_point time) {
    gateways_.at(gateway).nextTry = time;
}

std::vector<const WatchRow*> WatchModel::rowsOf(const size_t gateway) const {
    std::vector<const WatchRow*> rows;
    for (const WatchRow& row : gateways_.at(gateway).rows) {
        if (row.code < 0 || isSelected(row.id, selection_.patterns)) {
            rows.push_back(&row);
        }
    }
    sort(rows);
    return rows;
}

std::vector<const WatchRow*> WatchModel::allRows() const {
    std::vector<const WatchRow*> rows;
    for (size_t gateway = 0; gateway < gateways_.size(); ++gateway) {
        const auto some = rowsOf(gateway);
        rows.insert(rows.end(), some.begin(), some.end());
    }
    sort(rows);
    return rows;
}

void WatchModel::follow(WatchRow& row, const WatchRow& before) const {
    row.history = before.history;
    if (!row.number || !before.number) {
        return;
    }
    const std::optional<WholeNumber> whole = parseWholeNumber(row.value);
    const std::optional<WholeNumber> wholeBefore = parseWholeNumber(before.value);
    row.exactChange = whole && wholeBefore ? difference(*whole, *wholeBefore) : std::nullopt;
    row.change = row.exactChange ? toDouble(*row.exactChange) : roundedChange(row, before);
    row.isReset = row.isCounter && compareNumbers(row.value, before.value) < 0;
    if (!row.isCounter || !row.change) {
        return;
    }
    const double seconds = std::chrono::duration<double>(row.at - before.at).count();
    if (!row.isReset && seconds > 0) {
        row.rate = finite(*row.change / seconds);
    }
}

std::string WatchModel::noteOn(const WatchedGateway& watched) const {
    std::vector<std::string> ids;
    bool isAnySelected = false;
    for (const WatchRow& row : watched.rows) {
        if (row.code >= 0) {
            ids.push_back(row.id);
            isAnySelected = isAnySelected || isSelected(row.id, selection_.patterns);
        }
    }
    std::string note;
    if (!ids.empty() && !isAnySelected) {
        note = "no id of " + formatGateway(watched.gateway) + " matches --match.";
    }
    if (awaited_ && std::find(ids.begin(), ids.end(), *awaited_) == ids.end()) {
        const std::optional<std::string> nearest = findNearest(*awaited_, ids);
        note += std::string(note.empty() ? "" : " ") + "--until waits for " + quoteText(*awaited_) +
                ", which is not among what is watched of " + formatGateway(watched.gateway) + ". " +
                (nearest ? "Did you mean " + quoteText(*nearest) + "?" : "Is the id right, and asked for?");
    }
    return note;
}

void WatchModel::sort(std::vector<const WatchRow*>& rows) const {
    std::stable_sort(rows.begin(), rows.end(), [&](const WatchRow* const left, const WatchRow* const right) {
        switch (selection_.order) {
            case SortOrder::byId:
                return left->id < right->id;
            case SortOrder::byValue:
                return isValueBefore(left->value, right->value);
            case SortOrder::byChange:
                return sizeOfChange(*left) > sizeOfChange(*right);
            case SortOrder::asAnswered:
                break;
        }
        return false;
    });
}

std::string sparkline(const std::deque<std::optional<double>>& history, const size_t width) {
    constexpr std::array<std::string_view, 8> kHeights{"\xE2\x96\x81", "\xE2\x96\x82", "\xE2\x96\x83", "\xE2\x96\x84",
                                                       "\xE2\x96\x85", "\xE2\x96\x86", "\xE2\x96\x87", "\xE2\x96\x88"};
    const size_t count = std::min(width, history.size());
    const auto first = history.end() - static_cast<ptrdiff_t>(count);
    double low = 0;
    double high = 0;
    bool isFirst = true;
    for (auto each = first; each != history.end(); ++each) {
        if (*each) {
            low = isFirst ? **each : std::min(low, **each);
            high = isFirst ? **each : std::max(high, **each);
            isFirst = false;
        }
    }
    std::string line;
    for (auto each = first; each != history.end(); ++each) {
        if (!*each) {
            line += ' ';
        } else if (high > low) {
            const double part = (**each / 2 - low / 2) / (high / 2 - low / 2);
            line += kHeights[static_cast<size_t>(std::lround(part * (kHeights.size() - 1)))];
        } else {
            line += kHeights[0];
        }
    }
    return line;
}

}  // namespace zulstat
