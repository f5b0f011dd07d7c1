// One harmless call of every exported function, for tests that are about all of them.
#ifndef ZULSTATS_TESTS_UNIT_EVERY_EXPORT_H
#define ZULSTATS_TESTS_UNIT_EVERY_EXPORT_H

#include <cstdint>
#include <string>
#include <vector>

struct ExportCall {
    std::string name;
    int32_t (*call)();        // with arguments that the function refuses, where it has any
    int32_t code;             // what the call gives once the library is set up and no connection is open
    bool writesAtEveryLevel;  // the call writes to the trace destination whatever the trace level
};

const std::vector<ExportCall>& everyExport();

#endif
