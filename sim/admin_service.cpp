#include "admin_service.h"

#include <cstddef>
#include <utility>
#include <vector>

namespace gatewaysim {

namespace {

std::vector<std::string> elementsOf(std::string_view query) {
    std::vector<std::string> elements;
    while (true) {
        const size_t end = query.find(':');
        elements.emplace_back(query.substr(0, end));
        if (end == std::string_view::npos) {
            return elements;
        }
        query.remove_prefix(end + 1);
    }
}

Payload idsWithAddition(std::vector<IdResponse> responses, std::string_view addition) {
    for (IdResponse& response : responses) {
        response.queryId += addition;
        for (std::string& id : response.ids) {
            id += addition;
        }
    }
    return idPayload(responses);
}

Payload statisticsWithAddition(std::vector<StatisticsResponse> responses, std::string_view addition) {
    for (StatisticsResponse& response : responses) {
        response.queryId += addition;
        for (StatisticValue& statistic : response.statistics) {
            statistic.id += addition;
            statistic.value += addition;
        }
    }
    return statisticsPayload(responses);
}

}  // namespace

Payload AdminService::protocol(std::string_view addition) const {
    return attributePayload(catalogue_.protocol + std::string(addition));
}

Payload AdminService::resourceGroups(std::string_view addition) const {
    IdResponse response{"", 0, {}};
    for (const Group& group : catalogue_.groups) {
        response.ids.push_back(group.id);
    }
    return idsWithAddition({response}, addition);
}

Payload AdminService::statisticIds(std::string_view query, std::string_view addition) const {
    if (query.empty()) {
        IdResponse everything{"", 0, {}};
        for (const Statistic& statistic : catalogue_.statistics) {
            everything.ids.push_back(statistic.id);
        }
        return idsWithAddition({everything}, addition);
    }
    std::vector<IdResponse> responses;
    for (const std::string& element : elementsOf(query)) {
        IdResponse response{element, kUnknownId, {}};
        if (const auto found = catalogue_.groupById.find(element); found != catalogue_.groupById.end()) {
            const Group& group = catalogue_.groups[found->second];
            response.code = group.code;
            if (response.code >= 0) {
                for (const size_t index : group.statistics) {
                    response.ids.push_back(catalogue_.statistics[index].id);
                }
            }
        }
        responses.push_back(std::move(response));
    }
    return idsWithAddition(std::move(responses), addition);
}

StatisticsResponse AdminService::statisticsOf(const std::string& element, Moment& moment) const {
    StatisticsResponse response{element, kUnknownId, {}};
    std::vector<size_t> answered;
    if (const auto group = catalogue_.groupById.find(element); group != catalogue_.groupById.end()) {
        response.code = catalogue_.groups[group->second].code;
        answered = catalogue_.groups[group->second].statistics;
    } else if (const auto statistic = catalogue_.statisticById.find(element);
               statistic != catalogue_.statisticById.end()) {
        response.code = catalogue_.statistics[statistic->second].code;
        answered = {statistic->second};
    }
    if (response.code >= 0) {
        for (const size_t index : answered) {
            response.statistics.push_back({catalogue_.statistics[index].id, moment.text(index)});
        }
    }
    return response;
}

Payload AdminService::statistics(std::string_view query, uint32_t earlierQueries, std::string_view addition) const {
    std::vector<std::string> elements;
    if (query.empty()) {
        for (const Group& group : catalogue_.groups) {
            elements.push_back(group.id);
        }
    } else {
        elements = elementsOf(query);
    }
    Moment moment(catalogue_, seed_, clock_.start(), clock_.now(earlierQueries));
    std::vector<StatisticsResponse> responses;
    responses.reserve(elements.size());
    for (const std::string& element : elements) {
        responses.push_back(statisticsOf(element, moment));
    }
    return statisticsWithAddition(std::move(responses), addition);
}

}  // namespace gatewaysim
