// The walks, the id query, the copy and the dump over a buffer of any content. Behind the circumstances four bytes
// choose what is done; the rest is the buffer.
#include <cstring>

#include "api/zulstats64.h"
#include "diag/heap_blocks.h"
#include "impl/stapi_zul_impl.h"
#include "target_list.h"
#include "walking.h"
#include "world.h"

namespace fuzz_test {

namespace {

// A caller's copy, over a buffer as every result set has it: behind the capacity there is room for the terminator, and
// behind that zeros.
class HandBuiltSet {
  public:
    HandBuiltSet(const uint8_t* data, size_t size) {
        if (stapi::createResultSet(&token_, stapi::kUserEyecatcher, stapi::OWNER_USER) != STAPI_RC_OK) {
            return;
        }
        const size_t terminator = sizeof stapi::kTerminator;
        token_->resultSetBufLen = static_cast<int32_t>(size < terminator ? 0 : size - terminator);
        token_->resultSetBuf =
            static_cast<char*>(stapi::allocateMemory(stapi::resultSetAllocation(token_->resultSetBufLen)));
        if (token_->resultSetBuf != nullptr && size > 0) {
            std::memcpy(token_->resultSetBuf, data, size);
        }
    }
    ~HandBuiltSet() {
        if (token_ != nullptr) {
            freeResultSet(&token_);
        }
    }
    HandBuiltSet(const HandBuiltSet&) = delete;
    HandBuiltSet& operator=(const HandBuiltSet&) = delete;

    bool isMade() const {
        return token_ != nullptr && token_->resultSetBuf != nullptr;
    }
    ResultSetToken* get() const {
        return token_;
    }

  private:
    ResultSetToken* token_ = nullptr;
};

// Steps of all four walks mixed, as no caller takes them.
void stepAsChosen(ResultSetToken* set, uint8_t choice) {
    IdData id = {};
    StatData stat = {};
    for (int step = 0; step < 4; ++step) {
        switch ((choice >> (2 * step)) & 3) {
            case 0:
                stapi::getFirstIdInternal(set, &id);
                break;
            case 1:
                stapi::getNextIdInternal(set, &id);
                break;
            case 2:
                stapi::getFirstStatInternal(set, &stat);
                break;
            default:
                stapi::getNextStatInternal(set, &stat);
                break;
        }
    }
}

int askForIds(ResultSetToken* set) {
    char* query = nullptr;
    const int32_t rc = getIdQuery(set, &query);
    if (rc != STAPI_RC_OK) {
        return 0;
    }
    const size_t length = std::strlen(query);
    require(length < stapi::kQueryStringArea, "an id query is longer than its area");
    touch(query, length);
    return 1;
}

void copyAndWalk(ResultSetToken* set) {
    ResultSetToken* copy = nullptr;
    if (copyResultSet(set, &copy) == STAPI_RC_OK) {
        const size_t size = stapi::resultSetAllocation(set->resultSetBufLen);
        require(std::memcmp(copy->resultSetBuf, set->resultSetBuf, size) == 0, "a copy is not like its source");
        walkIds(copy);
    }
    if (copy != nullptr) {
        require(freeResultSet(&copy) == STAPI_RC_OK, "a copy is not released");
    }
}

}  // namespace

int fuzzWalkers(const uint8_t* data, size_t size) {
    FuzzInput input(data, size);
    World world(&input);
    const uint8_t choices = input.next();
    uint8_t steps[3] = {};
    for (uint8_t& each : steps) {
        each = input.next();
    }
    const HandBuiltSet set(input.rest(), input.restSize());
    if (!set.isMade()) {
        return 0;
    }
    int depth = walkIds(set.get()) + walkStats(set.get()) > 0 ? 2 : 1;
    for (const uint8_t each : steps) {
        stepAsChosen(set.get(), each);
    }
    if ((choices & 1) != 0) {
        depth += askForIds(set.get());
    }
    if ((choices & 2) != 0) {
        copyAndWalk(set.get());
    }
    if (world.wantsDumps()) {
        dumpResultSet(set.get());
    }
    return depth;
}

}  // namespace fuzz_test
