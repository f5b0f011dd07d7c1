// Connections opened through the exported functions.
#ifndef ZULSTATS_TESTS_WIRE_OPEN_CONNECTION_H
#define ZULSTATS_TESTS_WIRE_OPEN_CONNECTION_H

#include <gtest/gtest.h>

#include <cstdint>

#include "gateway/stapi_zul_gwytok.h"
#include "gateway_peer.h"
#include "zulstats64.h"

namespace wire_test {

// The list of connections is empty before and after each test.
class ConnectionTest : public testing::Test {
  protected:
    void SetUp() override {
        setAPITraceLevel(0);
        ASSERT_EQ(stapi::gtlHead, nullptr);
    }
    void TearDown() override {
        EXPECT_EQ(stapi::gtlHead, nullptr) << "a connection was left on the list";
        closeAllGatewayConnections();
    }
};

// A connection to a peer; what it is not closed by the test, it is at the end.
struct OpenConnection {
    explicit OpenConnection(int port) {
        rc = openGatewayConnection(port, &token, &version);
    }
    ~OpenConnection() {
        if (token != nullptr && stapi::gtlHead != nullptr) {
            closeGatewayConnection(&token);
        }
    }
    OpenConnection(const OpenConnection&) = delete;
    OpenConnection& operator=(const OpenConnection&) = delete;

    GatewayToken* token = nullptr;
    char* version = nullptr;
    int32_t rc = 0;
};

// An address that no token has; a pointer that holds it must not be changed.
inline GatewayToken* untouchedToken() {
    static GatewayToken marker = {};
    return &marker;
}

}  // namespace wire_test

#endif
