// What a run asked and learnt, free of the library's types.
#ifndef ZULSTATS_TOOLS_ZULSTAT_REPORT_H
#define ZULSTATS_TOOLS_ZULSTAT_REPORT_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zulstat {

enum class QueryKind { resourceGroups, statisticIds, statistics };

enum class AskedBy { all, group, statisticId };

struct Query {
    QueryKind kind = QueryKind::resourceGroups;
    AskedBy by = AskedBy::all;
    std::vector<std::string> ids;  // empty when everything is asked for
};

struct Entry {
    std::string id;
    std::string value;  // statistics only
};

// The answer to one query element. A negative code: the gateway could not answer it, and there are no entries.
struct Element {
    std::string text;
    int32_t code = 0;
    std::vector<Entry> entries;
};

struct QueryResult {
    Query query;
    std::vector<Element> elements;
};

struct Failure {
    enum class Stage { connecting, querying, reading };

    Stage stage = Stage::connecting;
    std::optional<Query> query;   // what was asked, unless connecting failed
    std::optional<int32_t> code;  // of the library; none when the time limit struck or an answer was unreadable
    std::string reason;           // used where there is no code
    std::string advice;           // used where there is no code
};

struct Report {
    std::string host;
    int32_t port = 0;
    std::optional<std::string> protocolVersion;  // none while not connected
    std::vector<QueryResult> results;
    std::optional<Failure> failure;
};

inline bool isFailed(const Element& element) {
    return element.code < 0;
}

inline size_t countFailedElements(const Report& report) {
    size_t count = 0;
    for (const QueryResult& result : report.results) {
        for (const Element& element : result.elements) {
            count += isFailed(element) ? 1U : 0U;
        }
    }
    return count;
}

}  // namespace zulstat

#endif
