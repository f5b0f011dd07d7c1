#include "watch_model.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <map>
#include <string_view>
#include <utility>

#include "glob.h"
#include "number.h"

namespace zulstat {
namespace {

constexpr size_t kLongestHistory = 60;

using RowKey = std::pair<std::string, std::string>;

RowKey keyOf(const WatchRow& row) {
    return {row.element, row.id};
}

void remember(WatchRow& row, const std::optional<double> number) {
    row.history.push_back(number);
    if (row.history.size() > kLongestHistory) {
        row.history.pop_front();
    }
}

double sizeOfChange(const WatchRow& row) {
    return row.change ? std::fabs(*row.change) : -1;
}

}  // namespace

WatchModel::WatchModel(const std::vector<Gateway>& gateways, std::vector<std::string> counters, Selection selection)
    : counters_(std::move(counters)), selection_(std::move(selection)) {
    for (const Gateway& gateway : gateways) {
        gateways_.emplace_back().gateway = gateway;
    }
}

void WatchModel::addSample(const size_t gateway, const Report& report, const std::chrono::steady_clock::time_point at) {
    WatchedGateway& watched = gateways_.at(gateway);
    std::map<RowKey, const WatchRow*> known;
    for (const WatchRow& row : watched.rows) {
        known.emplace(keyOf(row), &row);
    }
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
                row.at = at;
                const auto before = known.find(keyOf(row));
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
    watched.lastSample = report.startedAt;
    watched.duration = report.duration;
}

void WatchModel::markDown(const size_t gateway, const std::string& reason,
                          const std::chrono::system_clock::time_point now) {
    WatchedGateway& watched = gateways_.at(gateway);
    if (watched.isUp || !watched.isKnown) {
        watched.since = now;
    }
    watched.isUp = false;
    watched.isKnown = true;
    watched.reason = reason;
    for (WatchRow& row : watched.rows) {
        row.change.reset();
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
        if (isSelected(row.code < 0 ? row.element : row.id, selection_.patterns)) {
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
    row.change = *row.number - *before.number;
    if (!row.isCounter) {
        return;
    }
    row.isReset = *row.change < 0;
    const double seconds = std::chrono::duration<double>(row.at - before.at).count();
    if (!row.isReset && seconds > 0) {
        row.rate = *row.change / seconds;
    }
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
