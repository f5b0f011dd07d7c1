// The other end of a connection, in the test process: a listener on loopback whose connections are served by a script
// on a thread of its own. Everything is bounded in time.
#ifndef ZULSTATS_TESTS_SUPPORT_SCRIPTED_PEER_H
#define ZULSTATS_TESTS_SUPPORT_SCRIPTED_PEER_H

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "bytes.h"
#include "peer_sockets.h"

namespace test_support {

class ScriptedPeer;

// One connection of a peer, for its script. Everything throws std::runtime_error when it fails or takes too long; the
// exception ends the script and is what ScriptedPeer::finish then tells.
class PeerConnection {
  public:
    // Receives exactly that many bytes, and records them as one request.
    Bytes expect(size_t count);
    // Receives a whole frame, header and body, and records it as one request. Empty when the stream has ended.
    Bytes expectFrame();
    // Receives until the other end closes, and records what came, unless that is nothing.
    void expectEnd();
    void send(const Bytes& bytes);
    // Sends each piece when all before it have been received. The other end must be that of a ConnectedPeer.
    void sendPieces(const std::vector<Bytes>& pieces);
    void sendByteByByte(const Bytes& bytes);
    // Waits until the other end has received all that was sent to it; as sendPieces.
    void awaitDrained();
    void close();
    // Closes so that the other end sees a reset.
    void reset();
    // Tells the test that the script has come to this place.
    void announce();
    // Waits until the test calls release, or ends.
    void stall();

  private:
    friend class ScriptedPeer;
    PeerConnection(ScriptedPeer& peer, int32_t socket) : peer_(peer), socket_(socket) {}
    size_t receiveUpTo(uint8_t* data, size_t count);

    ScriptedPeer& peer_;
    int32_t socket_;
};

class ScriptedPeer {
  public:
    using Script = std::function<void(PeerConnection&)>;

    // Serves that many connections, one after the other, each by the script.
    explicit ScriptedPeer(Script script, int connections = 1);
    // Ends the script, wherever it is.
    ~ScriptedPeer();
    ScriptedPeer(const ScriptedPeer&) = delete;
    ScriptedPeer& operator=(const ScriptedPeer&) = delete;

    int port() const {
        return listener_.port;
    }
    // Lets stall go on, now and from now on.
    void release();
    // Waits until the script has announced itself that many times; throws when it takes too long.
    void awaitAnnouncement(int count = 1);
    // Waits until the script has ended; empty when all went as it wanted, else what went wrong.
    std::string finish();
    // What the script has recorded.
    std::vector<Bytes> requests();

  private:
    friend class PeerConnection;
    friend class ConnectedPeer;
    void run(int connections);
    void serve(int32_t socket);
    void closeCurrent(int32_t* socket, bool reset);
    void stop();

    Script script_;
    peer_sockets::Listener listener_;
    int32_t watched_ = peer_sockets::kNone;  // the other end, where it is known
    std::mutex mutex_;
    std::condition_variable changed_;
    int32_t current_ = peer_sockets::kNone;
    bool stopping_ = false;
    bool released_ = false;
    bool ended_ = false;
    int announcements_ = 0;
    std::string failure_;
    std::vector<Bytes> requests_;
    std::thread thread_;
};

// A peer with one connection, of which the test holds the other end.
class ConnectedPeer {
  public:
    explicit ConnectedPeer(ScriptedPeer::Script script);
    ~ConnectedPeer();
    ConnectedPeer(const ConnectedPeer&) = delete;
    ConnectedPeer& operator=(const ConnectedPeer&) = delete;

    int32_t socket() const {
        return socket_;
    }
    // The socket, which the caller closes from now on.
    int32_t takeSocket() {
        return std::exchange(socket_, peer_sockets::kNone);
    }
    ScriptedPeer& peer() {
        return peer_;
    }
    std::string finish() {
        return peer_.finish();
    }
    std::vector<Bytes> requests() {
        return peer_.requests();
    }

  private:
    ScriptedPeer peer_;
    int32_t socket_;
};

}  // namespace test_support

#endif
