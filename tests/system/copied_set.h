// A connection with the result set of a query, and a copy of that set.
#ifndef ZULSTATS_TESTS_SYSTEM_COPIED_SET_H
#define ZULSTATS_TESTS_SYSTEM_COPIED_SET_H

#include <cstdint>

#include "system_fixture.h"

namespace system_test {

// The members are the test's to do with as it likes; a copy that is still there is freed at the end of the scope.
struct CopiedSet {
    explicit CopiedSet(int32_t (*query)(GatewayToken*, ResultSetToken**)) {
        EXPECT_EQ(query(connection.token(), &result), STAPI_RC_OK);
        EXPECT_EQ(copyResultSet(result, &copy), STAPI_RC_OK);
    }
    ~CopiedSet() {
        if (copy != nullptr) {
            EXPECT_EQ(freeResultSet(&copy), STAPI_RC_OK);
        }
    }
    CopiedSet(const CopiedSet&) = delete;
    CopiedSet& operator=(const CopiedSet&) = delete;

    const test_support::GatewaySim sim;
    Connection connection{sim};
    ResultSetToken* result = nullptr;
    ResultSetToken* copy = nullptr;
};

}  // namespace system_test

#endif
