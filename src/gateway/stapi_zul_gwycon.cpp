#include "gateway/stapi_zul_gwycon.h"

#include "api/zulstats64.h"
#include "comms/stapi_zul_socketcomms.h"
#include "diag/stapi_zul_diag.h"
#include "gateway/token_life.h"

namespace stapi {

namespace {

constexpr size_t kPortTextArea = 16;
constexpr size_t kErrorTextArea = 256;
constexpr uint32_t kAuthorisationInitLength = 4;
constexpr uint32_t kAuthorisationFinalLength = 20;

struct ErrorText {
    char text[kErrorTextArea];
};

ErrorText socketErrorText(int32_t error) {
    ErrorText result = {};
    platform::describeSocketError(error, result.text, sizeof result.text);
    return result;
}

ErrorText resolverErrorText(int32_t error) {
    ErrorText result = {};
    platform::describeResolverError(error, result.text, sizeof result.text);
    return result;
}

void tellToken(GatewayToken* token, int32_t socketDescriptor) {
    if (token != nullptr) {
        noteSocket(token, socketDescriptor);
    }
}

int32_t makeSocket(const platform::HostAddress& address, int32_t* socketDescriptorPtr, int32_t* error) {
    int32_t rc = STAPI_RC_OK;
    TRACE_DEBUG(3013, "stapi_zul_gwycon.connectToGateway Creating socket for family %d, type %d, protocol %d\n",
                address.family, address.type, address.protocol);
    const platform::SocketResult created = platform::createSocket(address);
    *socketDescriptorPtr = created.value;
    if (created.value < 0) {
        *error = created.error;
        TRACE_EXC(3001, "stapi_zul_gwycon.connectToGateway() Unable to create a socket: %s(%d)\n",
                  socketErrorText(created.error).text, created.error);
        rc = kConnectNoSocket;
    }
    return rc;
}

int32_t prepareSocket(int32_t socketDescriptor) {
    int32_t rc = STAPI_RC_OK;
    if (platform::setConnectionOptions(socketDescriptor).value < 0) {
        TRACE_DEBUG(3002, "stapi_zul_gwycon.connectToGateway() Set socket to KeepAlive or NoDelay failed: %d\n",
                    socketDescriptor);
        rc = kConnectNoSocket;
    } else {
        TRACE_DEBUG(3002, "stapi_zul_gwycon.connectToGateway() Created socket: %d\n", socketDescriptor);
    }
    if (rc == STAPI_RC_OK) {
        const platform::SocketResult switched = platform::setNonBlocking(socketDescriptor, true);
        if (switched.value < 0) {
            TRACE_DEBUG(3019,
                        "stapi_zul_gwycon.connectToGateway() Set Non-Blocking IOCTL failed with Rc=%d, errno=%d\n",
                        switched.value, switched.error);
            rc = kConnectNoSocket;
        }
    }
    return rc;
}

// The connect itself: 0, -1 it failed at once, or the code of the wait.
int32_t startAndAwaitConnect(const platform::HostAddress& address, const int32_t* socketDescriptorPtr, int32_t* error,
                             GatewayToken* token) {
    const platform::SocketResult connected = platform::startConnect(*socketDescriptorPtr, address);
    // Told again: a socket that was cut off before its connect is not, and would be waited for.
    tellToken(token, *socketDescriptorPtr);
    int32_t outcome = connected.value;
    *error = connected.error;
    if (outcome == -1 && *error == platform::kErrorWouldBlock) {
        TRACE_DEBUG(3018, "stapi_zul_gwycon.connectToGateway() Waiting for connect to complete\n");
        outcome = waitForConnection(socketDescriptorPtr, error);
    }
    return outcome;
}

int32_t returnToBlocking(int32_t socketDescriptor, int32_t* error) {
    const platform::SocketResult switched = platform::setNonBlocking(socketDescriptor, false);
    if (switched.value < 0) {
        *error = switched.error;
        TRACE_DEBUG(3020, "stapi_zul_gwycon.connectToGateway() Set Blocking IOCTL failed with Rc=%d, errno=%d\n",
                    switched.value, switched.error);
    }
    return switched.value < 0 ? -1 : 0;
}

int32_t connectFailureCode(int32_t outcome, int32_t error) {
    int32_t rc = kConnectFailed;
    if (outcome == kConnectTimedOut) {
        rc = kConnectTimedOut;
    } else if (error == platform::kErrorNetworkUnreachable) {
        rc = kConnectUnreachable;
    } else if (error == platform::kErrorConnectionRefused) {
        rc = kConnectRefused;
    }
    return rc;
}

int32_t connectSocket(const platform::HostAddress& address, const char* ipAddr, int32_t port,
                      const int32_t* socketDescriptorPtr, int32_t* error, GatewayToken* token) {
    int32_t rc = STAPI_RC_OK;
    int32_t outcome = startAndAwaitConnect(address, socketDescriptorPtr, error, token);
    if (outcome == 0) {
        TRACE_DEBUG(3003, "stapi_zul_gwycon.connectToGateway() Connected to Gateway %s:%u\n", ipAddr,
                    static_cast<uint32_t>(port));
        outcome = returnToBlocking(*socketDescriptorPtr, error);
    }
    if (outcome != 0) {
        TRACE_EXC(3006, "stapi_zul_gwycon.connectToGateway() Unable to connect to Gateway: %s(%d)\n",
                  socketErrorText(*error).text, *error);
        rc = connectFailureCode(outcome, *error);
    }
    return rc;
}

int32_t shakeHands(int32_t socketDescriptor, ReasonsBlock* reasons) {
    int32_t rc = STAPI_RC_OK;
    const int32_t handshakeRc = flowHandshakeRequest(socketDescriptor, reasons);
    if (handshakeRc != STAPI_RC_OK) {
        TRACE_EXC(3005,
                  "stapi_zul_gwycon.connectToGateway() Handshake flows failed rc=%d errno=%s gwyRc=%d authRc=%d\n",
                  handshakeRc, socketErrorText(reasons->errno_).text, reasons->gwyRc, reasons->authRc);
        rc = kConnectFailed;
    } else {
        TRACE_DEBUG(3004, "stapi_zul_gwycon.connectToGateway() Flowed Handshake to the Gateway\n");
    }
    return rc;
}

}  // namespace

int32_t connectToGateway(int32_t port, const char* ipAddr, int32_t* socketDescriptorPtr, GatewayToken* token) {
    TRACE_ENTRY(3000, "stapi_zul_gwycon.connectToGateway(port=%d, ipAddr=%p, socketDescriptorPtr=%p)\n", port,
                at(ipAddr), at(socketDescriptorPtr));
    ReasonsBlock reasons = {};
    int32_t error = 0;
    platform::HostAddress address = {};
    int32_t rc = getHostInfo(ipAddr, port, &address);
    if (rc == STAPI_RC_OK) {
        rc = makeSocket(address, socketDescriptorPtr, &error);
    }
    if (rc == STAPI_RC_OK) {
        tellToken(token, *socketDescriptorPtr);
        rc = prepareSocket(*socketDescriptorPtr);
    }
    if (rc == STAPI_RC_OK) {
        rc = connectSocket(address, ipAddr, port, socketDescriptorPtr, &error, token);
    }
    if (rc == STAPI_RC_OK) {
        tellToken(token, *socketDescriptorPtr);
        rc = shakeHands(*socketDescriptorPtr, &reasons);
    }
    if (rc == STAPI_RC_OK) {
        rc = authorizeConnection(*socketDescriptorPtr, &reasons);
    }
    platform::releaseHostAddress(&address);
    TRACE_EXIT(3007, "stapi_zul_gwycon.connectToGateway(port=%d, ipAddr=%p, socketDescriptorPtr=%p) connectRc=%d\n",
               port, at(ipAddr), at(socketDescriptorPtr), rc);
    return rc;
}

int32_t getHostInfo(const char* hostname, int32_t port, platform::HostAddress* result) {
    int32_t rc = STAPI_RC_OK;
    char portText[kPortTextArea] = {};
    traceSprintf(portText, sizeof portText, "%d", port);
    const platform::SocketResult resolved = platform::resolveHost(hostname, portText, result);
    if (resolved.value != 0) {
        TRACE_EXC(3012, "stapi_zul_gwycon.getHostInfo() Unable to resolve host (%s:%s): %s(%d)\n", hostname, portText,
                  resolverErrorText(resolved.error).text, resolved.error);
        rc = kConnectHostUnknown;
    }
    return rc;
}

int32_t waitForConnection(const int32_t* socketDescriptorPtr, int32_t* error) {
    int32_t rc = STAPI_RC_OK;
    TRACE_DEBUG(3014, "stapi_zul_gwycon.waitForConnection Calling select() on socketdescriptor %d\n",
                *socketDescriptorPtr);
    const platform::ConnectWait wait = platform::waitForConnect(*socketDescriptorPtr);
    if (wait.ready > 0) {
        const int32_t pending = wait.mayHaveFailed ? platform::pendingSocketError(*socketDescriptorPtr).error : 0;
        if (pending != 0) {
            TRACE_EXC(3015, "stapi_zul_gwycon.waitForConnection socket %d connect() failed error %d\n",
                      *socketDescriptorPtr, pending);
            *error = pending;
            rc = kConnectFailed;
        }
    } else if (wait.ready == 0) {
        TRACE_EXC(3016, "stapi_zul_gwycon.waitForConnection socket %d connect timed out\n", *socketDescriptorPtr);
        rc = kConnectTimedOut;
    } else {
        TRACE_EXC(3017, "stapi_zul_gwycon.waitForConnection select call failed with error %d\n", wait.error);
        *error = wait.error;
        rc = kConnectFailed;
    }
    return rc;
}

int32_t authorizeConnection(int32_t socketDescriptor, ReasonsBlock* reasons) {
    TRACE_ENTRY(3010, "stapi_zul_gwycon.authorizeConnection(socketDescriptor=%d, reasons=%p)\n", socketDescriptor,
                at(reasons));
    AuthorisationRecord request = {};
    prepareHeader(&request.header, kRequestKindCommon, 0, kServerAuth, kAuthorisationInitLength);
    request.step = kAuthorisationStepInit;
    int32_t rc = flowAuthRequest(socketDescriptor, &request, reasons);
    if (rc == STAPI_RC_OK) {
        prepareHeader(&request.header, kRequestKindCommon, 0, kServerAuth, kAuthorisationFinalLength);
        request.step = kAuthorisationStepFinal;
        rc = flowAuthRequest(socketDescriptor, &request, reasons);
    }
    TRACE_EXIT(3011, "stapi_zul_gwycon.authorizeConnection(socketDescriptor=%d, reasons=%p) rc=%d\n", socketDescriptor,
               at(reasons), rc);
    return rc;
}

int32_t closeConnection(const int32_t* socketDescriptorPtr) {
    TRACE_ENTRY(3008, "stapi_zul_gwycon.closeConnection(socketDescriptorPtr=%p)\n", at(socketDescriptorPtr));
    ReasonsBlock reasons = {};
    flowCloseRequest(*socketDescriptorPtr, &reasons);
    const int32_t rc = platform::closeSocket(*socketDescriptorPtr).value;
    TRACE_EXIT(3009, "stapi_zul_gwycon.closeConnection(socketDescriptorPtr=%p) closeConnectionRc=%d\n",
               at(socketDescriptorPtr), rc);
    return rc;
}

}  // namespace stapi
