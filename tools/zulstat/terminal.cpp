#include "terminal.h"

#include <atomic>

namespace zulstat {
namespace {

constexpr std::string_view kEnterScreen = "\x1B[?1049h\x1B[?25l\x1B[H\x1B[2J";
constexpr std::string_view kLeaveScreen = "\x1B[?25h\x1B[?1049l";

std::atomic<bool> isScreenTaken{false};

}  // namespace

WriteOutcome takeScreen() {
    isScreenTaken = true;
    prepareKeyboard();
    return writeSomeOutput(kEnterScreen);
}

WriteOutcome giveScreenBack() {
    if (!isScreenTaken) {
        return {};
    }
    const WriteOutcome outcome = writeSomeOutput(kLeaveScreen);
    restoreKeyboard();
    isScreenTaken = false;
    return outcome;
}

void giveScreenBackAtOnce() {
    if (isScreenTaken.exchange(false)) {
        sendAtOnce(kLeaveScreen);
        restoreKeyboard();
    }
}

}  // namespace zulstat
