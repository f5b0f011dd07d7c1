#include "watch_output.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>
#include <string_view>

#include "csv_output.h"
#include "gateway_address.h"
#include "glob.h"
#include "number.h"
#include "text_escape.h"
#include "time_text.h"

namespace zulstat {
namespace {

constexpr int kDecimals = 3;
constexpr size_t kGap = 2;
constexpr size_t kWidestHistory = 20;

constexpr std::string_view kBold = "\x1B[1m";
constexpr std::string_view kRed = "\x1B[31m";
constexpr std::string_view kDim = "\x1B[2m";
constexpr std::string_view kYellow = "\x1B[33m";
constexpr std::string_view kPlain = "\x1B[0m";

std::string formatAmount(const double number) {
    constexpr int kLeastSignificant = 3;
    return formatNumber(number, kDecimals, kLeastSignificant);
}

// Without a sign where it is not negative; empty for none.
std::string formatChange(const WatchRow& row) {
    if (row.exactChange) {
        return formatWholeNumber(*row.exactChange);
    }
    return row.change ? formatAmount(*row.change) : "";
}

// The cells of one statistic. The middle ones hold numbers.
struct Cells {
    std::vector<std::string> texts;
    bool hasNumber = false;
    std::string_view colour;
};

enum Column : size_t { kGateway, kQuery, kStatistic, kValue, kChange, kRate, kHistory, kColumns };

constexpr std::array<std::string_view, kColumns> kTitles{"GATEWAY", "QUERY",  "STATISTIC", "VALUE",
                                                         "CHANGE",  "RATE/s", "HISTORY"};

std::string changeOf(const WatchRow& row) {
    if (row.isReset) {
        return "reset";
    }
    return (row.change && *row.change > 0 ? "+" : "") + formatChange(row);
}

std::string showText(const std::string& text) {
    return text.empty() ? "\"\"" : escapeText(text);
}

Cells cellsOf(const WatchModel& model, const WatchRow& row) {
    Cells cells;
    cells.texts.resize(kColumns);
    cells.texts[kGateway] = escapeText(model.gateways()[row.gateway].gateway.name);
    cells.texts[kQuery] = showText(row.element);
    if (row.code < 0) {
        cells.texts[kStatistic] = "failed, code " + std::to_string(row.code);
        cells.colour = kRed;
        return cells;
    }
    cells.texts[kStatistic] = showText(row.id);
    cells.texts[kValue] = showText(row.value);
    cells.texts[kChange] = changeOf(row);
    cells.texts[kRate] = row.rate ? formatAmount(*row.rate) : "";
    cells.texts[kHistory] = row.number || row.history.size() > 1 ? sparkline(row.history, kWidestHistory) : "";
    cells.hasNumber = row.number.has_value();
    cells.colour = row.isReset                           ? kYellow
                   : !model.gateways()[row.gateway].isUp ? kDim
                   : row.change && *row.change != 0      ? kBold
                                                         : std::string_view();
    return cells;
}

bool isShown(const Column column, const WatchModel& model) {
    return column != kGateway || model.hasSeveralGateways();
}

bool isRightAligned(const size_t column, const Cells& cells) {
    return column == kChange || column == kRate || (column == kValue && cells.hasNumber);
}

std::string pad(std::string text, const size_t width, const bool right) {
    const size_t used = displayWidth(text);
    if (used < width) {
        text.insert(right ? 0 : text.size(), width - used, ' ');
    }
    return text;
}

class Layout {
  public:
    Layout(const WatchModel& model, const std::vector<Cells>& all, const size_t columns)
        : model_(model), columns_(columns) {
        for (size_t column = 0; column < kColumns; ++column) {
            widths_[column] = kTitles[column].size();
            for (const Cells& cells : all) {
                widths_[column] = std::max(widths_[column], displayWidth(cells.texts[column]));
            }
        }
        if (columns > 0) {
            makeFit(columns);
        }
    }

    std::string line(const Cells& cells) const {
        std::string text;
        for (size_t column = 0; column < kColumns; ++column) {
            if (!isShown(static_cast<Column>(column), model_) || widths_[column] == 0) {
                continue;
            }
            text.append(text.empty() ? 0 : kGap, ' ');
            text +=
                pad(cutToWidth(cells.texts[column], widths_[column]), widths_[column], isRightAligned(column, cells));
        }
        text.erase(text.find_last_not_of(' ') + 1);
        return text;
    }

    // Whether nothing of the value is cut off, neither by its column nor by the end of the line.
    bool showsWhole(const Cells& cells) const {
        return displayWidth(cells.texts[kValue]) <= widths_[kValue] &&
               (columns_ == 0 || endOf(kValue) <= columns_ || cells.texts[kValue].empty());
    }

