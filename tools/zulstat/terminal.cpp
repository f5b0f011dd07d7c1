#include "terminal.h"

#include <atomic>
#include <mutex>

namespace zulstat {
namespace {

constexpr std::string_view kEnterScreen = "\x1B[?1049h\x1B[?25l\x1B[H\x1B[2J";
constexpr std::string_view kLeaveScreen = "\x1B[?25h\x1B[?1049l";

std::atomic<bool> isScreenTaken{false};
std::mutex givingBackAtOnce;

}  // namespace

WriteOutcome takeScreen() {
    isScreenTaken = true;
    prepareKeyboard();
    return writeSomeOutput(kEnterScreen);
}

WriteOutcome giveScreenBack() {
    if (!isScreenTaken) {
        // Who was held up here must not end the process before the other thread is through.
        const std::lock_guard lock(givingBackAtOnce);
        return {};
    }
    const WriteOutcome outcome = writeSomeOutput(kLeaveScreen);
    restoreKeyboard();
    isScreenTaken = false;
    return outcome;
}

void giveScreenBackAtOnce() {
    const std::lock_guard lock(givingBackAtOnce);
    if (isScreenTaken.exchange(false)) {
        sendAtOnce(kLeaveScreen);
        restoreKeyboard();
    }
}

}  // namespace zulstat
