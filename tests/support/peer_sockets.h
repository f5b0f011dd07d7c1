// Sockets on loopback for the tests' own ends of connections. Handled as the numbers that the library under test has
// for them; what differs between the systems stands behind this.
#ifndef ZULSTATS_TESTS_SUPPORT_PEER_SOCKETS_H
#define ZULSTATS_TESTS_SUPPORT_PEER_SOCKETS_H

#include <cstddef>
#include <cstdint>

namespace test_support::peer_sockets {

constexpr int32_t kNone = -1;

struct Listener {
    int32_t socket;
    int port;
};

// On 127.0.0.1, on a port that the kernel chooses. Throws std::runtime_error, as does everything here that can fail.
Listener listenOnLoopback(int backlog);
// A port that is taken, but refuses connections.
Listener refuseOnLoopback();
int32_t acceptConnection(int32_t listener, int milliseconds);
int32_t connectToLoopback(int port);
// Starts a connect and returns without waiting for what comes of it.
int32_t beginConnectToLoopback(int port);
// Whether a connect that was begun ends, well or badly, within this time.
bool hasConnectEnded(int32_t socket, int milliseconds);
// Whether bytes, or the end of the stream, come within this time; a negative one is no limit.
bool isReadable(int32_t socket, int milliseconds);
void sendAll(int32_t socket, const uint8_t* data, size_t size);
// The number of bytes received, at least one within the time; 0 at the end of the stream or after a reset.
size_t receiveSome(int32_t socket, uint8_t* data, size_t size, int milliseconds);
// Bytes that have arrived at a socket and have not been received yet.
size_t bytesWaiting(int32_t socket);
void makeCloseReset(int32_t socket);
void shutDown(int32_t socket);
void closeSocket(int32_t socket);

}  // namespace test_support::peer_sockets

#endif
