#include "walking.h"

#include "impl/stapi_zul_impl.h"
#include "world.h"

namespace fuzz_test {

namespace {

bool isInside(const ResultSetToken& set, const char* text, uint32_t length) {
    const size_t size = static_cast<size_t>(set.resultSetBufLen) + sizeof stapi::kTerminator;
    const auto start = reinterpret_cast<uintptr_t>(set.resultSetBuf);
    const auto at = reinterpret_cast<uintptr_t>(text);
    return at >= start && at - start <= size && length <= size - (at - start);
}

void judgeText(const ResultSetToken& set, const char* text, uint32_t length) {
    require(isInside(set, text, length), "a walk hands out a text outside the buffer");
    touch(text, length);
}

// An element without entries hands out the word behind its count as the length of an id, whatever that word is.
void judgeEntry(const ResultSetToken& set, const IdData& data, int32_t entries) {
    if (entries != 0 || isInside(set, data.idPtr, data.idLen)) {
        judgeText(set, data.idPtr, data.idLen);
    }
}

void judgeEntry(const ResultSetToken& set, const StatData& data, int32_t) {
    judgeText(set, data.statIdPtr, data.statIdLen);
    judgeText(set, data.statValuePtr, data.statValueLen);
}

// Every step passes four bytes at least.
template <typename Record>
size_t walk(ResultSetToken* set, int32_t (*first)(ResultSetToken*, Record*),
            int32_t (*next)(ResultSetToken*, Record*)) {
    Record data = {};
    size_t steps = 0;
    const size_t most = static_cast<size_t>(set->resultSetBufLen) / 4 + 2;
    int32_t rc = first(set, &data);
    while (rc == STAPI_RC_OK) {
        ++steps;
        require(steps <= most, "a walk takes more steps than the buffer has room for");
        judgeText(*set, data.queryElementPtr, data.queryElementLen);
        if (data.queryElementRC >= 0) {
            judgeEntry(*set, data, set->elementResultCount);
        }
        rc = next(set, &data);
    }
    require(rc == STAPI_RC_END_OF_DATA, "a walk ends with another code than the end of the data");
    return steps;
}

}  // namespace

size_t walkIds(ResultSetToken* set) {
    return walk<IdData>(set, stapi::getFirstIdInternal, stapi::getNextIdInternal);
}

size_t walkStats(ResultSetToken* set) {
    return walk<StatData>(set, stapi::getFirstStatInternal, stapi::getNextStatInternal);
}

}  // namespace fuzz_test
