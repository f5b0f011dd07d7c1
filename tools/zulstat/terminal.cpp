#include "terminal.h"

namespace zulstat {

const char* const kEnterScreen = "\x1B[?1049h\x1B[?25l\x1B[H\x1B[2J";
const char* const kLeaveScreen = "\x1B[?25h\x1B[?1049l";

}  // namespace zulstat
