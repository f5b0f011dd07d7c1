#include "remote_child.h"

#include <cstddef>
#include <stdexcept>

#include "peer_sockets.h"

namespace test_support {

namespace remote_child {

namespace {

// A command waits for a child at most ten seconds.
constexpr int kAtMostMilliseconds = 30000;

uint8_t receiveByte(int32_t socket) {
    uint8_t byte = 0;
    if (peer_sockets::receiveSome(socket, &byte, 1, kAtMostMilliseconds) == 0) {
        throw std::runtime_error("the connection to the launcher has ended");
    }
    return byte;
}

}  // namespace

void sendText(int32_t socket, const std::string& text) {
    const std::string framed = std::to_string(text.size()) + "\n" + text;
    peer_sockets::sendAll(socket, reinterpret_cast<const uint8_t*>(framed.data()), framed.size());
}

std::string receiveText(int32_t socket) {
    std::string digits;
    for (uint8_t byte = receiveByte(socket); byte != '\n'; byte = receiveByte(socket)) {
        digits.push_back(static_cast<char>(byte));
    }
    std::string text(std::stoul(digits), '\0');
    size_t done = 0;
    while (done < text.size()) {
        const size_t count = peer_sockets::receiveSome(socket, reinterpret_cast<uint8_t*>(text.data()) + done,
                                                       text.size() - done, kAtMostMilliseconds);
        if (count == 0) {
            throw std::runtime_error("the connection to the launcher has ended");
        }
        done += count;
    }
    return text;
}

}  // namespace remote_child

namespace {

class RemoteChild : public ChildProgram {
  public:
    RemoteChild(int launcherPort, const std::vector<std::string>& arguments)
        : socket_(peer_sockets::connectToLoopback(launcherPort)) {
        remote_child::sendText(socket_, std::to_string(arguments.size()));
        for (const std::string& argument : arguments) {
            remote_child::sendText(socket_, argumentOutside(argument));
        }
    }
    ~RemoteChild() override {
        peer_sockets::closeSocket(socket_);
    }
    RemoteChild(const RemoteChild&) = delete;
    RemoteChild& operator=(const RemoteChild&) = delete;

    int64_t processId() const override {
        return std::stoll(ask("process-id"));
    }
    std::optional<std::string> firstLine(std::chrono::milliseconds atMost) override {
        const std::string answer = ask("first-line " + std::to_string(atMost.count()));
        return answer.empty() ? std::nullopt : std::optional(answer.substr(1));
    }
    void closeStandardInput() override {
        ask("close-input");
    }
    std::optional<int> waitForEnd(std::chrono::milliseconds atMost) override {
        const std::string answer = ask("wait " + std::to_string(atMost.count()));
        return answer.empty() ? std::nullopt : std::optional(std::stoi(answer));
    }
    std::string standardOutput() const override {
        return ask("output");
    }
    std::string standardError() const override {
        return ask("errors");
    }

  private:
    std::string ask(const std::string& command) const {
        remote_child::sendText(socket_, command);
        return remote_child::receiveText(socket_);
    }

    int32_t socket_;
};

}  // namespace

std::unique_ptr<ChildProgram> startRemoteChild(int launcherPort, const std::vector<std::string>& arguments) {
    return std::make_unique<RemoteChild>(launcherPort, arguments);
}

}  // namespace test_support
