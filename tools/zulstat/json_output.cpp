#include "json_output.h"

#include <nlohmann/json.hpp>

#include "code_table.h"
#include "messages.h"
#include "time_text.h"

namespace zulstat {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kFormatVersion = 1;

std::string_view keyOf(const QueryKind kind) {
    switch (kind) {
        case QueryKind::resourceGroups:
            return "resourceGroups";
        case QueryKind::statisticIds:
            return "statisticIds";
        case QueryKind::statistics:
            break;
    }
    return "statistics";
}

std::string_view keyOf(const AskedBy by) {
    switch (by) {
        case AskedBy::group:
            return "group";
        case AskedBy::statisticId:
            return "statisticId";
        case AskedBy::all:
            break;
    }
    return "all";
}

std::string_view keyOf(const Failure::Stage stage) {
    switch (stage) {
        case Failure::Stage::querying:
            return "query";
        case Failure::Stage::reading:
            return "read";
        case Failure::Stage::connecting:
            break;
    }
    return "connect";
}

Json statisticsToJson(const std::vector<Entry>& entries) {
    Json list = Json::array();
    for (const Entry& entry : entries) {
        list.push_back(Json{{"id", entry.id}, {"value", entry.value}});
    }
    return list;
}

Json idsToJson(const std::vector<Entry>& entries) {
    Json list = Json::array();
    for (const Entry& entry : entries) {
        list.push_back(entry.id);
    }
    return list;
}

Json elementToJson(const Element& element, const QueryKind kind) {
    Json object{{"element", element.text}, {"code", element.code}};
    if (isFailed(element)) {
        object["error"] = Json{{"code", element.code}, {"message", "the gateway could not answer this query element"}};
    } else if (kind == QueryKind::statistics) {
        object["statistics"] = statisticsToJson(element.entries);
    } else {
        object["ids"] = idsToJson(element.entries);
    }
    return object;
}

Json queryToJson(const QueryResult& result) {
    Json elements = Json::array();
    for (const Element& element : result.elements) {
        elements.push_back(elementToJson(element, result.query.kind));
    }
    Json object{{"kind", keyOf(result.query.kind)}, {"by", keyOf(result.query.by)}};
    object["asked"] = Json(result.query.ids);
    object["elements"] = std::move(elements);
    return object;
}

std::string_view keyOf(const Failure::Kind kind) {
    switch (kind) {
        case Failure::Kind::timeLimit:
            return "timeLimit";
        case Failure::Kind::cutOff:
            return "cutOff";
        case Failure::Kind::incomplete:
            return "incomplete";
        case Failure::Kind::outOfReach:
            return "outOfReach";
        case Failure::Kind::localLimit:
            return "localLimit";
        case Failure::Kind::interrupted:
            return "interrupted";
        case Failure::Kind::code:
            break;
    }
    return "code";
}

Json failureToJson(const Report& report) {
    if (!report.failure) {
        return nullptr;
    }
    const Failure& failure = *report.failure;
    Json object{{"stage", keyOf(failure.stage)}, {"kind", keyOf(failure.kind)}, {"code", nullptr}, {"name", nullptr}};
    if (failure.code) {
        const CodeEntry* const entry = findCode(*failure.code);
        object["code"] = *failure.code;
        object["name"] = entry == nullptr ? Json(nullptr) : Json(entry->name);
    }
    object["message"] = describeFailure(failure, report.gateway);
    return object;
}

// What is known of one gateway, added to the object.
void addReport(Json& object, const Report& report) {
    Json queries = Json::array();
    for (const QueryResult& result : report.results) {
        queries.push_back(queryToJson(result));
    }
    object["time"] = formatTime(report.startedAt);
    object["durationMs"] = std::chrono::duration<double, std::milli>(report.duration).count();
    object["gateway"] = Json{
        {"name", nullptr}, {"host", report.gateway.host}, {"port", report.gateway.port}, {"protocolVersion", nullptr}};
    if (!report.gateway.name.empty()) {
        object["gateway"]["name"] = report.gateway.name;
    }
    if (report.protocolVersion) {
        object["gateway"]["protocolVersion"] = *report.protocolVersion;
    }
    object["queries"] = std::move(queries);
    object["failedElements"] = countFailedElements(report);
    object["error"] = failureToJson(report);
}

}  // namespace

std::string renderJson(const Reports& reports, const Versions& versions) {
    constexpr int kIndentation = 2;
    Json document;
    document["format"] = kFormatVersion;
    document["program"] = Json{{"name", "zulstat"}, {"version", versions.program}, {"apiVersion", versions.api}};
    if (reports.size() == 1) {
        addReport(document, reports.front());
    } else {
        Json gateways = Json::array();
        for (const Report& report : reports) {
            addReport(gateways.emplace_back(Json::object()), report);
        }
        document["gateways"] = std::move(gateways);
    }
    return document.dump(kIndentation, ' ', true, Json::error_handler_t::replace) + "\n";
}

}  // namespace zulstat
