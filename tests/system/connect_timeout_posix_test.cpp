// A listener that neither accepts nor refuses: the open gives up after 60 seconds.
#include <cstddef>
#include <cstdint>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "system_fixture.h"
#include "trace_text.h"

namespace system_test {

namespace {

// A port whose queue of waiting connections is full.
class FullPort {
  public:
    FullPort() : listener_(newSocket(0)) {
        sockaddr_in address = loopback(0);
        socklen_t size = sizeof address;
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        ::bind(listener_, generic, size);
        ::listen(listener_, 0);
        ::getsockname(listener_, generic, &size);
        port_ = ntohs(address.sin_port);
        fill();
    }
    ~FullPort() {
        for (const int waiting : waiting_) {
            ::close(waiting);
        }
        ::close(listener_);
    }
    FullPort(const FullPort&) = delete;
    FullPort& operator=(const FullPort&) = delete;

    int port() const {
        return port_;
    }
    bool isFull() const {
        return full_;
    }

  private:
    static int newSocket(int flags) {
        return ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | flags, 0);
    }
    static sockaddr_in loopback(int port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(static_cast<uint16_t>(port));
        return address;
    }
    // Until one more is no longer connected within a second: the system then drops what comes.
    void fill() {
        constexpr size_t kMost = 64;
        constexpr int kMilliseconds = 1000;
        const sockaddr_in address = loopback(port_);
        while (!full_ && waiting_.size() < kMost) {
            waiting_.push_back(newSocket(SOCK_NONBLOCK));
            ::connect(waiting_.back(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
            pollfd connected{waiting_.back(), POLLOUT, 0};
            full_ = ::poll(&connected, 1, kMilliseconds) == 0;
        }
    }

    int listener_;
    int port_ = 0;
    bool full_ = false;
    std::vector<int> waiting_;
};

}  // namespace

class ConnectTimeout : public SystemTest {};

TEST_F(ConnectTimeout, ListenerThatNeitherAcceptsNorRefuses) {
    const FullPort full;
    ASSERT_TRUE(full.isFull());
    const TraceCapture trace(1);
    GatewayToken* token = nullptr;
    char* protocol = nullptr;
    EXPECT_EQ(openGatewayConnection(full.port(), &token, &protocol), STAPI_RC_CONNECT_TIMEOUT);
    EXPECT_EQ(token, nullptr);
    EXPECT_EQ(test_support::messagesOfPoint(trace.text(), 3016).size(), 1U);
    const std::vector<std::string> failures = test_support::messagesOfPoint(trace.text(), 2004);
    ASSERT_EQ(failures.size(), 1U);
    EXPECT_NE(failures[0].find("connect rc = -103"), std::string::npos) << failures[0];
}

}  // namespace system_test
