// A connect as the connection module makes it.
#ifndef ZULSTATS_TESTS_WIRE_CONNECTING_H
#define ZULSTATS_TESTS_WIRE_CONNECTING_H

#include <cstdint>
#include <string>
#include <vector>

#include "gateway/stapi_zul_gwycon.h"
#include "platform/platform.h"
#include "scripted_peer.h"
#include "trace_capture.h"

namespace wire_test {

// Connects, and closes the socket that comes of it, if any.
struct Connecting {
    ~Connecting() {
        if (socket >= 0) {
            test_support::peer_sockets::closeSocket(socket);
        }
    }
    int32_t run(int port, const char* host = "127.0.0.1") {
        return stapi::connectToGateway(port, host, &socket);
    }

    int32_t socket = -77;
};

inline std::string socketErrorText(int32_t error) {
    char text[256] = {};
    stapi::platform::describeSocketError(error, text, sizeof text);
    return text;
}

// The points of the connection module, in the order of the lines.
inline std::vector<int> connectionPoints(const test_support::TraceCapture& trace) {
    std::vector<int> points;
    for (const int point : trace.points()) {
        if (point >= 3000 && point < 3100) {
            points.push_back(point);
        }
    }
    return points;
}

// "text (number)" of line 3006.
inline std::string unableToConnect(int32_t error) {
    return "stapi_zul_gwycon.connectToGateway() Unable to connect to Gateway: " + socketErrorText(error) + "(" +
           std::to_string(error) + ")";
}

}  // namespace wire_test

#endif
