// Sockets on loopback for the tests' own ends of connections. Handled as the numbers that the library under test has
// for them; what differs between the systems stands behind this.
#ifndef TESTS_SUPPORT_PEER_SOCKETS_H
#define TESTS_SUPPORT_PEER_SOCKETS_H

#include <cstddef>
#include <cstdint>

namespace test_support::peer_sockets {

constexpr std::int32_t kNone = -1;

struct Listener {
    std::int32_t socket;
    int port;
};

// On 127.0.0.1, on a port that the kernel chooses. Throws std::runtime_error, as does everything here that can fail.
Listener listenOnLoopback(int backlog);
// A port that is taken, but refuses connections.
Listener refuseOnLoopback();
std::int32_t acceptConnection(std::int32_t listener, int milliseconds);
std::int32_t connectToLoopback(int port);
// Starts a connect and returns without waiting for what comes of it.
std::int32_t beginConnectToLoopback(int port);
// Whether a connect that was begun ends, well or badly, within this time.
bool hasConnectEnded(std::int32_t socket, int milliseconds);
// Whether bytes, or the end of the stream, come within this time; a negative one is no limit.
bool isReadable(std::int32_t socket, int milliseconds);
void sendAll(std::int32_t socket, const std::uint8_t* data, std::size_t size);
// The number of bytes received, at least one within the time; 0 at the end of the stream or after a reset.
std::size_t receiveSome(std::int32_t socket, std::uint8_t* data, std::size_t size, int milliseconds);
// Bytes that have arrived at a socket and have not been received yet.
std::size_t bytesWaiting(std::int32_t socket);
void makeCloseReset(std::int32_t socket);
void shutDown(std::int32_t socket);
void closeSocket(std::int32_t socket);

}  // namespace test_support::peer_sockets

#endif
