#ifndef ZULSTAT_EXIT_CODES_H
#define ZULSTAT_EXIT_CODES_H

namespace zulstat {

enum ExitCode : int {
    exitOk = 0,
    exitElementFailed = 1,
    exitUsage = 2,
    exitCannotConnect = 3,
    exitQueryFailed = 4,
    exitOutputFailed = 5,
};

}  // namespace zulstat

#endif
