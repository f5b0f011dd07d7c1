// What every return code of the library is called, means and suggests to an operator.
#ifndef ZULSTATS_TOOLS_ZULSTAT_CODE_TABLE_H
#define ZULSTATS_TOOLS_ZULSTAT_CODE_TABLE_H

#include <cstdint>
#include <span>
#include <string_view>

namespace zulstat {

struct CodeEntry {
    int32_t code;
    std::string_view name;
    std::string_view meaning;
    std::string_view advice;
};

std::span<const CodeEntry> codeTable();

// Null for a code that the library does not document.
const CodeEntry* findCode(int32_t code);

}  // namespace zulstat

#endif
