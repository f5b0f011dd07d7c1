// Turns a host and a port into a connected, handshaken and authorised socket, and takes such a socket down again.
#ifndef ZULSTATS_GATEWAY_STAPI_ZUL_GWYCON_H
#define ZULSTATS_GATEWAY_STAPI_ZUL_GWYCON_H

#include <cstdint>

#include "comms/exchange_records.h"
#include "comms/gateway_token.h"
#include "platform/platform.h"

namespace stapi {

// Codes of connecting, which are not those that a caller of the library gets.
constexpr int32_t kConnectFailed = -100;
constexpr int32_t kConnectHostUnknown = -101;
constexpr int32_t kConnectNoSocket = -102;
constexpr int32_t kConnectTimedOut = -103;
constexpr int32_t kConnectRefused = -104;
constexpr int32_t kConnectUnreachable = -105;

// Connects, shakes hands and authorises. *socketDescriptorPtr receives the socket as soon as there is one, also when a
// later step fails: the caller closes it. A token is told of the socket too (noteSocket). 0; -100 connect or handshake
// failed; -101 host not resolved; -102 no socket; -103 timed out; -104 refused; -105 unreachable; a code of
// authorizeConnection.
int32_t connectToGateway(int32_t port, const char* ipAddr, int32_t* socketDescriptorPtr, GatewayToken* token = nullptr);

// Resolves a host and port. 0, and the caller releases *result with releaseHostAddress; -101.
int32_t getHostInfo(const char* hostname, int32_t port, platform::HostAddress* result);

// Waits for a started connect to end. 0; -100 it failed, with the socket's error in *error; -103 it timed out.
int32_t waitForConnection(const int32_t* socketDescriptorPtr, int32_t* error);

// Runs both authorisation steps on a connected socket. 0, or the code of the step that failed.
int32_t authorizeConnection(int32_t socketDescriptor, ReasonsBlock* reasons);

// Sends the close request, whatever comes of it, and closes the socket. 0, or -1 when closing failed.
int32_t closeConnection(const int32_t* socketDescriptorPtr);

}  // namespace stapi

#endif
