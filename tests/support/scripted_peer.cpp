#include "scripted_peer.h"

#include <chrono>
#include <stdexcept>

namespace test_support {

namespace {

constexpr int kAtMostMilliseconds = 20000;
constexpr std::chrono::milliseconds kAtMost{kAtMostMilliseconds};

size_t wordAt(const Bytes& bytes, size_t offset) {
    size_t word = 0;
    for (size_t index = offset; index < offset + 4; ++index) {
        word = word << 8 | bytes.at(index);
    }
    return word;
}

}  // namespace

size_t PeerConnection::receiveUpTo(uint8_t* data, size_t count) {
    size_t done = 0;
    bool ended = false;
    while (done < count && !ended) {
        const size_t piece = peer_sockets::receiveSome(socket_, data + done, count - done, kAtMostMilliseconds);
        done += piece;
        ended = piece == 0;
    }
    return done;
}

Bytes PeerConnection::expect(size_t count) {
    Bytes bytes(count);
    const size_t done = receiveUpTo(bytes.data(), count);
    if (done < count) {
        throw std::runtime_error("only " + std::to_string(done) + " of " + std::to_string(count) + " bytes came");
    }
    const std::lock_guard<std::mutex> lock(peer_.mutex_);
    peer_.requests_.push_back(bytes);
    return bytes;
}

Bytes PeerConnection::expectFrame() {
    constexpr size_t kNameOffset = 24;
    Bytes bytes(kNameOffset);
    size_t done = receiveUpTo(bytes.data(), bytes.size());
    if (done == 0) {
        return {};
    }
    for (const bool isBody : {false, true}) {
        if (done == bytes.size()) {
            const size_t more = isBody ? wordAt(bytes, done - 4) : wordAt(bytes, 20) + 5;
            bytes.resize(done + more);
            done += receiveUpTo(bytes.data() + done, more);
        }
    }
    if (done < bytes.size()) {
        throw std::runtime_error("the stream ended in the middle of a frame");
    }
    const std::lock_guard<std::mutex> lock(peer_.mutex_);
    peer_.requests_.push_back(bytes);
    return bytes;
}

void PeerConnection::expectEnd() {
    Bytes bytes;
    uint8_t byte = 0;
    while (receiveUpTo(&byte, 1) == 1) {
        bytes.push_back(byte);
    }
    if (!bytes.empty()) {
        const std::lock_guard<std::mutex> lock(peer_.mutex_);
        peer_.requests_.push_back(bytes);
    }
}

void PeerConnection::send(const Bytes& bytes) {
    peer_sockets::sendAll(socket_, bytes.data(), bytes.size());
}

void PeerConnection::awaitDrained() {
    const auto deadline = std::chrono::steady_clock::now() + kAtMost;
    while (peer_sockets::bytesWaiting(peer_.watched_) > 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            throw std::runtime_error("the other end does not receive what was sent");
        }
        std::this_thread::yield();
    }
}

void PeerConnection::sendPieces(const std::vector<Bytes>& pieces) {
    for (const Bytes& piece : pieces) {
        send(piece);
        awaitDrained();
    }
}

void PeerConnection::sendByteByByte(const Bytes& bytes) {
    for (const uint8_t byte : bytes) {
        sendPieces({{byte}});
    }
}

void PeerConnection::close() {
    peer_.closeCurrent(&socket_, false);
}

void PeerConnection::reset() {
    peer_.closeCurrent(&socket_, true);
}

void PeerConnection::announce() {
    const std::lock_guard<std::mutex> lock(peer_.mutex_);
    ++peer_.announcements_;
    peer_.changed_.notify_all();
}

void PeerConnection::stall() {
    std::unique_lock<std::mutex> lock(peer_.mutex_);
    if (!peer_.changed_.wait_for(lock, kAtMost, [this] { return peer_.released_ || peer_.stopping_; })) {
        throw std::runtime_error("the test never released the stalled peer");
    }
}

