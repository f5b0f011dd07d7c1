// What a run asked and learnt, free of the library's types.
#ifndef ZULSTATS_TOOLS_ZULSTAT_REPORT_H
#define ZULSTATS_TOOLS_ZULSTAT_REPORT_H

#include <chrono>
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
    // When the answer was there, for rates, by a clock that nobody sets: a gateway that is slow is so before it
    // answers.
    std::chrono::steady_clock::time_point at{};
};

struct Failure {
    enum class Stage { connecting, querying, reading };
    enum class Kind {
        code,         // the library gave a code
        timeLimit,    // no answer in time
        cutOff,       // the connection ended in the middle of an answer
        incomplete,   // an answer announces more than it holds
        outOfReach,   // a part of an answer cannot be reached
        localLimit,   // this machine lets the process have no more of what it needs: threads, descriptors
        interrupted,  // the user wanted no more
    };

    Stage stage = Stage::connecting;
    Kind kind = Kind::code;
    std::optional<Query> query;   // what was asked, unless connecting failed
    std::optional<int32_t> code;  // of the library; for Kind::code alone
    std::string reason;           // used where there is no code
    std::string advice;           // used where there is no code
};

struct Gateway {
    std::string name;  // empty: none was given
    std::string host;
    int32_t port = 0;
};

// The id that an id which could not be answered may have meant.
struct Suggestion {
    std::string asked;
    std::string nearest;
};

struct Report {
    Gateway gateway;
    std::chrono::system_clock::time_point startedAt;
    std::chrono::microseconds duration{0};
    std::optional<std::string> protocolVersion;  // none while not connected
    std::vector<QueryResult> results;
    std::vector<Suggestion> suggestions;
    std::optional<Failure> failure;
};

// A run about several gateways has a report for each, in the order of the command line.
using Reports = std::vector<Report>;

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
