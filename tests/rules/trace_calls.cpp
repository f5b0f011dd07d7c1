#include "trace_calls.h"

#include <functional>
#include <map>

#include "source_tokens.h"
#include "trace_table.h"

namespace rule_test {

namespace {

using test_support::parsePointId;

constexpr std::string_view kWrittenNewLine = "\\n";

const std::map<std::string, std::string, std::less<>>& wordOfMacro() {
    static const std::map<std::string, std::string, std::less<>> kWords = {
        {"TRACE_EXC", "EXC"},
        {"TRACE_EXC_UNLOCKED", "EXC"},
        {"TRACE_EVENT", "EVENT"},
        {"TRACE_ENTRY", "ENTRY"},
        {"TRACE_ENTRY_STALE_TIME", "ENTRY"},
        {"TRACE_EXIT", "EXIT"},
        {"TRACE_DEBUG", "DEBUG"},
        {"TRACE_DATA", "DATA"},
    };
    return kWords;
}

size_t countOccurrences(std::string_view text, std::string_view part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string_view::npos; at = text.find(part, at + part.size())) {
        ++count;
    }
    return count;
}

using Argument = Tokens;

// The arguments of a macro call as the preprocessor splits them: only round brackets keep a comma inside. `open` is the
// position of the opening bracket; nothing is returned when the call does not end.
std::optional<std::vector<Argument>> readArguments(const Tokens& tokens, size_t open) {
    std::vector<Argument> arguments(1);
    size_t depth = 0;
    for (size_t index = open; index < tokens.size(); ++index) {
        const Token& token = tokens[index];
        const bool isMark = token.kind == TokenKind::mark;
        if (isMark && token.text == "(") {
            ++depth;
            if (depth == 1) {
                continue;
            }
        } else if (isMark && token.text == ")") {
            --depth;
            if (depth == 0) {
                return arguments;
            }
        } else if (isMark && token.text == "," && depth == 1) {
            arguments.emplace_back();
            continue;
        }
        arguments.back().push_back(token);
    }
    return std::nullopt;
}

// What stands before the text and its arguments: the id, and for DATA the memory that is dumped behind the line.
size_t argumentsBeforeText(std::string_view word) {
    return word == "DATA" ? 2 : 1;
}

bool isTraceMacroName(std::string_view name) {
    return name.starts_with("TRACE_");
}

void scanCall(const Tokens& tokens, size_t index, const std::string& file, TraceCalls& result) {
    const std::string& macro = tokens[index].text;
    const std::string where = file + ":" + std::to_string(tokens[index].line);
    const auto known = wordOfMacro().find(macro);
    const std::optional<std::vector<Argument>> arguments = readArguments(tokens, index + 1);
    const bool hasId = arguments && arguments->front().size() == 1 &&
                       arguments->front().front().kind == TokenKind::word &&
                       parsePointId(arguments->front().front().text).has_value();
    if (known == wordOfMacro().end()) {
        if (hasId) {
            result.malformed.push_back(where + ": " + macro + " is no known trace macro");
        }
        return;
    }
    if (!hasId) {
        result.malformed.push_back(where + ": " + macro + " has no plain number as its point id");
        return;
    }
    const std::string idText = arguments->front().front().text;
    const size_t textAt = argumentsBeforeText(known->second);
    const bool hasText = arguments->size() > textAt && (*arguments)[textAt].size() == 1 &&
                         (*arguments)[textAt].front().kind == TokenKind::string;
    if (!hasText) {
        result.malformed.push_back(where + ": point " + idText + " has no text that is one plain string literal");
        return;
    }
    result.calls.push_back({parsePointId(idText).value_or(0), macro, known->second, (*arguments)[textAt].front().text,
                            arguments->size() - textAt - 1, where});
}

const std::map<std::string, std::string, std::less<>>& wordOfPoint() {
    static const std::map<std::string, std::string, std::less<>> kWords = {
        {"exception", "EXC"}, {"event", "EVENT"}, {"entry", "ENTRY"},
        {"exit", "EXIT"},     {"debug", "DEBUG"}, {"data", "DATA"},
    };
    return kWords;
}

// A point that stands as a value: {TraceWord::entry, 1043, "text"}. The compiler has counted its arguments.
void scanPoint(const Tokens& tokens, size_t index, const std::string& file, TraceCalls& result) {
    constexpr size_t kWordAt = 3;
    constexpr size_t kIdAt = 5;
    constexpr size_t kTextAt = 7;
    const auto tokenAt = [&tokens, index](size_t offset) {
        return index + offset < tokens.size() ? tokens[index + offset] : Token{};
    };
    const auto word = wordOfPoint().find(tokenAt(kWordAt).text);
    const std::optional<int32_t> id = parsePointId(tokenAt(kIdAt).text);
    if (word == wordOfPoint().end() || tokenAt(kWordAt + 1).text != "," || !id) {
        return;
    }
    const std::string where = file + ":" + std::to_string(tokens[index].line);
    if (tokenAt(kTextAt).kind != TokenKind::string || tokenAt(kTextAt + 1).text != "}") {
        result.malformed.push_back(where + ": point " + std::to_string(*id) +
                                   " has no text that is one plain string literal");
        return;
    }
    const std::string& text = tokens[index + kTextAt].text;
    result.calls.push_back({*id, "TracePoint", word->second, text, countConversions(text).value_or(0), where});
}

void scanSource(std::string_view source, const std::string& file, TraceCalls& result) {
    const Tokens tokens = withoutDirectives(tokensOf(source));
    for (size_t index = 0; index + 1 < tokens.size(); ++index) {
        const bool isCall = tokens[index].kind == TokenKind::word && isTraceMacroName(tokens[index].text) &&
                            tokens[index + 1].kind == TokenKind::mark && tokens[index + 1].text == "(";
        if (isCall) {
            scanCall(tokens, index, file, result);
        } else if (tokens[index].kind == TokenKind::word && tokens[index].text == "TraceWord") {
            scanPoint(tokens, index, file, result);
        }
    }
}

}  // namespace