ScriptedPeer::ScriptedPeer(Script script, int connections)
    : script_(std::move(script)), listener_(peer_sockets::listenOnLoopback(8)) {
    thread_ = std::thread([this, connections] { run(connections); });
}

ScriptedPeer::~ScriptedPeer() {
    stop();
    thread_.join();
    peer_sockets::closeSocket(listener_.socket);
}

void ScriptedPeer::run(int connections) {
    std::string failure;
    try {
        for (int count = 0; count < connections; ++count) {
            serve(peer_sockets::acceptConnection(listener_.socket, kAtMostMilliseconds));
        }
    } catch (const std::exception& exception) {
        failure = exception.what();
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    failure_ = failure;
    ended_ = true;
    changed_.notify_all();
}

void ScriptedPeer::serve(int32_t socket) {
    PeerConnection connection(*this, socket);
    bool stopping = false;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        current_ = socket;
        stopping = stopping_;
    }
    try {
        if (stopping) {
            throw std::runtime_error("nobody connected");
        }
        script_(connection);
    } catch (...) {
        closeCurrent(&connection.socket_, false);
        throw;
    }
    closeCurrent(&connection.socket_, false);
}

void ScriptedPeer::closeCurrent(int32_t* socket, bool reset) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (*socket != peer_sockets::kNone) {
        if (reset) {
            peer_sockets::makeCloseReset(*socket);
        }
        peer_sockets::closeSocket(*socket);
        *socket = peer_sockets::kNone;
        current_ = peer_sockets::kNone;
    }
}

void ScriptedPeer::stop() {
    bool accepting = false;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
        changed_.notify_all();
        if (current_ != peer_sockets::kNone) {
            peer_sockets::shutDown(current_);
        }
        accepting = !ended_;
    }
    if (accepting) {
        try {
            peer_sockets::closeSocket(peer_sockets::connectToLoopback(listener_.port));  // wakes a waiting accept
        } catch (const std::exception&) {
            // The listener's queue is full: then accept does not wait.
        }
    }
}

void ScriptedPeer::release() {
    const std::lock_guard<std::mutex> lock(mutex_);
    released_ = true;
    changed_.notify_all();
}

void ScriptedPeer::awaitAnnouncement(int count) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (!changed_.wait_for(lock, kAtMost, [this, count] { return announcements_ >= count || ended_; }) ||
        announcements_ < count) {
        throw std::runtime_error("the peer has not come that far: " + failure_);
    }
}

std::string ScriptedPeer::finish() {
    std::unique_lock<std::mutex> lock(mutex_);
    if (!changed_.wait_for(lock, kAtMost, [this] { return ended_; })) {
        return "the script does not end";
    }
    return failure_;
}

std::vector<Bytes> ScriptedPeer::requests() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return requests_;
}

ConnectedPeer::ConnectedPeer(ScriptedPeer::Script script)
    : peer_([this, script = std::move(script)](PeerConnection& connection) {
          // The script waits until the other end is known to it.
          {
              std::unique_lock<std::mutex> lock(peer_.mutex_);
              peer_.changed_.wait_for(lock, kAtMost,
                                      [this] { return peer_.watched_ != peer_sockets::kNone || peer_.stopping_; });
          }
          script(connection);
      }),
      socket_(peer_sockets::kNone) {
    socket_ = peer_sockets::connectToLoopback(peer_.port());
    const std::lock_guard<std::mutex> lock(peer_.mutex_);
    peer_.watched_ = socket_;
    peer_.changed_.notify_all();
}

ConnectedPeer::~ConnectedPeer() {
    if (socket_ != peer_sockets::kNone) {
        peer_sockets::shutDown(socket_);  // ends a script that waits for more
    }
    peer_.stop();
    peer_.finish();
    if (socket_ != peer_sockets::kNone) {
        peer_sockets::closeSocket(socket_);
    }
}

}  // namespace test_support
