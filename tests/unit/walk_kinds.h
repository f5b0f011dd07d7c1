// What differs between a walk over ids and one over statistics, so that one test serves both.
#ifndef ZULSTATS_TESTS_UNIT_WALK_KINDS_H
#define ZULSTATS_TESTS_UNIT_WALK_KINDS_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "api/zulstats64.h"
#include "hand_built_set.h"

namespace unit_test {

struct IdWalkKind {
    using Record = IdData;
    static constexpr const char* kName = "Ids";
    static constexpr const char* kEyecatcher = "ZULIDSET";
    static constexpr const char* kOtherEyecatcher = "ZULSTSET";
    static constexpr int32_t kNullRecordCode = STAPI_RC_NULL_ID_DATA;

    static int32_t first(ResultSetToken* token, Record* record) {
        return getFirstId(token, record);
    }
    static int32_t next(ResultSetToken* token, Record* record) {
        return getNextId(token, record);
    }
    static void addEntry(SetBytes& set, std::string_view id) {
        set.id(id);
    }
    static std::string entry(const Record& record) {
        return {record.idPtr, record.idLen};
    }
    static bool entryLiesIn(const HeldSet& set, const Record& record) {
        return set.holds(record.idPtr, record.idLen);
    }
    static bool hasSameEntry(const Record& one, const Record& other) {
        return one.idPtr == other.idPtr && one.idLen == other.idLen;
    }
};

struct StatWalkKind {
    using Record = StatData;
    static constexpr const char* kName = "Statistics";
    static constexpr const char* kEyecatcher = "ZULSTSET";
    static constexpr const char* kOtherEyecatcher = "ZULIDSET";
    static constexpr int32_t kNullRecordCode = STAPI_RC_NULL_STAT_DATA;

    static int32_t first(ResultSetToken* token, Record* record) {
        return getFirstStat(token, record);
    }
    static int32_t next(ResultSetToken* token, Record* record) {
        return getNextStat(token, record);
    }
    static void addEntry(SetBytes& set, std::string_view id) {
        set.stat(id, valueOf(id));
    }
    // The id, when the value is the one that belongs to it.
    static std::string entry(const Record& record) {
        const std::string id(record.statIdPtr, record.statIdLen);
        const std::string value(record.statValuePtr, record.statValueLen);
        return value == valueOf(id) ? id : id + " with the wrong value " + value;
    }
    static bool entryLiesIn(const HeldSet& set, const Record& record) {
        return set.holds(record.statIdPtr, record.statIdLen) && set.holds(record.statValuePtr, record.statValueLen);
    }
    static bool hasSameEntry(const Record& one, const Record& other) {
        return one.statIdPtr == other.statIdPtr && one.statIdLen == other.statIdLen &&
               one.statValuePtr == other.statValuePtr && one.statValueLen == other.statValueLen;
    }
    static std::string valueOf(std::string_view id) {
        return "value of " + std::string(id);
    }
};

using WalkKinds = ::testing::Types<IdWalkKind, StatWalkKind>;

struct WalkKindName {
    template <typename Kind>
    static std::string GetName(int) {
        return Kind::kName;
    }
};

// A record full of what no walk ever stores.
template <typename Record>
Record unusedRecord() {
    Record record;
    std::memset(&record, 0x5A, sizeof record);
    return record;
}

// A record or token as it lies in memory, to be compared later.
template <typename Plain>
std::string bytesOf(const Plain& object) {
    return {reinterpret_cast<const char*>(&object), sizeof object};
}

template <typename Record>
std::string queryElementOf(const Record& record) {
    return {record.queryElementPtr, record.queryElementLen};
}

}  // namespace unit_test

#endif