TraceCalls traceCallsOf(const std::vector<SourceFile>& files) {
    TraceCalls result;
    for (const SourceFile& file : files) {
        scanSource(file.text, file.path, result);
    }
    return result;
}

TraceCalls traceCallsOfText(std::string_view source) {
    return traceCallsOf({{"text", std::string(source)}});
}

bool endsInExactlyOneNewLine(std::string_view message) {
    return message.ends_with(kWrittenNewLine) && countOccurrences(message, kWrittenNewLine) == 1;
}

std::optional<size_t> countConversions(std::string_view message) {
    size_t count = 0;
    size_t at = 0;
    while ((at = message.find('%', at)) != std::string_view::npos) {
        const size_t letter = message.find_first_not_of("0123456789.-", at + 1);
        if (letter == std::string_view::npos) {
            return std::nullopt;
        }
        if (std::string_view("cdpsuxX").find(message[letter]) == std::string_view::npos) {
            return std::nullopt;
        }
        ++count;
        at = letter + 1;
    }
    return count;
}

std::vector<std::string> argumentMismatches(const std::vector<TraceCall>& calls) {
    std::vector<std::string> mismatches;
    for (const TraceCall& call : calls) {
        const std::optional<size_t> conversions = countConversions(call.message);
        const std::string point = "point " + std::to_string(call.id) + " at " + call.where;
        if (!conversions) {
            mismatches.push_back(point + " has an unknown conversion: \"" + call.message + "\"");
        } else if (*conversions != call.argumentCount) {
            mismatches.push_back(point + " has " + std::to_string(*conversions) + " conversions and " +
                                 std::to_string(call.argumentCount) + " arguments: \"" + call.message + "\"");
        }
    }
    return mismatches;
}

std::set<int32_t> idsUsing(const std::vector<TraceCall>& calls, std::string_view macro) {
    std::set<int32_t> ids;
    for (const TraceCall& call : calls) {
        if (call.macro == macro) {
            ids.insert(call.id);
        }
    }
    return ids;
}

}  // namespace rule_test
