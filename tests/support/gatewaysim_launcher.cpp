// Starts gatewaysims for test programs that cannot start them themselves, see remote_child.h. Prints its port in one
// line, and serves until it is ended by a signal; every child ends with it.
//   gatewaysim_launcher
#include <cstdint>
#include <exception>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "gatewaysim_process_child.h"
#include "peer_sockets.h"
#include "remote_child.h"

namespace {

using test_support::ChildProgram;
using test_support::remote_child::receiveText;
using test_support::remote_child::sendText;
namespace peer_sockets = test_support::peer_sockets;

constexpr int kForever = -1;

std::chrono::milliseconds timeIn(const std::string& command) {
    return std::chrono::milliseconds(std::stoi(command.substr(command.find(' ') + 1)));
}

std::string answerTo(const std::string& command, ChildProgram& child) {
    std::string answer;
    if (command.starts_with("first-line ")) {
        const std::optional<std::string> line = child.firstLine(timeIn(command));
        answer = line ? "+" + *line : "";
    } else if (command == "close-input") {
        child.closeStandardInput();
    } else if (command.starts_with("wait ")) {
        const std::optional<int> exitCode = child.waitForEnd(timeIn(command));
        answer = exitCode ? std::to_string(*exitCode) : "";
    } else if (command == "process-id") {
        answer = std::to_string(child.processId());
    } else if (command == "output") {
        answer = child.standardOutput();
    } else if (command == "errors") {
        answer = child.standardError();
    } else {
        throw std::runtime_error("no such command: " + command);
    }
    return answer;
}

// Until the test closes its end.
void serve(int32_t socket) {
    try {
        std::vector<std::string> arguments(std::stoul(receiveText(socket)));
        for (std::string& argument : arguments) {
            argument = receiveText(socket);
        }
        test_support::LocalChild child(GATEWAYSIM_PROGRAM, arguments);
        while (peer_sockets::isReadable(socket, kForever) && peer_sockets::bytesWaiting(socket) > 0) {
            sendText(socket, answerTo(receiveText(socket), child));
        }
    } catch (const std::exception& exception) {
        std::cerr << "gatewaysim_launcher: " << exception.what() << std::endl;
    }
    peer_sockets::closeSocket(socket);
}

}  // namespace

int main() {
    try {
        const peer_sockets::Listener listener = peer_sockets::listenOnLoopback(64);
        std::cout << listener.port << std::endl;
        while (true) {
            std::thread(serve, peer_sockets::acceptConnection(listener.socket, kForever)).detach();
        }
    } catch (const std::exception& exception) {
        std::cerr << "gatewaysim_launcher: " << exception.what() << std::endl;
    }
    return 1;
}
