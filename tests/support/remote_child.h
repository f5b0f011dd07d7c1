// A gatewaysim that gatewaysim_launcher starts on behalf of a test: how a test program under Wine gets a native one.
//
// One connection to the launcher is one child. All texts travel as their length in decimal digits, a line feed, and
// their bytes. The test sends the number of arguments and the arguments, then commands; each is answered by one text:
//   first-line MILLISECONDS    "+" and the line, or empty
//   close-input                empty
//   wait MILLISECONDS          the exit code, or empty while the child runs
//   process-id, output, errors what they say
// The end of the connection ends the child.
#ifndef ZULSTATS_TESTS_SUPPORT_REMOTE_CHILD_H
#define ZULSTATS_TESTS_SUPPORT_REMOTE_CHILD_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "gatewaysim_process_child.h"

namespace test_support {

namespace remote_child {

// Both throw std::runtime_error; receiveText also at the end of the stream.
void sendText(int32_t socket, const std::string& text);
std::string receiveText(int32_t socket);

}  // namespace remote_child

// Throws std::runtime_error.
std::unique_ptr<ChildProgram> startRemoteChild(int launcherPort, const std::vector<std::string>& arguments);

}  // namespace test_support

#endif
