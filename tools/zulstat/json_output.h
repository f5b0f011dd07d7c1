#ifndef ZULSTATS_TOOLS_ZULSTAT_JSON_OUTPUT_H
#define ZULSTATS_TOOLS_ZULSTAT_JSON_OUTPUT_H

#include <string>
#include <string_view>

#include "report.h"

namespace zulstat {

struct Versions {
    std::string_view program;
    std::string_view api;
};

// One JSON document, in ASCII: everything else is written \uXXXX, a byte that is not UTF-8 as the character U+FFFD.
std::string renderJson(const Report& report, const Versions& versions);

}  // namespace zulstat

#endif
