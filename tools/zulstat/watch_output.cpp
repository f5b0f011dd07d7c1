#include "watch_output.h"

#include <algorithm>
#include <array>
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

std::string withSign(const double number) {
    const std::string text = formatNumber(number, kDecimals);
    return number > 0 && text != "0" ? "+" + text : text;
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
    return row.change ? withSign(*row.change) : "";
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
    cells.texts[kRate] = row.rate ? formatNumber(*row.rate, kDecimals) : "";
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
    Layout(const WatchModel& model, const std::vector<Cells>& all, const size_t columns) : model_(model) {
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

    std::string header() const {
        Cells cells;
        cells.texts.assign(kTitles.begin(), kTitles.end());
        return line(cells);
    }

  private:
    size_t total() const {
        size_t sum = 0;
        for (size_t column = 0; column < kColumns; ++column) {
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

// Lines above the statistics.
std::vector<Cells> head(const WatchModel& model, const WatchView& view) {
    std::vector<Cells> lines;
    const auto add = [&](std::string text, const std::string_view colour) {
        lines.push_back({{std::move(text)}, false, colour});
    };
    size_t up = 0;
    for (const WatchedGateway& watched : model.gateways()) {
        up += watched.isUp ? 1 : 0;
    }
    const std::string who =
        model.hasSeveralGateways()
            ? std::to_string(model.gateways().size()) + " gateways, " + std::to_string(up) + " up"
            : formatGateway(model.gateways().front().gateway) + (up == 1                            ? " is up"
                                                                 : model.gateways().front().isKnown ? " is down"
                                                                                                    : " is asked");
    add(formatClock(view.now) + "  " + who + ", every " + formatSeconds(view.interval) + " s" +
            (view.isPaused ? "  [paused]" : ""),
        "");
    for (const WatchedGateway& watched : model.gateways()) {
        if (watched.isKnown && !watched.isUp) {
            add(describeDown(watched,
                             watched.nextTry ? ", next try in " + seconds(*watched.nextTry - view.now) + " s" : ""),
                kRed);
        }
    }
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

size_t linesAround(const WatchModel& model, const WatchView& view) {
    return head(model, view).size() + (view.withHeader ? 1 : 0) + 1;
}

using Json = nlohmann::ordered_json;

Json numberOrNull(const std::optional<double>& number) {
    return number ? Json(*number) : Json(nullptr);
}

Json rowToJson(const WatchRow& row) {
    return Json{{"element", row.element},        {"id", row.id},         {"value", row.value},
                {"counter", row.isCounter},      {"reset", row.isReset}, {"change", numberOrNull(row.change)},
                {"rate", numberOrNull(row.rate)}};
}

}  // namespace

WatchExtent watchExtent(const WatchModel& model, const WatchView& view) {
    const size_t around = linesAround(model, view);
    return {filteredRows(model, view).size(), view.rows > around ? view.rows - around : 1};
}

std::vector<std::string> watchScreen(const WatchModel& model, const WatchView& view) {
    const std::vector<const WatchRow*> rows = filteredRows(model, view);
    const std::vector<Cells> cells = cellsOfRows(model, rows);
    const Layout layout(model, cells, view.columns);
    std::vector<std::string> lines;
    for (const Cells& line : head(model, view)) {
        lines.push_back(coloured(cutToWidth(line.texts.front(), view.columns), line.colour, view));
    }
    if (view.withHeader) {
        lines.push_back(coloured(cutToWidth(layout.header(), view.columns), kBold, view));
    }
    const size_t page = view.rows > lines.size() + 1 ? view.rows - lines.size() - 1 : 0;
    const size_t first = std::min(view.firstRow, cells.size());
    const size_t shown = std::min(page, cells.size() - first);
    for (size_t index = first; index < first + shown; ++index) {
        lines.push_back(coloured(cutToWidth(layout.line(cells[index]), view.columns), cells[index].colour, view));
    }
    lines.resize(std::max(lines.size(), view.rows == 0 ? 0 : view.rows - 1));
    lines.push_back(coloured(cutToWidth(foot(view, shown, cells.size()), view.columns), kDim, view));
    if (lines.size() > view.rows) {
        lines.resize(view.rows);
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
    const std::string time = formatClock(watched.lastSample) + "  ";
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
    std::string text = withHeader ? "time,gateway,state,element,code,id,value,change,rate,reset\n" : "";
    const Gateway& where = watched.gateway;
    const std::string name = csvCell(where.name.empty() ? formatAddress(where.host, where.port) : where.name);
    if (!watched.isUp) {
        return text + formatTime(watched.since) + "," + name + ",down,,,,,,,\n";
    }
    for (const WatchRow* const row : model.rowsOf(gateway)) {
        text += formatTime(watched.lastSample) + "," + name + ",up," + csvCell(row->element) + "," +
                std::to_string(row->code) + "," + csvCell(row->id) + "," + csvCell(row->value) + "," +
                (row->change ? formatNumber(*row->change, kDecimals) : "") + "," +
                (row->rate ? formatNumber(*row->rate, kDecimals) : "") + "," + (row->isReset ? "1" : "0") + "\n";
    }
    return text;
}

std::string watchJson(const WatchModel& model, const size_t gateway) {
    const WatchedGateway& watched = model.gateways().at(gateway);
    Json document{{"format", 1}, {"time", formatTime(watched.isUp ? watched.lastSample : watched.since)}};
    document["durationMs"] = std::chrono::duration<double, std::milli>(watched.duration).count();
    document["gateway"] = Json{{"name", nullptr}, {"host", watched.gateway.host}, {"port", watched.gateway.port}};
    if (!watched.gateway.name.empty()) {
        document["gateway"]["name"] = watched.gateway.name;
    }
    document["state"] = watched.isUp ? "up" : "down";
    document["reason"] = watched.isUp ? Json(nullptr) : Json(watched.reason);
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
