// Layout of the caller's records and values of the codes: fixed, and the same to a C and a C++ compiler.
#include <gtest/gtest.h>

#include <cstddef>
#include <map>
#include <vector>

#include "api/zulstats64.h"
#include "public_records_c99.h"

namespace {

std::vector<size_t> offsetsOf(const RecordLayout& layout) {
    return {layout.offsets, layout.offsets + layout.fieldCount};
}

std::vector<size_t> fieldSizesOf(const RecordLayout& layout) {
    return {layout.fieldSizes, layout.fieldSizes + layout.fieldCount};
}

TEST(PublicRecords, IdDataHasItsFixedLayoutInC) {
    const RecordLayout layout = idDataLayoutInC();
    EXPECT_EQ(layout.size, 40U);
    EXPECT_EQ(offsetsOf(layout), (std::vector<size_t>{0, 8, 16, 20, 24, 32}));
    EXPECT_EQ(fieldSizesOf(layout), (std::vector<size_t>{8, 8, 4, 4, 4, 8}));
}

TEST(PublicRecords, StatDataHasItsFixedLayoutInC) {
    const RecordLayout layout = statDataLayoutInC();
    EXPECT_EQ(layout.size, 56U);
    EXPECT_EQ(offsetsOf(layout), (std::vector<size_t>{0, 8, 16, 20, 24, 32, 40, 48}));
    EXPECT_EQ(fieldSizesOf(layout), (std::vector<size_t>{8, 8, 4, 4, 4, 8, 4, 8}));
}

TEST(PublicRecords, IdDataIsTheSameInCAndCxx) {
    const RecordLayout layout = idDataLayoutInC();
    EXPECT_EQ(layout.size, sizeof(IdData));
    EXPECT_EQ(offsetsOf(layout),
              (std::vector<size_t>{offsetof(IdData, eyecatcher), offsetof(IdData, queryElementPtr),
                                   offsetof(IdData, queryElementLen), offsetof(IdData, queryElementRC),
                                   offsetof(IdData, idLen), offsetof(IdData, idPtr)}));
}

TEST(PublicRecords, StatDataIsTheSameInCAndCxx) {
    const RecordLayout layout = statDataLayoutInC();
    EXPECT_EQ(layout.size, sizeof(StatData));
    EXPECT_EQ(offsetsOf(layout),
              (std::vector<size_t>{offsetof(StatData, eyecatcher), offsetof(StatData, queryElementPtr),
                                   offsetof(StatData, queryElementLen), offsetof(StatData, queryElementRC),
                                   offsetof(StatData, statIdLen), offsetof(StatData, statIdPtr),
                                   offsetof(StatData, statValueLen), offsetof(StatData, statValuePtr)}));
}

TEST(PublicCodes, AreTheSameInCAndCxx) {
    EXPECT_EQ(endOfDataCodeInC(), STAPI_RC_END_OF_DATA);
    EXPECT_EQ(endOfDataCodeInC(), -113);
}

TEST(PublicCodes, HaveTheirFixedValues) {
    const std::map<int, int> values = {
        {STAPI_RC_OK, 0},
        {STAPI_RC_NULL_TOKEN, -100},
        {STAPI_RC_TOKEN_NOT_FOUND, -101},
        {STAPI_RC_SOCKET_ERROR, -102},
        {STAPI_RC_NO_DATA, -103},
        {STAPI_RC_BAD_TRACE_LEVEL, -104},
        {STAPI_RC_NET_UNREACHABLE, -105},
        {STAPI_RC_NOT_USER_RESULT_SET, -106},
        {STAPI_RC_BAD_PORT, -107},
        {STAPI_RC_NULL_TOKEN_POINTER, -108},
        {STAPI_RC_NULL_POINTER, -109},
        {STAPI_RC_NO_RESULT_BUFFER, -110},
        {STAPI_RC_NO_MEMORY, -111},
        {STAPI_RC_END_OF_DATA, -113},
        {STAPI_RC_GTL_CORRUPT, -115},
        {STAPI_RC_BAD_OWNER, -116},
        {STAPI_RC_CONNECT_FAILED, -118},
        {STAPI_RC_WRONG_CONTENT, -119},
        {STAPI_RC_BAD_EYECATCHER, -122},
        {STAPI_RC_WRONG_PROCESS, -123},
        {STAPI_RC_WRONG_THREAD, -124},
        {STAPI_RC_NULL_RESULT_SET_POINTER, -125},
        {STAPI_RC_NULL_ID, -126},
        {STAPI_RC_NULL_RESULT_SET, -127},
        {STAPI_RC_NULL_ID_DATA, -128},
        {STAPI_RC_NULL_STAT_DATA, -129},
        {STAPI_RC_TRACE_FILE_FAILED, -130},
        {STAPI_RC_QUERY_STRING_FAILED, -131},
        {STAPI_RC_HOST_UNKNOWN, -132},
        {STAPI_RC_NULL_ARGUMENT, -133},
        {STAPI_RC_CONNECT_TIMEOUT, -134},
        {STAPI_RC_CONNECT_REFUSED, -135},
        {STAPI_RC_HOST_UNREACHABLE, -136},
    };
    EXPECT_EQ(values.size(), 33U);
    for (const auto& [code, value] : values) {
        EXPECT_EQ(code, value);
    }
}

}  // namespace
