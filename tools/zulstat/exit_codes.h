#ifndef ZULSTATS_TOOLS_ZULSTAT_EXIT_CODES_H
#define ZULSTATS_TOOLS_ZULSTAT_EXIT_CODES_H

namespace zulstat {

inline constexpr int kExitOk = 0;
inline constexpr int kExitElementFailed = 1;
inline constexpr int kExitUsage = 2;
inline constexpr int kExitCannotConnect = 3;
inline constexpr int kExitQueryFailed = 4;
inline constexpr int kExitOutputFailed = 5;
inline constexpr int kExitInterrupted = 130;
inline constexpr int kExitTerminated = 143;

// Those of `check`, as monitoring systems expect them.
inline constexpr int kCheckOk = 0;
inline constexpr int kCheckWarning = 1;
inline constexpr int kCheckCritical = 2;
inline constexpr int kCheckUnknown = 3;

}  // namespace zulstat

#endif
