/* The library as a C99 program of somebody else uses it. Prints the library's version. */
#include <stdio.h>
#include <string.h>
#include <zulstats64.h>

static int failures = 0;

static void expect(const char* what, int32_t expected, int32_t actual) {
    if (expected != actual) {
        fprintf(stderr, "%s: expected %d, got %d\n", what, (int)expected, (int)actual);
        ++failures;
    }
}

int main(void) {
    char* version = NULL;
    IdData id;
    StatData stat;
    ResultSetToken* copy = NULL;
    memset(&id, 0, sizeof id);
    memset(&stat, 0, sizeof stat);

    expect("getStatsAPIVersion", STAPI_RC_OK, getStatsAPIVersion(&version));
    expect("getStatsAPIVersion(NULL)", STAPI_RC_NULL_POINTER, getStatsAPIVersion(NULL));
    expect("getFirstId", STAPI_RC_NULL_RESULT_SET, getFirstId(NULL, &id));
    expect("getNextId", STAPI_RC_NULL_RESULT_SET, getNextId(NULL, &id));
    expect("getFirstStat", STAPI_RC_NULL_RESULT_SET, getFirstStat(NULL, &stat));
    expect("getNextStat", STAPI_RC_NULL_RESULT_SET, getNextStat(NULL, &stat));
    expect("copyResultSet", STAPI_RC_NULL_RESULT_SET, copyResultSet(NULL, &copy));
    expect("closeAllGatewayConnections", STAPI_RC_OK, closeAllGatewayConnections());
    if (version != NULL) {
        puts(version);
    }
    return failures == 0 ? 0 : 1;
}
