#include "walking.h"

#include <cstring>

#include "api/zulstats64.h"
#include "impl/stapi_zul_impl.h"
#include "resultset/stapi_zul_resultsetbuffer.h"
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

// What each kind of record has; what lies between the fields counts for nothing.
template <typename Record>
bool haveSameElement(const Record& one, const Record& other) {
    return std::memcmp(one.eyecatcher, other.eyecatcher, sizeof one.eyecatcher) == 0 &&
           one.queryElementPtr == other.queryElementPtr && one.queryElementLen == other.queryElementLen &&
           one.queryElementRC == other.queryElementRC;
}

bool isSame(const IdData& one, const IdData& other) {
    return haveSameElement(one, other) && one.idLen == other.idLen && one.idPtr == other.idPtr;
}

bool isSame(const StatData& one, const StatData& other) {
    return haveSameElement(one, other) && one.statIdLen == other.statIdLen && one.statIdPtr == other.statIdPtr &&
           one.statValueLen == other.statValueLen && one.statValuePtr == other.statValuePtr;
}

template <typename Record>
using Step = int32_t (*)(ResultSetToken*, Record*);

// The full steps of a walk, and the exported ones, which take the plain steps where they can.
template <typename Record>
struct Steps {
    Step<Record> first;
    Step<Record> next;
    Step<Record> exportedFirst;
    Step<Record> exportedNext;
    stapi::ResultSetContent content;
};

// Walks over a copy of the token with the exported functions, beside the full steps: they come to the same. Over
// another content the exported functions do not walk.
template <typename Record>
class Twin {
  public:
    explicit Twin(const ResultSetToken& set, stapi::ResultSetContent content)
        : token_(set), walks_(stapi::resultSetContent(&set) == content) {}

    void judge(Step<Record> step, int32_t rc, const ResultSetToken& set, const Record& data) {
        if (walks_) {
            require(step(&token_, &data_) == rc, "a plain step gives another code than the full one");
            require(std::memcmp(&token_, &set, sizeof set) == 0, "a plain step moves the walk elsewhere");
            require(isSame(data_, data), "a plain step hands out something else");
        }
    }

  private:
    ResultSetToken token_;
    Record data_ = {};
    bool walks_;
};

// Every step passes four bytes at least.
template <typename Record>
size_t walk(ResultSetToken* set, const Steps<Record>& functions) {
    Record data = {};
    Twin<Record> twin(*set, functions.content);
    size_t steps = 0;
    const size_t most = static_cast<size_t>(set->resultSetBufLen) / 4 + 2;
    int32_t rc = functions.first(set, &data);
    twin.judge(functions.exportedFirst, rc, *set, data);
    while (rc == STAPI_RC_OK) {
        ++steps;
        require(steps <= most, "a walk takes more steps than the buffer has room for");
        judgeText(*set, data.queryElementPtr, data.queryElementLen);
        if (data.queryElementRC >= 0) {
            judgeEntry(*set, data, set->elementResultCount);
        }
        rc = functions.next(set, &data);
        twin.judge(functions.exportedNext, rc, *set, data);
    }
    require(rc == STAPI_RC_END_OF_DATA, "a walk ends with another code than the end of the data");
    return steps;
}

}  // namespace

size_t walkIds(ResultSetToken* set) {
    return walk<IdData>(set, {stapi::getFirstIdInternal, stapi::getNextIdInternal, getFirstId, getNextId,
                              stapi::ResultSetContent::ids});
}

size_t walkStats(ResultSetToken* set) {
    return walk<StatData>(set, {stapi::getFirstStatInternal, stapi::getNextStatInternal, getFirstStat, getNextStat,
                                stapi::ResultSetContent::statistics});
}

}  // namespace fuzz_test
