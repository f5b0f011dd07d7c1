// Answers every request with bytes that were prepared beforehand, for any number of connections in one thread. Whoever
// asks for a shape for the first time waits for its preparation.
//   replay_server [--cpu N]     prints "listening on PORT" and serves until its standard input ends; then it prints how
//                               many requests that differ from each other it has seen
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sched.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "wire_bytes.h"

namespace {

constexpr size_t kMostRequestBytes = 65536;
constexpr int kBacklog = 512;
constexpr int kMostEvents = 64;

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "replay_server: %s: %s\n", what, std::strerror(errno));
    std::exit(1);
}

int32_t check(int32_t result, const char* what) {
    if (result < 0) {
        fail(what);
    }
    return result;
}

void pinTo(uint32_t processor) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(processor, &set);
    check(sched_setaffinity(0, sizeof set, &set), "cannot use the processor that --cpu names");
}

// False when the client has gone.
bool sendAll(int32_t socket, const bench::Bytes& bytes) {
    size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count = send(socket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count < 0 && errno != EINTR) {
            return false;
        }
        sent += count < 0 ? 0 : static_cast<size_t>(count);
    }
    return true;
}

class Server {
  public:
    explicit Server(int32_t listener) : listener_(listener), events_(check(epoll_create1(0), "epoll_create1")) {
        watch(listener_);
        watch(STDIN_FILENO);
    }

    void serve() {
        bool isServing = true;
        while (isServing) {
            epoll_event ready[kMostEvents];
            const int32_t count = epoll_wait(events_, ready, kMostEvents, -1);
            for (int32_t index = 0; index < count && isServing; ++index) {
                isServing = handle(ready[index].data.fd);
            }
        }
    }

    size_t differentRequests() const {
        return replies_.size();
    }

  private:
    void watch(int32_t descriptor) {
        epoll_event event = {};
        event.events = EPOLLIN;
        event.data.fd = descriptor;
        // A standard input that is a file cannot be watched; it has ended then.
        check(epoll_ctl(events_, EPOLL_CTL_ADD, descriptor, &event), "cannot watch a descriptor (is stdin a pipe?)");
    }

    // False when the server is to end.
    bool handle(int32_t descriptor) {
        if (descriptor == STDIN_FILENO) {
            char ignored[256];
            return read(STDIN_FILENO, ignored, sizeof ignored) > 0;
        }
        if (descriptor == listener_) {
            acceptConnection();
        } else if (!receive(descriptor)) {
            received_.erase(descriptor);
            close(descriptor);
        }
        return true;
    }

    void acceptConnection() {
        const int32_t socket = check(accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC), "accept4");
        const int32_t on = 1;
        check(setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on), "TCP_NODELAY");
        watch(socket);
        received_[socket].clear();
    }

    // False when the connection has ended.
    bool receive(int32_t socket) {
        bench::Bytes& bytes = received_[socket];
        const size_t before = bytes.size();
        bytes.resize(before + kMostRequestBytes);
        const ssize_t count = recv(socket, bytes.data() + before, kMostRequestBytes, 0);
        bytes.resize(before + (count < 0 ? 0 : static_cast<size_t>(count)));
        bool isGood = count > 0;
        while (isGood) {
            const std::optional<size_t> length = bench::requestLength(bytes.data(), bytes.size());
            if (!length || *length > bytes.size()) {
                return bytes.size() < kMostRequestBytes;
            }
            isGood = sendAll(socket, replyTo(bytes.data(), *length));
            bytes.erase(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(*length));
        }
        return false;
    }

    // A request is answered by its bytes: equal requests have equal replies.
    const bench::Bytes& replyTo(const uint8_t* request, size_t size) {
        const std::string_view key(reinterpret_cast<const char*>(request), size);
        auto found = replies_.find(key);
        if (found == replies_.end()) {
            bench::Request asked = bench::readRequest(request, size);
            if (!asked.isKnown) {
                std::fprintf(stderr, "replay_server: a request of %zu bytes is none that it knows\n", size);
                std::exit(1);
            }
            bench::Bytes reply = asked.query ? bench::queryReply(*asked.query) : asked.reply;
            found = replies_.emplace(std::string(key), std::move(reply)).first;
        }
        return found->second;
    }

    int32_t listener_;
    int32_t events_;
    std::map<int32_t, bench::Bytes> received_;
    std::map<std::string, bench::Bytes, std::less<>> replies_;
};

int32_t listenOnLoopback() {
    const int32_t listener = check(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket");
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    check(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), "bind");
    check(listen(listener, kBacklog), "listen");
    socklen_t length = sizeof address;
    check(getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length), "getsockname");
    std::printf("listening on %d\n", ntohs(address.sin_port));
    std::fflush(stdout);
    return listener;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 1) {
        const bool isPinned = argc == 3 && std::string_view(argv[1]) == "--cpu";
        const auto processor = bench::numberFromText(isPinned ? argv[2] : "", CPU_SETSIZE - 1);
        if (!processor) {
            std::fprintf(stderr, "usage: replay_server [--cpu N]\n");
            return 2;
        }
        pinTo(*processor);
    }
    Server server(listenOnLoopback());
    server.serve();
    std::printf("requests %zu\n", server.differentRequests());
    return 0;
}
