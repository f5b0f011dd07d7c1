// Calls every exported function, in success and in failure, with the trace at level 4 in a file of its own.
//   trace_scenario TRACE_FILE PLAIN_PORT BAD_HANDSHAKE_PORT REFUSING_PORT DYING_PORT CLOSED_PORT
// The ports are those of a faultless gateway, of one that spoils the handshake, of one that refuses the authorisation,
// of one that cuts the reply to a query, and one on which nobody listens. Ends with 0 when every call gave the code
// that belongs to it.
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "zulstats64.h"

namespace {

int unexpected = 0;

void expect(const char* call, int32_t expected, int32_t code) {
    if (code != expected) {
        std::fprintf(stderr, "trace_scenario: %s gave %d instead of %d\n", call, static_cast<int>(code),
                     static_cast<int>(expected));
        ++unexpected;
    }
}

#define EXPECT_CODE(expected, call) expect(#call, expected, call)

void useTheLibraryItself() {
    char* version = nullptr;
    int32_t level = 0;
    EXPECT_CODE(STAPI_RC_OK, getStatsAPIVersion(&version));
    EXPECT_CODE(STAPI_RC_NULL_POINTER, getStatsAPIVersion(nullptr));
    EXPECT_CODE(STAPI_RC_OK, getAPITraceLevel(&level));
    EXPECT_CODE(STAPI_RC_NULL_POINTER, getAPITraceLevel(nullptr));
    EXPECT_CODE(STAPI_RC_BAD_TRACE_LEVEL, setAPITraceLevel(6));
    EXPECT_CODE(STAPI_RC_TRACE_FILE_FAILED, setAPITraceFile("no/such/folder/trace.txt"));
    EXPECT_CODE(STAPI_RC_OK, dumpState());
}

void failToOpen(const char* name, int32_t port, int32_t expected) {
    GatewayToken* gateway = nullptr;
    char* version = nullptr;
    expect(name, expected, openGatewayConnection(port, &gateway, &version));
}

void giveBadArguments() {
    GatewayToken* gateway = nullptr;
    ResultSetToken* result = nullptr;
    char* version = nullptr;
    IdData id = {};
    StatData stat = {};
    char* query = nullptr;
    EXPECT_CODE(STAPI_RC_BAD_PORT, openGatewayConnection(0, &gateway, &version));
    EXPECT_CODE(STAPI_RC_NULL_TOKEN_POINTER, openGatewayConnection(1, nullptr, &version));
    EXPECT_CODE(STAPI_RC_NET_UNREACHABLE, openGatewayConnection(1, &gateway, nullptr));
    EXPECT_CODE(STAPI_RC_NULL_ARGUMENT, openRemoteGatewayConnection(nullptr, 1, &gateway, &version));
    EXPECT_CODE(STAPI_RC_NULL_TOKEN_POINTER, closeGatewayConnection(nullptr));
    EXPECT_CODE(STAPI_RC_NULL_TOKEN, closeGatewayConnection(&gateway));
    EXPECT_CODE(STAPI_RC_NULL_TOKEN, getResourceGroupIds(gateway, &result));
    EXPECT_CODE(STAPI_RC_NULL_TOKEN, getStatIds(gateway, &result));
    EXPECT_CODE(STAPI_RC_NULL_TOKEN, getStatIdsByStatGroupId(gateway, "memory", &result));
    EXPECT_CODE(STAPI_RC_NULL_TOKEN, getStats(gateway, &result));
    EXPECT_CODE(STAPI_RC_NULL_TOKEN, getStatsByStatId(gateway, "memory", &result));
    EXPECT_CODE(STAPI_RC_NULL_TOKEN, getStatsByStatGroupId(gateway, "memory", &result));
    EXPECT_CODE(STAPI_RC_NULL_RESULT_SET, getFirstId(result, &id));
    EXPECT_CODE(STAPI_RC_NULL_RESULT_SET, getNextId(result, &id));
    EXPECT_CODE(STAPI_RC_NULL_RESULT_SET, getFirstStat(result, &stat));
    EXPECT_CODE(STAPI_RC_NULL_RESULT_SET, getNextStat(result, &stat));
    EXPECT_CODE(STAPI_RC_NULL_RESULT_SET, getIdQuery(result, &query));
    EXPECT_CODE(STAPI_RC_NULL_RESULT_SET, copyResultSet(result, &result));
    EXPECT_CODE(STAPI_RC_NULL_RESULT_SET_POINTER, freeResultSet(nullptr));
    EXPECT_CODE(STAPI_RC_NULL_RESULT_SET, freeResultSet(&result));
    EXPECT_CODE(STAPI_RC_NULL_RESULT_SET, dumpResultSet(result));
}

void walkIds(ResultSetToken* result) {
    IdData id = {};
    StatData stat = {};
    int32_t code = getFirstId(result, &id);
    while (code == STAPI_RC_OK) {
        code = getNextId(result, &id);
    }
    expect("the walk over ids", STAPI_RC_END_OF_DATA, code);
    EXPECT_CODE(STAPI_RC_WRONG_CONTENT, getFirstStat(result, &stat));
    EXPECT_CODE(STAPI_RC_WRONG_CONTENT, getNextStat(result, &stat));
}

void walkStats(ResultSetToken* result) {
    IdData id = {};
    StatData stat = {};
    int32_t code = getNextStat(result, &stat);
    while (code == STAPI_RC_OK) {
        code = getNextStat(result, &stat);
    }
    expect("the walk over statistics", STAPI_RC_END_OF_DATA, code);
    EXPECT_CODE(STAPI_RC_OK, getFirstStat(result, &stat));
    EXPECT_CODE(STAPI_RC_WRONG_CONTENT, getFirstId(result, &id));
    EXPECT_CODE(STAPI_RC_WRONG_CONTENT, getNextId(result, &id));
}

void copyAndFree(ResultSetToken* result) {
    ResultSetToken* copy = nullptr;
    EXPECT_CODE(STAPI_RC_NULL_RESULT_SET_POINTER, copyResultSet(result, nullptr));
    EXPECT_CODE(STAPI_RC_OK, copyResultSet(result, &copy));
    EXPECT_CODE(STAPI_RC_OK, dumpResultSet(copy));
    EXPECT_CODE(STAPI_RC_OK, freeResultSet(&copy));
    EXPECT_CODE(STAPI_RC_NOT_USER_RESULT_SET, freeResultSet(&result));
}

void useOneGateway(int32_t port) {
    GatewayToken* gateway = nullptr;
    char* version = nullptr;
    ResultSetToken* result = nullptr;
    char* query = nullptr;
    EXPECT_CODE(STAPI_RC_OK, openGatewayConnection(port, &gateway, &version));
    EXPECT_CODE(STAPI_RC_OK, getResourceGroupIds(gateway, &result));
    walkIds(result);
    EXPECT_CODE(STAPI_RC_NULL_ID, getStatIdsByStatGroupId(gateway, nullptr, &result));
    EXPECT_CODE(STAPI_RC_NULL_RESULT_SET_POINTER, getStatIds(gateway, nullptr));
    EXPECT_CODE(STAPI_RC_OK, getStatIds(gateway, &result));
    EXPECT_CODE(STAPI_RC_OK, getStatIdsByStatGroupId(gateway, "one:unknown:two", &result));
    walkIds(result);
    EXPECT_CODE(STAPI_RC_NULL_POINTER, getIdQuery(result, nullptr));
    EXPECT_CODE(STAPI_RC_OK, getIdQuery(result, &query));
    EXPECT_CODE(STAPI_RC_OK, getStatsByStatId(gateway, "one.number:unknown:two.text", &result));
    walkStats(result);
    copyAndFree(result);
    EXPECT_CODE(STAPI_RC_OK, getStatsByStatGroupId(gateway, "two", &result));
    walkStats(result);
    EXPECT_CODE(STAPI_RC_OK, getStats(gateway, &result));
    walkStats(result);
    EXPECT_CODE(STAPI_RC_OK, dumpState());
    EXPECT_CODE(STAPI_RC_OK, closeGatewayConnection(&gateway));
}

void queryADyingGateway(int32_t port) {
    GatewayToken* gateway = nullptr;
    char* version = nullptr;
    ResultSetToken* result = nullptr;
    EXPECT_CODE(STAPI_RC_OK, openGatewayConnection(port, &gateway, &version));
    EXPECT_CODE(STAPI_RC_BAD_EYECATCHER, getStats(gateway, &result));
    EXPECT_CODE(STAPI_RC_TOKEN_NOT_FOUND, getStats(gateway, &result));
    EXPECT_CODE(STAPI_RC_TOKEN_NOT_FOUND, closeGatewayConnection(&gateway));
}

void closeAll(int32_t port) {
    GatewayToken* gateways[2] = {};
    char* version = nullptr;
    for (GatewayToken*& gateway : gateways) {
        EXPECT_CODE(STAPI_RC_OK, openGatewayConnection(port, &gateway, &version));
    }
    EXPECT_CODE(STAPI_RC_OK, closeAllGatewayConnections());
    EXPECT_CODE(STAPI_RC_OK, closeAllGatewayConnections());
}

}  // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 7) {
        std::fprintf(
            stderr,
            "usage: trace_scenario TRACE_FILE PLAIN_PORT BAD_HANDSHAKE_PORT REFUSING_PORT DYING_PORT CLOSED_PORT\n");
        return 2;
    }
    int32_t ports[5] = {};
    for (int index = 0; index < 5; ++index) {
        ports[index] = static_cast<int32_t>(std::strtol(arguments[index + 2], nullptr, 10));
    }
    EXPECT_CODE(STAPI_RC_OK, setAPITraceFile(arguments[1]));
    EXPECT_CODE(STAPI_RC_OK, setAPITraceLevel(4));
    useTheLibraryItself();
    giveBadArguments();
    useOneGateway(ports[0]);
    closeAll(ports[0]);
    failToOpen("opening with a bad handshake", ports[1], STAPI_RC_CONNECT_FAILED);
    failToOpen("opening with a refused authorisation", ports[2], STAPI_RC_CONNECT_FAILED);
    queryADyingGateway(ports[3]);
    failToOpen("opening where nobody listens", ports[4], STAPI_RC_CONNECT_REFUSED);
    EXPECT_CODE(STAPI_RC_OK, setAPITraceLevel(0));
    return unexpected == 0 ? 0 : 1;
}
