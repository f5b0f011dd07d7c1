#ifndef ZULSTATS_TOOLS_ZULSTAT_EXIT_CODES_H
#define ZULSTATS_TOOLS_ZULSTAT_EXIT_CODES_H

namespace zulstat {

inline constexpr int kExitOk = 0;
inline constexpr int kExitElementFailed = 1;
inline constexpr int kExitUsage = 2;
inline constexpr int kExitCannotConnect = 3;
inline constexpr int kExitQueryFailed = 4;
inline constexpr int kExitOutputFailed = 5;

}  // namespace zulstat

#endif
