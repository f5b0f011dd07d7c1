#include "gateway_connection.h"

#include <chrono>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "id_list.h"
#include "messages.h"
#include "probe_socket.h"
#include "text_escape.h"

namespace zulstat {
namespace {

Answer failedQuery(const int32_t code) {
    Answer answer;
    answer.code = code;
    return answer;
}

Answer readIdSet(ResultSetToken* const resultSet) {
    bool isFirst = true;
    return readIds([&](IdData& record) {
        return std::exchange(isFirst, false) ? getFirstId(resultSet, &record) : getNextId(resultSet, &record);
    });
}

Answer readStatisticsSet(ResultSetToken* const resultSet) {
    bool isFirst = true;
    return readStatistics([&](StatData& record) {
        return std::exchange(isFirst, false) ? getFirstStat(resultSet, &record) : getNextStat(resultSet, &record);
    });
}

// A reply that is broken off by a clean end of the connection reaches the walk as a success whose rest is zero. Only
// the connection knows: a gateway that has gone answers nothing more.
Answer confirmed(GatewayToken* const gateway, Answer answer) {
    if (!needsConfirmation(answer)) {
        return answer;
    }
    ResultSetToken* resultSet = nullptr;
    const int32_t code = getResourceGroupIds(gateway, &resultSet);
    if (code != STAPI_RC_OK) {
        keepWhatIsCertain(answer);
        answer.code = code;
        answer.cutOff = true;
    } else if (answer.incomplete) {
        keepWhatIsCertain(answer);
    }
    return answer;
}

Answer readSet(GatewayToken* const gateway, const QueryKind kind, ResultSetToken* const resultSet) {
    // Before anything else is asked: rates are reckoned with it.
    const auto arrivedAt = std::chrono::steady_clock::now();
    Answer answer =
        confirmed(gateway, kind == QueryKind::statistics ? readStatisticsSet(resultSet) : readIdSet(resultSet));
    answer.arrivedAt = arrivedAt;
    return answer;
}

using QueryForAll = int32_t (*)(GatewayToken*, ResultSetToken**);
using QueryForList = int32_t (*)(GatewayToken*, const char*, ResultSetToken**);

Answer ask(GatewayToken* const gateway, const QueryKind kind, const QueryForAll query) {
    ResultSetToken* resultSet = nullptr;
    if (const int32_t code = query(gateway, &resultSet); code != STAPI_RC_OK) {
        return failedQuery(code);
    }
    return readSet(gateway, kind, resultSet);
}

AskForList listAsker(GatewayToken* const gateway, const QueryKind kind, const QueryForList query) {
    return [=](const std::string& list) {
        ResultSetToken* resultSet = nullptr;
        if (const int32_t code = query(gateway, list.c_str(), &resultSet); code != STAPI_RC_OK) {
            return failedQuery(code);
        }
        return readSet(gateway, kind, resultSet);
    };
}

AskForList groupAsker(GatewayToken* const gateway, const QueryKind kind) {
    return listAsker(gateway, kind, kind == QueryKind::statistics ? getStatsByStatGroupId : getStatIdsByStatGroupId);
}

std::vector<std::string> allEntryIds(const Answer& answer) {
    std::vector<std::string> ids;
    for (const Element& element : answer.elements) {
        for (const Entry& entry : element.entries) {
            // An id that cannot stand in a list cannot be asked for.
            if (!findIdFault({entry.id}, "group id")) {
                ids.push_back(entry.id);
            }
        }
    }
    return ids;
}

QueryForAll queryForAll(const QueryKind kind) {
    switch (kind) {
        case QueryKind::resourceGroups:
            return getResourceGroupIds;
        case QueryKind::statisticIds:
            return getStatIds;
        case QueryKind::statistics:
            break;
    }
    return getStats;
}

Answer askForAll(GatewayToken* const gateway, const QueryKind kind) {
    Answer answer = ask(gateway, kind, queryForAll(kind));
    const bool lacksElements = answer.cutShort || answer.hidesLastElement;
    if (!lacksElements || answer.incomplete || answer.code != STAPI_RC_OK || kind == QueryKind::resourceGroups) {
        return answer;
    }
    const Answer groups = ask(gateway, QueryKind::resourceGroups, getResourceGroupIds);
    if (groups.code != STAPI_RC_OK) {
        answer.code = groups.code;
        answer.stage = groups.stage;
        answer.cutOff = groups.cutOff;
        return answer;
    }
    completeByGroup(answer, allEntryIds(groups), groupAsker(gateway, kind));
    return answer;
}

Answer makeQuery(GatewayToken* const gateway, const Query& query) {
    switch (query.by) {
        case AskedBy::all:
            break;
        case AskedBy::group:
            return askForIds(query.ids, WithoutEntries::isAnElement, groupAsker(gateway, query.kind));
        case AskedBy::statisticId:
            return askForIds(query.ids, WithoutEntries::isNoAnswer, listAsker(gateway, query.kind, getStatsByStatId));
    }
    return askForAll(gateway, query.kind);
}

Answer makeQueryWithinMemory(GatewayToken* const gateway, const Query& query) {
    try {
        return makeQuery(gateway, query);
    } catch (const std::bad_alloc&) {
        return failedQuery(STAPI_RC_NO_MEMORY);
    }
}

bool isConnectionGone(const int32_t code) {
    return code == STAPI_RC_SOCKET_ERROR || code == STAPI_RC_BAD_EYECATCHER || code == STAPI_RC_TOKEN_NOT_FOUND;
}

Failure failedReading(const Query& query, const Failure::Kind kind, std::string reason, std::string advice) {
    Failure failure;
    failure.stage = Failure::Stage::reading;
    failure.kind = kind;
    failure.query = query;
    failure.reason = std::move(reason);
    failure.advice = std::move(advice);
    return failure;
}

}  // namespace

GatewayConnection::~GatewayConnection() {
    freeResultSet(&dumped_);
    close();
}

int32_t GatewayConnection::open(const Gateway& gateway) {
    GatewayToken* token = nullptr;
    char* version = nullptr;
    const int32_t code = openRemoteGatewayConnection(gateway.host.c_str(), gateway.port, &token, &version);
    if (code == STAPI_RC_OK) {
        protocolVersion_ = version == nullptr ? "" : version;
        token_ = token;
    }
    return code;
}

Answer GatewayConnection::ask(const Query& query) {
    Answer answer = makeQueryWithinMemory(token_, query);
    noteCode(answer.code);
    return answer;
}

std::optional<Failure> GatewayConnection::askForDump() {
    const Query query{QueryKind::statistics, AskedBy::all, {}};
    ResultSetToken* resultSet = nullptr;
    Answer answer = failedQuery(getStats(token_, &resultSet));
    if (answer.code == STAPI_RC_OK) {
        answer = readStatisticsSet(resultSet);
        // The question whether the reply was broken off takes the result set away.
        const int32_t copied = copyResultSet(resultSet, &dumped_);
        answer = copied == STAPI_RC_OK ? confirmed(token_, std::move(answer)) : failedQuery(copied);
    }
    noteCode(answer.code);
    // What the gateway sent whole is dumped whatever it is: that is what a dump is for.
    std::optional<Failure> failure = answer.code == STAPI_RC_OK ? std::nullopt : failureOf(query, answer);
    if (failure && failure->kind == Failure::Kind::cutOff) {
        failure->reason = "the connection ended in the middle of the answer";
    }
    return failure;
}

int32_t GatewayConnection::dump() const {
    const int32_t code = dumpState();
    return code == STAPI_RC_OK ? dumpResultSet(dumped_) : code;
}

void GatewayConnection::close() {
    if (GatewayToken* token = token_.exchange(nullptr); token != nullptr) {
        closeGatewayConnection(&token);
    }
}

void GatewayConnection::cutOff() {
    if (GatewayToken* token = token_; token != nullptr) {
        closeGatewayConnection(&token);
    }
}

void GatewayConnection::noteCode(const int32_t code) {
    if (isConnectionGone(code)) {
        token_ = nullptr;
    }
}

std::optional<Failure> failureOf(const Query& query, const Answer& answer) {
    if (answer.cutOff) {
        return failedReading(query, Failure::Kind::cutOff,
                             "the connection ended in the middle of it; only what arrived whole is shown",
                             "Is the gateway still running? Run the command again.");
    }
    if (answer.code != STAPI_RC_OK) {
        Failure failure;
        failure.stage = answer.stage;
        failure.query = query;
        failure.code = answer.code;
        return failure;
    }
    if (answer.incomplete) {
        return failedReading(query, Failure::Kind::incomplete,
                             "it announces more than it holds; only what is certain is shown",
                             "Look into the gateway's log, or trace it with --trace-level 5 --trace-file FILE.");
    }
    if (answer.cutShort) {
        const bool isNamed = !answer.elements.empty() && answer.elements.back().entries.empty();
        const std::string element = isNamed ? "the element " + quoteText(answer.elements.back().text) : "an element";
        return failedReading(query, Failure::Kind::outOfReach,
                             element + " has no entries, and what follows it is out of reach",
                             "Ask for what follows it by group or by id.");
    }
    if (answer.hidesLastElement) {
        return failedReading(query, Failure::Kind::outOfReach, "its last element has no entries, and is out of reach",
                             "Ask for it by group or by id.");
    }
    if (!answer.unanswered.empty()) {
        const size_t others = answer.unanswered.size() - 1;
        return failedReading(query, Failure::Kind::incomplete,
                             "it says nothing of " + quoteText(answer.unanswered.front()) +
                                 (others == 0 ? ", which was asked for"
                                              : " and of " + std::to_string(others) + " more of what was asked for"),
                             "Look into the gateway's log, or trace it with --trace-level 5 --trace-file FILE.");
    }
    return std::nullopt;
}

Failure connectFailure(const int32_t code) {
    Failure failure;
    failure.stage = Failure::Stage::connecting;
    // The library has one code for many reasons; this one can be found out afterwards, and is none of the gateway's.
    const bool mayBeOurs = code == STAPI_RC_CONNECT_FAILED || code == STAPI_RC_HOST_UNKNOWN;
    if (const auto lack = mayBeOurs ? whyNoConnection() : std::nullopt) {
        failure.kind = Failure::Kind::localLimit;
        failure.reason = "this machine lets zulstat open no more connections: " + *lack;
        failure.advice = std::string(kTooFewDescriptors);
        return failure;
    }
    failure.code = code;
    return failure;
}

}  // namespace zulstat
