// How a watch looks: as a picture on a terminal, and as lines that are added.
#ifndef ZULSTATS_TOOLS_ZULSTAT_WATCH_OUTPUT_H
#define ZULSTATS_TOOLS_ZULSTAT_WATCH_OUTPUT_H

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "watch_model.h"

namespace zulstat {

struct WatchView {
    size_t columns = 80;
    size_t rows = 24;
    size_t firstRow = 0;  // of the statistics, the rest is scrolled away
    bool withColour = true;
    bool withHeader = true;
    bool isWide = false;  // values that do not fit are shown whole, on lines of their own
    bool isPaused = false;
    bool isTypingFilter = false;
    std::string filter;  // part of an id, or a pattern
    std::chrono::milliseconds interval{0};
    std::chrono::system_clock::time_point now;
};

// How many statistics the filter lets through, how many fit on the screen from the first row on, and how far scrolling
// can go until the last one is on the screen.
struct WatchExtent {
    size_t statistics = 0;
    size_t page = 0;
    size_t lastFirstRow = 0;
};
WatchExtent watchExtent(const WatchModel& model, const WatchView& view);

// At most as many lines as the view has rows, none wider than its columns.
std::vector<std::string> watchScreen(const WatchModel& model, const WatchView& view);

// Lines about the last sample of one gateway, or that it is down. A header comes first where the columns are others
// than those of the last one, which is remembered; null: no header is wanted.
std::string watchLines(const WatchModel& model, size_t gateway, std::string* lastHeader);
std::string watchCsv(const WatchModel& model, size_t gateway, bool withHeader);
// One document on one line.
std::string watchJson(const WatchModel& model, size_t gateway);

}  // namespace zulstat

#endif
