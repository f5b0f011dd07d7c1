// Holds the public header against the library's own declarations: a code or a record that differs does not compile.
#include <cstddef>

#include "api/zulstats64.h"
#include "diag/return_codes.h"
#include "resultset/result_records.h"

#define SAME_CODE(name) \
    static_assert(static_cast<int>(::name) == static_cast<int>(::stapi::name), #name " differs from the public header")

SAME_CODE(STAPI_RC_OK);
SAME_CODE(STAPI_RC_ALREADY_INITIALISED);
SAME_CODE(STAPI_RC_NULL_TOKEN);
SAME_CODE(STAPI_RC_TOKEN_NOT_FOUND);
SAME_CODE(STAPI_RC_SOCKET_ERROR);
SAME_CODE(STAPI_RC_NO_DATA);
SAME_CODE(STAPI_RC_BAD_TRACE_LEVEL);
SAME_CODE(STAPI_RC_NET_UNREACHABLE);
SAME_CODE(STAPI_RC_NOT_USER_RESULT_SET);
SAME_CODE(STAPI_RC_BAD_PORT);
SAME_CODE(STAPI_RC_NULL_TOKEN_POINTER);
SAME_CODE(STAPI_RC_NULL_POINTER);
SAME_CODE(STAPI_RC_NO_RESULT_BUFFER);
SAME_CODE(STAPI_RC_NO_MEMORY);
SAME_CODE(STAPI_RC_END_OF_DATA);
SAME_CODE(STAPI_RC_GTL_CORRUPT);
SAME_CODE(STAPI_RC_BAD_OWNER);
SAME_CODE(STAPI_RC_CONNECT_FAILED);
SAME_CODE(STAPI_RC_WRONG_CONTENT);
SAME_CODE(STAPI_RC_BAD_EYECATCHER);
SAME_CODE(STAPI_RC_WRONG_PROCESS);
SAME_CODE(STAPI_RC_WRONG_THREAD);
SAME_CODE(STAPI_RC_NULL_RESULT_SET_POINTER);
SAME_CODE(STAPI_RC_NULL_ID);
SAME_CODE(STAPI_RC_NULL_RESULT_SET);
SAME_CODE(STAPI_RC_NULL_ID_DATA);
SAME_CODE(STAPI_RC_NULL_STAT_DATA);
SAME_CODE(STAPI_RC_TRACE_FILE_FAILED);
SAME_CODE(STAPI_RC_QUERY_STRING_FAILED);
SAME_CODE(STAPI_RC_HOST_UNKNOWN);
SAME_CODE(STAPI_RC_NULL_ARGUMENT);
SAME_CODE(STAPI_RC_CONNECT_TIMEOUT);
SAME_CODE(STAPI_RC_CONNECT_REFUSED);
SAME_CODE(STAPI_RC_HOST_UNREACHABLE);

#define FIELD_AT(record, field, offset)                                                                    \
    static_assert(offsetof(::record, field) == (offset) && offsetof(::stapi::record, field) == (offset) && \
                      sizeof(::record::field) == sizeof(::stapi::record::field),                           \
                  #record "." #field " is not where callers expect it")

static_assert(sizeof(::IdData) == 40 && sizeof(::stapi::IdData) == 40);
FIELD_AT(IdData, eyecatcher, 0);
FIELD_AT(IdData, queryElementPtr, 8);
FIELD_AT(IdData, queryElementLen, 16);
FIELD_AT(IdData, queryElementRC, 20);
FIELD_AT(IdData, idLen, 24);
FIELD_AT(IdData, idPtr, 32);

static_assert(sizeof(::StatData) == 56 && sizeof(::stapi::StatData) == 56);
FIELD_AT(StatData, eyecatcher, 0);
FIELD_AT(StatData, queryElementPtr, 8);
FIELD_AT(StatData, queryElementLen, 16);
FIELD_AT(StatData, queryElementRC, 20);
FIELD_AT(StatData, statIdLen, 24);
FIELD_AT(StatData, statIdPtr, 32);
FIELD_AT(StatData, statValueLen, 40);
FIELD_AT(StatData, statValuePtr, 48);
