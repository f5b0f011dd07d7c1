// The limit, for programs in C++.
#ifndef ZULSTATS_BENCH_LIMIT_SET_H
#define ZULSTATS_BENCH_LIMIT_SET_H

#include <cstddef>
#include <cstdint>

#include "library.h"
#include "limit.h"
#include "shape.h"

namespace bench {

class LimitResult {
  public:
    LimitResult() {
        require(limitCreate(&set_), "limitCreate");
    }
    ~LimitResult() {
        limitRelease(&set_);
    }
    LimitResult(const LimitResult&) = delete;
    LimitResult& operator=(const LimitResult&) = delete;

    void parse(Content content, const uint8_t* payload, size_t size) {
        require(content == Content::stats ? limitParseStats(payload, size, &set_) : limitParseIds(payload, size, &set_),
                "the limit's parser");
    }

    // Walks all of it; the number of entries.
    uint32_t walk(Content content);

    const LimitSet& set() const {
        return set_;
    }

  private:
    LimitSet set_;
};

}  // namespace bench

#endif