    std::string header() const {
        Cells cells;
        cells.texts.assign(kTitles.begin(), kTitles.end());
        return line(cells);
    }

  private:
    size_t total() const {
        return endOf(kHistory);
    }

    // Where a column ends on the line.
    size_t endOf(const Column last) const {
        size_t sum = 0;
        for (size_t column = 0; column <= last; ++column) {
            if (isShown(static_cast<Column>(column), model_) && widths_[column] > 0) {
                sum += widths_[column] + (sum == 0 ? 0 : kGap);
            }
        }
        return sum;
    }

    // Long texts give way first, then the query, which is often told by the id, then the history.
    void makeFit(const size_t columns) {
        constexpr std::array<std::pair<Column, size_t>, 6> kLeast{
            {{kValue, 12}, {kHistory, 8}, {kQuery, 8}, {kStatistic, 16}, {kHistory, 0}, {kQuery, 0}}};
        for (const auto& [column, least] : kLeast) {
            const size_t sum = total();
            if (sum <= columns) {
                return;
            }
            const size_t surplus = sum - columns;
            const size_t spare = widths_[column] - std::min(widths_[column], least);
            widths_[column] -= std::min(spare, surplus + (least == 0 ? spare : 0));
        }
    }

    const WatchModel& model_;
    size_t columns_;
    std::array<size_t, kColumns> widths_{};
};

std::vector<const WatchRow*> filteredRows(const WatchModel& model, const WatchView& view) {
    std::vector<const WatchRow*> rows = model.allRows();
    if (!view.filter.empty()) {
        std::erase_if(rows, [&](const WatchRow* const row) {
            return !matchesGlob(row->code < 0 ? row->element : row->id, "*" + view.filter + "*");
        });
    }
    return rows;
}

std::string seconds(const std::chrono::system_clock::duration duration) {
    const auto whole = std::chrono::ceil<std::chrono::seconds>(duration).count();
    return std::to_string(std::max<int64_t>(whole, 0));
}

std::string describeDown(const WatchedGateway& watched, const std::string& nextTry) {
    return formatGateway(watched.gateway) + " is down since " + formatClock(watched.since) + nextTry + ": " +
           watched.reason;
}

struct HeadLine {
    std::string text;
    std::string_view colour;
};

std::string describeState(const WatchModel& model) {
    if (model.hasSeveralGateways()) {
        const auto up = std::count_if(model.gateways().begin(), model.gateways().end(),
                                      [](const WatchedGateway& watched) { return watched.isUp; });
        return std::to_string(model.gateways().size()) + " gateways, " + std::to_string(up) + " up";
    }
    const WatchedGateway& only = model.gateways().front();
    return formatGateway(only.gateway) + (only.isUp ? " is up" : only.isKnown ? " is down" : " is asked");
}

// One for every gateway of which there is something to say.
std::vector<HeadLine> messages(const WatchModel& model, const WatchView& view) {
    std::vector<HeadLine> lines;
    for (const WatchedGateway& watched : model.gateways()) {
        if (watched.isKnown && !watched.isUp) {
            const std::string nextTry =
                watched.nextTry ? ", next try in " + seconds(*watched.nextTry - view.now) + " s" : "";
            lines.push_back({describeDown(watched, nextTry), kRed});
        } else if (!watched.note.empty()) {
            lines.push_back({watched.note, kYellow});
        }
    }
    return lines;
}

// Lines above the statistics. Messages take half of the others' room at most.
std::vector<HeadLine> head(const WatchModel& model, const WatchView& view) {
    constexpr size_t kOtherLines = 3;  // the first one, the titles, and the last one
    std::vector<HeadLine> lines{{formatClock(view.now) + "  " + describeState(model) + ", every " +
                                     formatSeconds(view.interval) + " s" + (view.isPaused ? "  [paused]" : ""),
                                 ""}};
    std::vector<HeadLine> told = messages(model, view);
    const size_t room = std::max<size_t>(view.rows > kOtherLines ? (view.rows - kOtherLines) / 2 : 0, 1);
    if (told.size() > room) {
        const size_t left = told.size() - (room - 1);
        told.resize(room - 1);
        told.push_back({(room > 1 ? "and " : "") + std::to_string(left) + (room > 1 ? " more" : "") +
                            " gateways are down or need a look; --format json tells all",
                        kRed});
    }
    std::move(told.begin(), told.end(), std::back_inserter(lines));
    return lines;
}

std::string foot(const WatchView& view, const size_t shown, const size_t all) {
    if (view.isTypingFilter) {
        return "filter: " + escapeText(view.filter) + "_   Enter keeps it, Esc takes it away";
    }
    const size_t first = all == 0 ? 0 : view.firstRow + 1;
    std::string text = "q quit  p pause  / filter  arrows scroll   " + std::to_string(first) + "-" +
                       std::to_string(view.firstRow + shown) + " of " + std::to_string(all);
    return text + (view.filter.empty() ? "" : "   filter: " + escapeText(view.filter));
}

std::string coloured(const std::string& text, const std::string_view colour, const WatchView& view) {
    return view.withColour && !colour.empty() ? std::string(colour) + text + std::string(kPlain) : text;
}

std::vector<Cells> cellsOfRows(const WatchModel& model, const std::vector<const WatchRow*>& rows) {
    std::vector<Cells> all;
    all.reserve(rows.size());
    for (const WatchRow* const row : rows) {
        all.push_back(cellsOf(model, *row));
    }
    return all;
}

// Lines for statistics.
size_t roomForStatistics(const WatchModel& model, const WatchView& view) {
    const size_t around = head(model, view).size() + (view.withHeader ? 1 : 0) + 1;
    return view.rows > around ? view.rows - around : 0;
}

// As many characters as fit, but one at least.
size_t lengthThatFits(const std::string_view text, const size_t width) {
    size_t length = lengthOfCharacter(text);
    size_t next = length;
    while (next < text.size() && displayWidth(text.substr(0, next)) <= width) {
        length = next;
        next += lengthOfCharacter(text.substr(next));
    }
    return next >= text.size() && displayWidth(text) <= width ? text.size() : length;
}

// The lines of one statistic: with --wide the value follows whole where it was cut.
std::vector<std::string> linesOf(const Layout& layout, const Cells& cells, const WatchView& view) {
    constexpr size_t kIndent = 2;
    std::vector<std::string> lines{cutToWidth(layout.line(cells), view.columns)};
    if (!view.isWide || view.columns <= 2 * kIndent || layout.showsWhole(cells)) {
        return lines;
    }
    std::string_view rest = cells.texts[kValue];
    while (!rest.empty()) {
        const size_t length = lengthThatFits(rest, view.columns - kIndent);
        lines.push_back(std::string(kIndent, ' ').append(rest.substr(0, length)));
        rest.remove_prefix(length);
    }
    return lines;
}

// How many statistics from that one on fit into so many lines.
size_t countThatFit(const Layout& layout, const std::vector<Cells>& all, const WatchView& view, const size_t first,
                    const size_t room) {
    size_t count = 0;
    for (size_t used = 0; first + count < all.size(); ++count) {
        used += linesOf(layout, all[first + count], view).size();
        if (used > room) {
            break;
        }
    }
    return count;
}

size_t lastFirstRow(const Layout& layout, const std::vector<Cells>& all, const WatchView& view, const size_t room) {
    size_t first = all.size();
    for (size_t used = 0; first > 0; --first) {
        used += linesOf(layout, all[first - 1], view).size();
        if (used > room) {
            break;
        }
    }
    return all.empty() ? 0 : std::min(first, all.size() - 1);
}

using Json = nlohmann::ordered_json;

Json numberOrNull(const std::optional<double>& number) {
    return number ? Json(*number) : Json(nullptr);
}

// A whole number keeps all of its digits where JSON's readers take 64 bits.
Json changeToJson(const WatchRow& row) {
    constexpr auto kMostNegative = static_cast<uint64_t>(std::numeric_limits<int64_t>::max());
    if (!row.exactChange || (row.exactChange->isNegative && row.exactChange->magnitude > kMostNegative)) {
        return numberOrNull(row.change);
    }
    const uint64_t magnitude = row.exactChange->magnitude;
    return row.exactChange->isNegative ? Json(-static_cast<int64_t>(magnitude)) : Json(magnitude);
}

Json rowToJson(const WatchRow& row) {
    return Json{{"element", row.element},        {"id", row.id},         {"value", row.value},
                {"counter", row.isCounter},      {"reset", row.isReset}, {"change", changeToJson(row)},
                {"rate", numberOrNull(row.rate)}};
}

}  // namespace

WatchExtent watchExtent(const WatchModel& model, const WatchView& view) {
    const std::vector<Cells> cells = cellsOfRows(model, filteredRows(model, view));
    const Layout layout(model, cells, view.columns);
    const size_t room = roomForStatistics(model, view);
    const size_t first = std::min(view.firstRow, cells.size());
    const size_t page = countThatFit(layout, cells, view, first, room);
    return {cells.size(), std::max<size_t>(page, 1), lastFirstRow(layout, cells, view, room)};
}

std::vector<std::string> watchScreen(const WatchModel& model, const WatchView& view) {
    const std::vector<Cells> cells = cellsOfRows(model, filteredRows(model, view));
    const Layout layout(model, cells, view.columns);
    std::vector<std::string> lines;
    for (const HeadLine& line : head(model, view)) {
        lines.push_back(coloured(cutToWidth(line.text, view.columns), line.colour, view));
    }
    if (view.withHeader) {
        lines.push_back(coloured(cutToWidth(layout.header(), view.columns), kBold, view));
    }
    const size_t room = roomForStatistics(model, view);
    const size_t first = std::min(view.firstRow, cells.size());
    // A statistic that is higher than the screen is shown as far as it goes.
    const size_t shown = std::min(std::max<size_t>(countThatFit(layout, cells, view, first, room), room > 0 ? 1 : 0),
                                  cells.size() - first);
    const size_t end = lines.size() + room;
    for (size_t index = first; index < first + shown; ++index) {
        for (const std::string& line : linesOf(layout, cells[index], view)) {
            lines.push_back(coloured(line, cells[index].colour, view));
        }
    }
    lines.resize(std::min(end, view.rows == 0 ? 0 : view.rows - 1));
    if (view.rows > 1) {
        lines.push_back(coloured(cutToWidth(foot(view, shown, cells.size()), view.columns), kDim, view));
    } else if (view.rows == 1) {
        lines.push_back(coloured(cutToWidth(head(model, view).front().text, view.columns), "", view));
    }
    return lines;
}

std::string watchLines(const WatchModel& model, const size_t gateway, std::string* const lastHeader) {
    const WatchedGateway& watched = model.gateways().at(gateway);
    if (!watched.isUp) {
        return describeDown(watched, "") + "\n";
    }
    const std::vector<Cells> all = cellsOfRows(model, model.rowsOf(gateway));
    const Layout layout(model, all, 0);
    const std::string time = formatClock(watched.lastHeard) + "  ";
    const std::string header = pad("TIME", time.size(), false) + layout.header() + "\n";
    std::string text;
    if (lastHeader != nullptr && header != *lastHeader) {
        text = header;
        *lastHeader = header;
    }
    for (const Cells& cells : all) {
        text += time + layout.line(cells) + "\n";
    }
    return text;
}

std::string watchCsv(const WatchModel& model, const size_t gateway, const bool withHeader) {
    const WatchedGateway& watched = model.gateways().at(gateway);
    std::string text = withHeader ? "time,gateway,state,element,code,id,value,change,rate,reset,reason\n" : "";
    const Gateway& where = watched.gateway;
    const std::string name = csvCell(where.name.empty() ? formatAddress(where.host, where.port) : where.name);
    if (!watched.isUp) {
        return text + formatTime(watched.lastHeard) + "," + name + ",down,,,,,,,," + csvCell(watched.reason) + "\n";
    }
    for (const WatchRow* const row : model.rowsOf(gateway)) {
        text += formatTime(watched.lastHeard) + "," + name + ",up," + csvCell(row->element) + "," +
                std::to_string(row->code) + "," + csvCell(row->id) + "," + csvCell(row->value) + "," +
                formatChange(*row) + "," + (row->rate ? formatAmount(*row->rate) : "") + "," +
                (row->isReset ? "1" : "0") + ",\n";
    }
    return text;
}

std::string watchJson(const WatchModel& model, const size_t gateway) {
    const WatchedGateway& watched = model.gateways().at(gateway);
    Json document{{"format", 1}, {"time", formatTime(watched.lastHeard)}};
    document["durationMs"] = std::chrono::duration<double, std::milli>(watched.duration).count();
    document["gateway"] = Json{{"name", nullptr}, {"host", watched.gateway.host}, {"port", watched.gateway.port}};
    if (!watched.gateway.name.empty()) {
        document["gateway"]["name"] = watched.gateway.name;
    }
    document["state"] = watched.isUp ? "up" : "down";
    document["reason"] = watched.isUp ? Json(nullptr) : Json(watched.reason);
    document["downSince"] = watched.isUp ? Json(nullptr) : Json(formatTime(watched.since));
    Json statistics = Json::array();
    Json failed = Json::array();
    if (watched.isUp) {
        for (const WatchRow* const row : model.rowsOf(gateway)) {
            if (row->code < 0) {
                failed.push_back(Json{{"element", row->element}, {"code", row->code}});
            } else {
                statistics.push_back(rowToJson(*row));
            }
        }
    }
    document["statistics"] = std::move(statistics);
    document["failedElements"] = std::move(failed);
    return document.dump(-1, ' ', true, Json::error_handler_t::replace) + "\n";
}

}  // namespace zulstat
