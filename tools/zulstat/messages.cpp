#include "messages.h"

#include <algorithm>
#include <cstddef>

#include "code_table.h"
#include "text_escape.h"

namespace zulstat {
namespace {

std::string_view nameOfSelection(const AskedBy by) {
    switch (by) {
        case AskedBy::group:
            return " by group";
        case AskedBy::statisticId:
            return " by statistic id";
        case AskedBy::all:
            break;
    }
    return "";
}

std::string describeStage(const Failure& failure, const std::string& address) {
    const std::string query = failure.query ? describeQuery(*failure.query) : std::string();
    switch (failure.stage) {
        case Failure::Stage::connecting:
            break;
        case Failure::Stage::querying:
            return "the query for " + query + " at " + address + " failed";
        case Failure::Stage::reading:
            return "the answer to the query for " + query + " at " + address + " cannot be read";
    }
    return "cannot connect to " + address;
}

bool hasNothingToShow(const QueryResult& result) {
    return std::all_of(result.elements.begin(), result.elements.end(), [](const Element& element) {
        return element.text.empty() && !isFailed(element) && element.entries.empty();
    });
}

}  // namespace

std::string formatCode(const int32_t code) {
    const CodeEntry* const entry = findCode(code);
    return (entry == nullptr ? std::string("code") : std::string(entry->name) + ",") + " " + std::to_string(code);
}

std::string describeCode(const int32_t code) {
    const CodeEntry* const entry = findCode(code);
    const std::string_view meaning =
        entry == nullptr ? "the library gave a code that it does not document" : entry->meaning;
    const std::string_view advice =
        entry == nullptr ? "Trace it with --trace-level 5 --trace-file FILE." : entry->advice;
    return std::string(meaning) + " (" + formatCode(code) + "). " + std::string(advice);
}

std::string_view nameOfEntries(const QueryKind kind) {
    switch (kind) {
        case QueryKind::resourceGroups:
            return "resource groups";
        case QueryKind::statisticIds:
            return "statistic ids";
        case QueryKind::statistics:
            break;
    }
    return "statistics";
}

std::string describeQuery(const Query& query) {
    return std::string(nameOfEntries(query.kind)) + std::string(nameOfSelection(query.by));
}

std::string reasonOf(const Failure& failure) {
    return failure.code ? describeCode(*failure.code) : failure.reason + ". " + failure.advice;
}

std::string describeFailure(const Failure& failure, const Gateway& gateway) {
    return describeStage(failure, formatGateway(gateway)) + ": " + reasonOf(failure);
}

std::vector<std::string> describeRemarks(const Report& report) {
    std::vector<std::string> remarks;
    for (size_t index = 0; index < report.results.size(); ++index) {
        const QueryResult& result = report.results[index];
        const bool wasInterrupted = report.failure.has_value() && index + 1 == report.results.size();
        if (hasNothingToShow(result) && !wasInterrupted) {
            remarks.push_back(formatGateway(report.gateway) + " reports no " +
                              std::string(nameOfEntries(result.query.kind)) + ".");
        }
        for (const Element& element : result.elements) {
            if (element.code > 0) {
                remarks.push_back("note: the gateway answered the query element " + quoteText(element.text) +
                                  " with code " + std::to_string(element.code) + ".");
            }
        }
    }
    for (const Suggestion& suggestion : report.suggestions) {
        remarks.push_back("the gateway could not answer " + quoteText(suggestion.asked) + ". Did you mean " +
                          quoteText(suggestion.nearest) + "?");
    }
    return remarks;
}

}  // namespace zulstat
