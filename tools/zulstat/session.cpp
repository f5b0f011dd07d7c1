#include "session.h"

#include <new>
#include <utility>

#include "answer.h"
#include "id_list.h"
#include "text_escape.h"
#include "zulstats64.h"

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

using QueryForAll = int32_t (*)(GatewayToken*, ResultSetToken**);
using QueryForList = int32_t (*)(GatewayToken*, const char*, ResultSetToken**);

Answer ask(GatewayToken* const gateway, const QueryKind kind, const QueryForAll query) {
    ResultSetToken* resultSet = nullptr;
    if (const int32_t code = query(gateway, &resultSet); code != STAPI_RC_OK) {
        return failedQuery(code);
    }
    return kind == QueryKind::statistics ? readStatisticsSet(resultSet) : readIdSet(resultSet);
}

AskForList listAsker(GatewayToken* const gateway, const QueryKind kind, const QueryForList query) {
    return [=](const std::string& list) {
        ResultSetToken* resultSet = nullptr;
        if (const int32_t code = query(gateway, list.c_str(), &resultSet); code != STAPI_RC_OK) {
            return failedQuery(code);
        }
        return kind == QueryKind::statistics ? readStatisticsSet(resultSet) : readIdSet(resultSet);
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
    if (!answer.cutShort || kind == QueryKind::resourceGroups) {
        return answer;
    }
    const Answer groups = ask(gateway, QueryKind::resourceGroups, getResourceGroupIds);
    if (groups.code != STAPI_RC_OK) {
        answer.code = groups.code;
        answer.stage = groups.stage;
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
            return askForIds(query.ids, groupAsker(gateway, query.kind));
        case AskedBy::statisticId:
            return askForIds(query.ids, listAsker(gateway, query.kind, getStatsByStatId));
    }
    return askForAll(gateway, query.kind);
}

Failure connectFailure(const int32_t code) {
    Failure failure;
    failure.stage = Failure::Stage::connecting;
    failure.code = code;
    return failure;
}

Failure queryFailure(const Query& query, const Answer& answer) {
    Failure failure;
    failure.stage = answer.stage;
    failure.query = query;
    failure.code = answer.code;
    return failure;
}

Failure unreachableRest(const Query& query, const std::string& emptyElement) {
    Failure failure;
    failure.stage = Failure::Stage::reading;
    failure.query = query;
    failure.reason = "the element " + quoteText(emptyElement) + " has no entries, and what follows it is out of reach";
    failure.advice = "Ask for what follows it by group or by id.";
    return failure;
}

Answer makeQueryWithinMemory(GatewayToken* const gateway, const Query& query) {
    try {
        return makeQuery(gateway, query);
    } catch (const std::bad_alloc&) {
        return failedQuery(STAPI_RC_NO_MEMORY);
    }
}

bool isConnectionGone(const int32_t code) {
    return code == STAPI_RC_SOCKET_ERROR || code == STAPI_RC_BAD_EYECATCHER;
}

// Returns the code with which the queries ended.
int32_t reportQuery(GatewayToken* const gateway, const Query& query, ReportUnderWay& report) {
    report.asking(query);
    Answer answer = makeQueryWithinMemory(gateway, query);
    if (answer.code != STAPI_RC_OK) {
        report.fail(queryFailure(query, answer));
    } else if (answer.cutShort) {
        report.fail(unreachableRest(query, answer.elements.back().text));
    }
    const int32_t code = answer.code;
    if ((code == STAPI_RC_OK && !answer.cutShort) || !answer.elements.empty()) {
        report.addResult({query, std::move(answer.elements)});
    }
    return code;
}

int32_t reportQueries(GatewayToken* const gateway, const std::vector<Query>& queries, ReportUnderWay& report) {
    int32_t code = STAPI_RC_OK;
    for (const Query& query : queries) {
        code = reportQuery(gateway, query, report);
        if (code != STAPI_RC_OK) {
            break;
        }
    }
    return code;
}

}  // namespace

void runSession(const std::string& host, const int32_t port, const std::vector<Query>& queries,
                ReportUnderWay& report) {
    GatewayToken* gateway = nullptr;
    char* protocolVersion = nullptr;
    const int32_t openCode = openRemoteGatewayConnection(host.c_str(), port, &gateway, &protocolVersion);
    if (openCode != STAPI_RC_OK) {
        report.fail(connectFailure(openCode));
        report.answered();
        report.finished();
        return;
    }
    report.connected(protocolVersion == nullptr ? "" : protocolVersion);
    const int32_t code = reportQueries(gateway, queries, report);
    report.answered();
    if (!isConnectionGone(code)) {
        closeGatewayConnection(&gateway);
    }
    report.finished();
}

}  // namespace zulstat
