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
// With several gateways it has a list of them, each as the document about a single one is.
std::string renderJson(const Reports& reports, const Versions& versions);

}  // namespace zulstat

#endif
