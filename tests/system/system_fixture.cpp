#include "system_fixture.h"

#include <algorithm>
#include <stdexcept>

#include "trace_text.h"

namespace system_test {

namespace {

std::string textOf(const char* start, uint32_t length) {
    return length == 0 ? std::string() : std::string(start, length);
}

IdEntry entryOf(const IdData& data) {
    return {textOf(data.queryElementPtr, data.queryElementLen), data.queryElementRC,
            data.queryElementRC < 0 ? std::string() : textOf(data.idPtr, data.idLen)};
}

StatEntry entryOf(const StatData& data) {
    StatEntry entry{textOf(data.queryElementPtr, data.queryElementLen), data.queryElementRC, {}, {}};
    if (data.queryElementRC >= 0) {
        entry.id = textOf(data.statIdPtr, data.statIdLen);
        entry.value = textOf(data.statValuePtr, data.statValueLen);
    }
    return entry;
}

template <typename Walk, typename Data, typename Step>
Walk walkBy(ResultSetToken* resultSet, Step first, Step next) {
    // More than any test puts into a catalogue: a walk that never ends becomes a failure.
    constexpr size_t kTooMany = 200000;
    Walk walk;
    Data data{};
    walk.lastCode = first(resultSet, &data);
    while (walk.lastCode == STAPI_RC_OK && walk.entries.size() < kTooMany) {
        walk.entries.push_back(entryOf(data));
        walk.lastCode = next(resultSet, &data);
    }
    return walk;
}

std::string inQuotes(const std::string& text) {
    return "\"" + text + "\"";
}

}  // namespace

const std::array<QueryFunction, 6> kQueries{{
    {"getResourceGroupIds", false, true,
     [](GatewayToken* token, const char*, ResultSetToken** result) { return getResourceGroupIds(token, result); }},
    {"getStatIds", false, true,
     [](GatewayToken* token, const char*, ResultSetToken** result) { return getStatIds(token, result); }},
    {"getStatIdsByStatGroupId", true, true,
     [](GatewayToken* token, const char* ids, ResultSetToken** result) {
         return getStatIdsByStatGroupId(token, ids, result);
     }},
    {"getStats", false, false,
     [](GatewayToken* token, const char*, ResultSetToken** result) { return getStats(token, result); }},
    {"getStatsByStatId", true, false,
     [](GatewayToken* token, const char* ids, ResultSetToken** result) {
         return getStatsByStatId(token, ids, result);
     }},
    {"getStatsByStatGroupId", true, false,
     [](GatewayToken* token, const char* ids, ResultSetToken** result) {
         return getStatsByStatGroupId(token, ids, result);
     }},
}};

const QueryFunction& queryNamed(const std::string& name) {
    const auto found =
        std::find_if(kQueries.begin(), kQueries.end(), [&](const QueryFunction& query) { return query.name == name; });
    if (found == kQueries.end()) {
        throw std::logic_error("no query is called " + name);
    }
    return *found;
}

const char* usualIds(const QueryFunction& query) {
    const char* ids = nullptr;
    if (query.takesIds) {
        ids = std::string(query.name) == "getStatsByStatId" ? "daemon.name:daemon.version" : "daemon:listener";
    }
    return ids;
}

void resetLibrary() {
    while (closeAllGatewayConnections() == STAPI_RC_GTL_CORRUPT) {
    }
    setAPITraceLevel(0);
    setAPITraceFile(nullptr);
}

void SystemTest::SetUp() {
    resetLibrary();
}

void SystemTest::TearDown() {
    resetLibrary();
}

Connection::Connection(const test_support::GatewaySim& sim, const char* host)
    : openCode_(openRemoteGatewayConnection(host, sim.port(), &token_, &protocol_)) {}

Connection::~Connection() {
    if (token_ != nullptr) {
        closeGatewayConnection(&token_);
    }
}

int32_t Connection::close() {
    return closeGatewayConnection(&token_);
}

IdWalk walkIds(ResultSetToken* resultSet) {
    return walkBy<IdWalk, IdData>(resultSet, getFirstId, getNextId);
}

StatWalk walkStats(ResultSetToken* resultSet) {
    return walkBy<StatWalk, StatData>(resultSet, getFirstStat, getNextStat);
}

IdWalk walkIdsByNext(ResultSetToken* resultSet) {
    return walkBy<IdWalk, IdData>(resultSet, getNextId, getNextId);
}

StatWalk walkStatsByNext(ResultSetToken* resultSet) {
    return walkBy<StatWalk, StatData>(resultSet, getNextStat, getNextStat);
}

std::vector<std::string> idsOf(const IdWalk& walk) {
    std::vector<std::string> ids;
    for (const IdEntry& entry : walk.entries) {
        ids.push_back(entry.id);
    }
    return ids;
}

std::string valueOf(const StatWalk& walk, const std::string& id) {
    for (const StatEntry& entry : walk.entries) {
        if (entry.id == id) {
            return entry.value;
        }
    }
    throw std::runtime_error("the result set has no statistic " + id);
}

Catalogue& Catalogue::group(const std::string& id) {
    groups_.push_back(id);
    return *this;
}

Catalogue& Catalogue::statistic(const std::string& group, const std::string& id, const std::string& value) {
    statistics_.push_back({group, id, value});
    return *this;
}

Catalogue& Catalogue::protocol(const std::string& text) {
    protocol_ = text;
    return *this;
}

std::vector<std::string> Catalogue::options() {
    std::string json = "{\"protocol\": " + inQuotes(protocol_) + ",\n\"groups\": [";
    for (size_t index = 0; index < groups_.size(); ++index) {
        json += (index == 0 ? "" : ", ") + inQuotes(groups_[index]);
    }
    json += "],\n\"statistics\": [";
    for (size_t index = 0; index < statistics_.size(); ++index) {
        const auto& [group, id, value] = statistics_[index];
        json += std::string(index == 0 ? "\n" : ",\n") + "{\"kind\": \"text\", \"group\": " + inQuotes(group) +
                ", \"id\": " + inQuotes(id) + ", \"text\": " + inQuotes(value) + "}";
    }
    file_ = std::make_unique<test_support::TemporaryFile>(json + "]}\n");
    return {"--catalogue", file_->path()};
}

std::string patternText(size_t length, unsigned seed) {
    std::string text(length, ' ');
    for (size_t place = 0; place < length; ++place) {
        text[place] = static_cast<char>('a' + (place * 7 + place / 26 + place / 676 + seed * 3) % 26);
    }
    return text;
}

}  // namespace system_test
