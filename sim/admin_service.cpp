#include "admin_service.h"

#include <cstddef>
#include <utility>
#include <vector>

#include "object_stream.h"
#include "values.h"

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
        if (const auto group = catalogue_.groupById.find(element); group != catalogue_.groupById.end()) {
            response.code = 0;
            for (const size_t index : catalogue_.groups[group->second].statistics) {
                response.ids.push_back(catalogue_.statistics[index].id);
            }
        }
        responses.push_back(std::move(response));
    }
    return idsWithAddition(std::move(responses), addition);
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
    const Instant now = clock_.now(earlierQueries);
    std::vector<StatisticsResponse> responses;
    for (const std::string& element : elements) {
        StatisticsResponse response{element, kUnknownId, {}};
        const auto add = [&](size_t index) {
            const Statistic& statistic = catalogue_.statistics[index];
            response.code = 0;
            response.statistics.push_back({statistic.id, valueText(statistic, seed_, clock_.start(), now)});
        };
        if (const auto group = catalogue_.groupById.find(element); group != catalogue_.groupById.end()) {
            response.code = 0;
            for (const size_t index : catalogue_.groups[group->second].statistics) {
                add(index);
            }
        } else if (const auto statistic = catalogue_.statisticById.find(element);
                   statistic != catalogue_.statisticById.end()) {
            add(statistic->second);
        }
        responses.push_back(std::move(response));
    }
    return statisticsWithAddition(std::move(responses), addition);
}

}  // namespace gatewaysim
