// A whole connection through the public functions: opening, up to four queries, and with whatever came out of each a
// walk, an id query, a copy and a dump. Behind the circumstances four bytes choose the queries; the rest is the
// replies.
#include <cstring>

#include "api/zulstats64.h"
#include "diag/heap_blocks.h"
#include "gateway/stapi_zul_gwytok.h"
#include "gateway/token_life.h"
#include "target_list.h"
#include "walking.h"
#include "world.h"

namespace fuzz_test {

namespace {

constexpr int32_t kPort = 2980;
constexpr size_t kQueries = 4;
// In the first query's byte: without this bit the connection's buffer is a small one, which has to grow.
constexpr uint8_t kUsualBuffer = 0x80;
constexpr int32_t kSmallCapacity = 32;

// Closes what is open at the end of a run, whatever has happened.
class OpenConnections {
  public:
    OpenConnections() = default;
    ~OpenConnections() {
        closeAllGatewayConnections();
    }
    OpenConnections(const OpenConnections&) = delete;
    OpenConnections& operator=(const OpenConnections&) = delete;
};

template <typename Record>
void walkThroughApi(ResultSetToken* set, int32_t (*first)(ResultSetToken*, Record*),
                    int32_t (*next)(ResultSetToken*, Record*)) {
    Record data = {};
    int32_t rc = first(set, &data);
    while (rc == STAPI_RC_OK) {
        touch(data.queryElementPtr, data.queryElementLen);
        rc = next(set, &data);
    }
    require(rc == STAPI_RC_END_OF_DATA || rc == STAPI_RC_WRONG_CONTENT, "a walk ends with a code that is not its own");
}

void walkEverything(ResultSetToken* set) {
    walkThroughApi<IdData>(set, getFirstId, getNextId);
    walkThroughApi<StatData>(set, getFirstStat, getNextStat);
}

void askForIds(ResultSetToken* set) {
    char* query = nullptr;
    if (getIdQuery(set, &query) == STAPI_RC_OK) {
        const size_t length = std::strlen(query);
        require(length < stapi::kQueryStringArea, "an id query is longer than its area");
        touch(query, length);
    }
}

void copyAndFree(ResultSetToken* set) {
    ResultSetToken* copy = nullptr;
    const int32_t rc = copyResultSet(set, &copy);
    if (rc == STAPI_RC_OK) {
        const size_t size = stapi::resultSetAllocation(set->resultSetBufLen);
        require(std::memcmp(copy->resultSetBuf, set->resultSetBuf, size) == 0, "a copy is not like its source");
        walkEverything(copy);
        askForIds(copy);
    }
    if (copy != nullptr) {
        require(freeResultSet(&copy) == STAPI_RC_OK && copy == nullptr, "a copy is not released");
    }
}

// Everything that a caller may do with a result set.
void useResultSet(ResultSetToken* set, bool withDumps) {
    if (withDumps) {
        dumpResultSet(set);
        dumpState();
    }
    walkEverything(set);
    askForIds(set);
    copyAndFree(set);
}

int32_t query(uint8_t choice, GatewayToken* token, ResultSetToken** set) {
    static constexpr const char* kIds = "pool:queue";
    switch (choice % 8) {
        case 1:
            return getResourceGroupIds(token, set);
        case 2:
            return getStatIds(token, set);
        case 3:
            return getStatIdsByStatGroupId(token, kIds, set);
        case 4:
            return getStats(token, set);
        case 5:
            return getStatsByStatId(token, kIds, set);
        default:
            return getStatsByStatGroupId(token, kIds, set);
    }
}

void takeSmallBuffer(GatewayToken* token) {
    auto* const buffer = static_cast<char*>(stapi::allocateMemory(stapi::resultSetAllocation(kSmallCapacity)));
    if (buffer != nullptr) {
        stapi::addTerminator(buffer);
        stapi::releaseMemory(token->resultSetBuf);
        stapi::storeQueryResult(token, buffer, kSmallCapacity, false);
    }
}

bool isRemoval(int32_t rc) {
    return rc == STAPI_RC_SOCKET_ERROR || rc == STAPI_RC_BAD_EYECATCHER;
}

// Stops at the query that costs the connection; the number of queries that were answered.
int runQueries(GatewayToken* token, const uint8_t (&choices)[kQueries], bool withDumps) {
    int answered = 0;
    int32_t rc = STAPI_RC_OK;
    for (size_t index = 0; index < kQueries && !isRemoval(rc); ++index) {
        if (choices[index] % 8 != 0) {
            ResultSetToken* set = nullptr;
            rc = query(choices[index], token, &set);
            if (rc == STAPI_RC_OK) {
                useResultSet(set, withDumps);
                ++answered;
            }
        }
    }
    return answered;
}

}  // namespace

int fuzzSession(const uint8_t* data, size_t size) {
    FuzzInput input(data, size);
    World world(&input);
    uint8_t choices[kQueries] = {};
    for (uint8_t& choice : choices) {
        choice = input.next();
    }
    const ExactBlock stream(input.rest(), input.restSize());
    world.serve(stream);
    const OpenConnections connections;
    GatewayToken* token = nullptr;
    char* version = nullptr;
    const int32_t rc = openRemoteGatewayConnection("gateway", kPort, &token, &version);
    if (rc != STAPI_RC_OK) {
        require(token == nullptr && stapi::gtlHead == nullptr, "a failed opening leaves a token");
        return 0;
    }
    touch(version, std::strlen(version) + 1);
    if ((choices[0] & kUsualBuffer) == 0) {
        takeSmallBuffer(token);
    }
    const int answered = runQueries(token, choices, world.wantsDumps());
    return answered > 1 ? 3 : 1 + answered;
}

}  // namespace fuzz_test
