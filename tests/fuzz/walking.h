// What targets do with a result set, through the public functions or below them.
#ifndef ZULSTATS_TESTS_FUZZ_WALKING_H
#define ZULSTATS_TESTS_FUZZ_WALKING_H

#include <cstddef>
#include <cstdint>

#include "api/zulstats64.h"
#include "resultset/stapi_zul_resultsetbuffer.h"

namespace fuzz_test {

// Walks from first to next and touches all that is handed out; the number of steps.
size_t walkIds(ResultSetToken* set);
size_t walkStats(ResultSetToken* set);

}  // namespace fuzz_test

#endif
