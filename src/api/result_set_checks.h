// What the exported functions ask of a result set before they use it.
#ifndef ZULSTATS_API_RESULT_SET_CHECKS_H
#define ZULSTATS_API_RESULT_SET_CHECKS_H

#include <cstdint>

#include "resultset/stapi_zul_resultsetbuffer.h"

namespace stapi {

// A connection's result set belongs to its process and thread; a copy to nobody. 0, -123 or -124.
inline int32_t verifyResultSetOwner(const ResultSetToken* rsPtr) {
    return rsPtr->owner == OWNER_GATEWAY ? verifyAPIResultSetToken(rsPtr) : 0;
}

}  // namespace stapi

#endif
