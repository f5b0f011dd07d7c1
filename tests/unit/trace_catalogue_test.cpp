// Holds the table of trace points (tests/data/trace_points.tsv) and the trace calls of the library's sources against
// each other, in both directions. The sources are read as text: a text that cannot be found by grep is a defect here,
// even if the compiled library would print it.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace {

constexpr size_t kMessageAreaSize = 256;
constexpr std::string_view kTableHeader = "id\tword\tfunction\tmessage\ttext\tnote";
constexpr std::string_view kWrittenNewLine = "\\n";

struct TableRow {
    int32_t id = 0;
    std::string word;
    std::string function;
    std::string message;
    std::string textKind;
};

struct TraceCall {
    int32_t id = 0;
    std::string macro;
    std::string word;
    std::string message;
    size_t argumentCount = 0;
    std::string where;
};

struct ScanResult {
    std::vector<TraceCall> calls;
    std::vector<std::string> malformed;
};

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

std::optional<int32_t> parseId(std::string_view text) {
    int32_t id = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, id);
    if (error != std::errc{} || stop != end) {
        return std::nullopt;
    }
    return id;
}

size_t countOccurrences(std::string_view text, std::string_view part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string_view::npos; at = text.find(part, at + part.size())) {
        ++count;
    }
    return count;
}

bool endsInExactlyOneNewLine(std::string_view message) {
    return message.ends_with(kWrittenNewLine) && countOccurrences(message, kWrittenNewLine) == 1;
}

// How many arguments a format takes; nothing when it holds a conversion that no trace text uses.
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

// ---------------------------------------------------------------------------------------------------------------------
// The table
// ---------------------------------------------------------------------------------------------------------------------

std::vector<std::string> splitAtTabs(const std::string& line) {
    std::vector<std::string> columns;
    size_t start = 0;
    for (size_t tab = line.find('\t'); tab != std::string::npos; tab = line.find('\t', start)) {
        columns.push_back(line.substr(start, tab - start));
        start = tab + 1;
    }
    columns.push_back(line.substr(start));
    return columns;
}

struct Table {
    std::vector<TableRow> rows;
    std::vector<std::string> malformed;
};

Table readTable(std::istream& input) {
    Table table;
    std::string line;
    size_t lineNumber = 0;
    while (std::getline(input, line)) {
        ++lineNumber;
        if (line.ends_with('\r')) {
            line.pop_back();
        }
        if (lineNumber == 1) {
            if (line != kTableHeader) {
                table.malformed.push_back("line 1 is not the header line");
            }
            continue;
        }
        const std::vector<std::string> columns = splitAtTabs(line);
        const std::optional<int32_t> id = parseId(columns.front());
        if (columns.size() != 6 || !id) {
            table.malformed.push_back("line " + std::to_string(lineNumber) + " is not a row of six columns: " + line);
            continue;
        }
        table.rows.push_back({*id, columns[1], columns[2], columns[3], columns[4]});
    }
    return table;
}

const Table& traceTable() {
    static const Table kTable = [] {
        std::ifstream input(TRACE_TABLE_FILE, std::ios::binary);
        Table read = readTable(input);
        if (read.rows.empty()) {
            read.malformed.push_back("no row could be read from " TRACE_TABLE_FILE);
        }
        return read;
    }();
    return kTable;
}

// ---------------------------------------------------------------------------------------------------------------------
// The sources
// ---------------------------------------------------------------------------------------------------------------------

enum class TokenKind : uint8_t { word, string, otherLiteral, mark };

struct Token {
    TokenKind kind = TokenKind::mark;
    std::string text;
    size_t line = 0;
};

// Splits C++ text into words (identifiers and numbers), plain string literals, other literals and single marks.
// Comments and preprocessor directives yield nothing: the definitions of the trace macros are no trace calls.
class Tokenizer {
  public:
    explicit Tokenizer(std::string_view source) : source_(source) {}

    std::vector<Token> run() {
        while (at_ < source_.size()) {
            readNext();
        }
        return std::move(tokens_);
    }

  private:
    static bool isWordCharacter(char character) {
        return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
               (character >= '0' && character <= '9') || character == '_';
    }

    bool startsWith(std::string_view text) const {
        return source_.substr(at_).starts_with(text);
    }

    void step(size_t count) {
        const std::string_view passed = source_.substr(at_, count);
        line_ += static_cast<size_t>(std::count(passed.begin(), passed.end(), '\n'));
        at_ += passed.size();
    }

    void stepBehind(std::string_view mark) {
        const size_t found = source_.find(mark, at_);
        step(found == std::string_view::npos ? source_.size() - at_ : found - at_ + mark.size());
    }

    void readNext() {
        const char character = source_[at_];
        if (character == '\n') {
            atLineStart_ = true;
            step(1);
        } else if (character == ' ' || character == '\t' || character == '\r') {
            step(1);
        } else if (startsWith("//")) {
            skipLine();
        } else if (startsWith("/*")) {
            step(2);
            stepBehind("*/");
        } else if (character == '#' && atLineStart_) {
            skipLine();
        } else {
            atLineStart_ = false;
            readToken(character);
        }
    }

    // To the end of the line, and on over lines joined by a backslash.
    void skipLine() {
        while (at_ < source_.size() && source_[at_] != '\n') {
            step(startsWith("\\\r\n") ? 3 : startsWith("\\\n") ? 2 : 1);
        }
    }

    void readToken(char character) {
        if (startsWith("R\"")) {
            readRawString();
        } else if (character == '"' || character == '\'') {
            readQuoted(character);
        } else if (isWordCharacter(character)) {
            readWord();
        } else {
            tokens_.push_back({TokenKind::mark, std::string(1, character), line_});
            step(1);
        }
    }

    void readRawString() {
        const size_t line = line_;
        const size_t start = at_;
        const size_t bracket = std::min(source_.find('(', at_), source_.size());
        const std::string end = ")" + std::string(source_.substr(at_ + 2, bracket - at_ - 2)) + "\"";
        stepBehind(end);
        tokens_.push_back({TokenKind::otherLiteral, std::string(source_.substr(start, at_ - start)), line});
    }

    void readQuoted(char quote) {
        const size_t line = line_;
        step(1);
        const size_t start = at_;
        while (at_ < source_.size() && source_[at_] != quote) {
            step(source_[at_] == '\\' ? 2 : 1);
        }
        const std::string text(source_.substr(start, at_ - start));
        step(1);
        tokens_.push_back({quote == '"' ? TokenKind::string : TokenKind::otherLiteral, text, line});
    }

    void readWord() {
        const size_t start = at_;
        const bool isNumber = source_[at_] >= '0' && source_[at_] <= '9';
        while (at_ < source_.size() && (isWordCharacter(source_[at_]) || (isNumber && source_[at_] == '\''))) {
            ++at_;
        }
        tokens_.push_back({TokenKind::word, std::string(source_.substr(start, at_ - start)), line_});
    }

    std::string_view source_;
    size_t at_ = 0;
    size_t line_ = 1;
    bool atLineStart_ = true;
    std::vector<Token> tokens_;
};

using Argument = std::vector<Token>;

// The arguments of a macro call as the preprocessor splits them: only round brackets keep a comma inside. `open` is the
// position of the opening bracket; nothing is returned when the call does not end.
std::optional<std::vector<Argument>> readArguments(const std::vector<Token>& tokens, size_t open) {
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

void scanCall(const std::vector<Token>& tokens, size_t index, const std::string& file, ScanResult& result) {
    const std::string& macro = tokens[index].text;
    const std::string where = file + ":" + std::to_string(tokens[index].line);
    const auto known = wordOfMacro().find(macro);
    const std::optional<std::vector<Argument>> arguments = readArguments(tokens, index + 1);
    const bool hasId = arguments && arguments->front().size() == 1 &&
                       arguments->front().front().kind == TokenKind::word &&
                       parseId(arguments->front().front().text).has_value();
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
    result.calls.push_back({parseId(idText).value_or(0), macro, known->second, (*arguments)[textAt].front().text,
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
void scanPoint(const std::vector<Token>& tokens, size_t index, const std::string& file, ScanResult& result) {
    constexpr size_t kWordAt = 3;
    constexpr size_t kIdAt = 5;
    constexpr size_t textAt = 7;
    const auto tokenAt = [&tokens, index](size_t offset) {
        return index + offset < tokens.size() ? tokens[index + offset] : Token{};
    };
    const auto word = wordOfPoint().find(tokenAt(kWordAt).text);
    const std::optional<int32_t> id = parseId(tokenAt(kIdAt).text);
    if (word == wordOfPoint().end() || tokenAt(kWordAt + 1).text != "," || !id) {
        return;
    }
    const std::string where = file + ":" + std::to_string(tokens[index].line);
    if (tokenAt(textAt).kind != TokenKind::string || tokenAt(textAt + 1).text != "}") {
        result.malformed.push_back(where + ": point " + std::to_string(*id) +
                                   " has no text that is one plain string literal");
        return;
    }
    const std::string& text = tokens[index + textAt].text;
    result.calls.push_back({*id, "TracePoint", word->second, text, countConversions(text).value_or(0), where});
}

void scanSource(std::string_view source, const std::string& file, ScanResult& result) {
    const std::vector<Token> tokens = Tokenizer(source).run();
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

ScanResult scanText(std::string_view source) {
    ScanResult result;
    scanSource(source, "text", result);
    return result;
}

std::string readWholeFile(const std::filesystem::path& path) {
    std::ifstream input(path, std::ios::binary);
    std::ostringstream text;
    text << input.rdbuf();
    return text.str();
}

std::vector<std::filesystem::path> sourceFiles(const std::filesystem::path& folder) {
    static const std::set<std::string> kExtensions = {".c", ".cc", ".cpp", ".h", ".hpp", ".inc"};
    std::vector<std::filesystem::path> files;
    std::error_code error;
    for (std::filesystem::recursive_directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        if (entry->is_regular_file() && kExtensions.contains(entry->path().extension().string())) {
            files.push_back(entry->path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

const ScanResult& librarySources() {
    static const ScanResult kResult = [] {
        const std::filesystem::path folder(LIBRARY_SOURCE_DIR);
        ScanResult scanned;
        for (const std::filesystem::path& path : sourceFiles(folder)) {
            scanSource(readWholeFile(path), path.lexically_relative(folder).generic_string(), scanned);
        }
        if (scanned.calls.empty()) {
            scanned.malformed.push_back("no trace call was found below " LIBRARY_SOURCE_DIR);
        }
        return scanned;
    }();
    return kResult;
}

// ---------------------------------------------------------------------------------------------------------------------
// The comparison
// ---------------------------------------------------------------------------------------------------------------------

struct Deviations {
    std::vector<std::string> absentRows;
    std::vector<std::string> differences;
    std::vector<std::string> unknownCalls;
};

std::string describe(const std::string& word, const std::string& message) {
    return word + " \"" + message + "\"";
}

std::string describeDifference(const TableRow& row, const TraceCall& call) {
    std::string text = "point " + std::to_string(row.id) + " at " + call.where + ":";
    if (row.word != call.word) {
        text += "\n  word in the table " + row.word + ", in the sources " + call.word;
    }
    if (row.message != call.message) {
        const auto [inRow, inCall] =
            std::mismatch(row.message.begin(), row.message.end(), call.message.begin(), call.message.end());
        text += "\n  text in the table   \"" + row.message + "\"\n  text in the sources \"" + call.message +
                "\"\n  first difference at character " + std::to_string(std::distance(row.message.begin(), inRow) + 1);
    }
    return text;
}

// One id: rows and calls that agree cancel out; what is left over is paired as far as it goes.
void comparePoint(std::vector<TableRow> rows, std::vector<TraceCall> calls, Deviations& deviations) {
    for (auto row = rows.begin(); row != rows.end();) {
        const auto same = std::find_if(calls.begin(), calls.end(), [&row](const TraceCall& call) {
            return call.word == row->word && call.message == row->message;
        });
        if (same == calls.end()) {
            ++row;
        } else {
            calls.erase(same);
            row = rows.erase(row);
        }
    }
    const size_t pairs = std::min(rows.size(), calls.size());
    for (size_t index = 0; index < pairs; ++index) {
        deviations.differences.push_back(describeDifference(rows[index], calls[index]));
    }
    for (size_t index = pairs; index < rows.size(); ++index) {
        deviations.absentRows.push_back(
            "point " + std::to_string(rows[index].id) +
            " has no trace call in the sources: " + describe(rows[index].word, rows[index].message));
    }
    for (size_t index = pairs; index < calls.size(); ++index) {
        deviations.unknownCalls.push_back(
            "point " + std::to_string(calls[index].id) + " at " + calls[index].where +
            " has no row of its own in the table: " + describe(calls[index].word, calls[index].message));
    }
}

Deviations compare(const std::vector<TableRow>& rows, const std::vector<TraceCall>& calls) {
    std::map<int32_t, std::pair<std::vector<TableRow>, std::vector<TraceCall>>> points;
    for (const TableRow& row : rows) {
        points[row.id].first.push_back(row);
    }
    for (const TraceCall& call : calls) {
        points[call.id].second.push_back(call);
    }
    Deviations deviations;
    for (const auto& [id, point] : points) {
        comparePoint(point.first, point.second, deviations);
    }
    return deviations;
}

std::string joinLines(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    return text;
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

// ---------------------------------------------------------------------------------------------------------------------
// The table itself
// ---------------------------------------------------------------------------------------------------------------------

TEST(TraceTable, HasAHeaderLineAndRowsOfSixColumns) {
    EXPECT_TRUE(traceTable().malformed.empty()) << joinLines(traceTable().malformed);
}

TEST(TraceTable, IsSortedById) {
    const std::vector<TableRow>& rows = traceTable().rows;
    const auto unsorted = std::is_sorted_until(
        rows.begin(), rows.end(), [](const TableRow& left, const TableRow& right) { return left.id < right.id; });
    EXPECT_TRUE(unsorted == rows.end()) << "first row out of order: " << unsorted->id;
}

TEST(TraceTable, SharesOnlyTheFiveKnownIds) {
    std::map<int32_t, size_t> counts;
    for (const TableRow& row : traceTable().rows) {
        ++counts[row.id];
    }
    std::map<int32_t, size_t> shared;
    for (const auto& [id, count] : counts) {
        if (count > 1) {
            shared[id] = count;
        }
    }
    const std::map<int32_t, size_t> expected = {{1003, 2}, {1005, 2}, {1130, 2}, {2033, 2}, {3002, 2}};
    EXPECT_EQ(shared, expected);
}

TEST(TraceTable, UsesOnlyKnownLevelWordsAndTextKinds) {
    static const std::set<std::string> kWords = {"EXC", "EVENT", "ENTRY", "EXIT", "DEBUG", "DATA"};
    static const std::set<std::string> kinds = {"fixed", "derived", "open"};
    for (const TableRow& row : traceTable().rows) {
        EXPECT_TRUE(kWords.contains(row.word)) << "point " << row.id << ": " << row.word;
        EXPECT_TRUE(kinds.contains(row.textKind)) << "point " << row.id << ": " << row.textKind;
    }
}

TEST(TraceTable, BeginsEveryMessageWithModuleAndFunction) {
    static const std::array<std::string_view, 8> kModules = {
        "API",
        "stapi_zul_impl",
        "stapi_zul_lock",
        "stapi_zul_gwytok",
        "stapi_zul_gwycon",
        "stapi_zul_socketcomms",
        "stapi_zul_statcomms",
        "stapi_zul_statquery",
    };
    for (const TableRow& row : traceTable().rows) {
        const std::string module = row.message.substr(0, row.message.find('.'));
        EXPECT_TRUE(module == "stapi_zul_resultsetbuffer" ||
                    std::find(kModules.begin(), kModules.end(), module) != kModules.end())
            << "point " << row.id << ": " << row.message;
        EXPECT_TRUE(row.message.starts_with(module + "." + row.function)) << "point " << row.id << ": " << row.message;
    }
}

TEST(TraceTable, EndsEveryMessageInExactlyOneNewLine) {
    for (const TableRow& row : traceTable().rows) {
        EXPECT_TRUE(endsInExactlyOneNewLine(row.message)) << "point " << row.id << ": " << row.message;
    }
}

TEST(TraceTable, KeepsEveryMessageBelowTheMessageArea) {
    for (const TableRow& row : traceTable().rows) {
        EXPECT_LT(row.message.size(), kMessageAreaSize) << "point " << row.id << ": " << row.message;
    }
}

TEST(TraceTable, UsesOnlyKnownConversions) {
    for (const TableRow& row : traceTable().rows) {
        EXPECT_TRUE(countConversions(row.message).has_value()) << "point " << row.id << ": " << row.message;
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// The table against the sources
// ---------------------------------------------------------------------------------------------------------------------

TEST(TraceCatalogue, EverySourceTraceCallHasAPlainIdAndOneUnsplitText) {
    EXPECT_TRUE(librarySources().malformed.empty()) << joinLines(librarySources().malformed);
}

TEST(TraceCatalogue, EveryRowOfTheTableStandsInTheSourcesOnce) {
    const Deviations deviations = compare(traceTable().rows, librarySources().calls);
    EXPECT_TRUE(deviations.absentRows.empty()) << joinLines(deviations.absentRows);
}

TEST(TraceCatalogue, EveryTracePointHasTheWordAndTheTextOfItsRow) {
    const Deviations deviations = compare(traceTable().rows, librarySources().calls);
    EXPECT_TRUE(deviations.differences.empty()) << joinLines(deviations.differences);
}

TEST(TraceCatalogue, NoTracePointOfTheSourcesIsMissingFromTheTable) {
    const Deviations deviations = compare(traceTable().rows, librarySources().calls);
    EXPECT_TRUE(deviations.unknownCalls.empty()) << joinLines(deviations.unknownCalls);
}

TEST(TraceCatalogue, EverySourceTextEndsInExactlyOneNewLine) {
    for (const TraceCall& call : librarySources().calls) {
        EXPECT_TRUE(endsInExactlyOneNewLine(call.message))
            << "point " << call.id << " at " << call.where << ": \"" << call.message << "\"";
    }
}

TEST(TraceCatalogue, EverySourceTraceCallPassesOneArgumentPerConversion) {
    const std::vector<std::string> mismatches = argumentMismatches(librarySources().calls);
    EXPECT_TRUE(mismatches.empty()) << joinLines(mismatches);
}

TEST(TraceCatalogue, OnlyTheLockModuleTracesWithoutTheLock) {
    EXPECT_EQ(idsUsing(librarySources().calls, "TRACE_EXC_UNLOCKED"), (std::set<int32_t>{3104, 3108, 3112}));
}

TEST(TraceCatalogue, OnlyTheEntryOfDumpStateKeepsTheOldTimeStamp) {
    EXPECT_EQ(idsUsing(librarySources().calls, "TRACE_ENTRY_STALE_TIME"), (std::set<int32_t>{1106}));
}

// ---------------------------------------------------------------------------------------------------------------------
// The means of the tests above
// ---------------------------------------------------------------------------------------------------------------------

TEST(TraceScanner, ReadsACallThatSpansLines) {
    const ScanResult result =
        scanText("\nTRACE_EXC(\n    1089,\n    \"API.f(%d,%p)\\n\",\n    g(1, 2),\n    pointer);");
    ASSERT_EQ(result.calls.size(), 1U);
    EXPECT_EQ(result.calls.front().id, 1089);
    EXPECT_EQ(result.calls.front().word, "EXC");
    EXPECT_EQ(result.calls.front().message, "API.f(%d,%p)\\n");
    EXPECT_EQ(result.calls.front().argumentCount, 2U);
    EXPECT_EQ(result.calls.front().where, "text:2");
}

TEST(TraceScanner, KeepsCommasAndBracketsInsideTextsApartFromArguments) {
    const ScanResult result = scanText("TRACE_EXIT(1, \"a, (b) \\\" ) /* c */ // d\\n\", ')', \",\");");
    ASSERT_EQ(result.calls.size(), 1U);
    EXPECT_EQ(result.calls.front().message, "a, (b) \\\" ) /* c */ // d\\n");
    EXPECT_EQ(result.calls.front().argumentCount, 2U);
}

TEST(TraceScanner, IgnoresCommentsDefinitionsAndQuotedCalls) {
    const ScanResult result = scanText(
        "// TRACE_EXC(1, \"a\\n\")\n"
        "/* TRACE_EXC(2, \"b\\n\")\n */\n"
        "#define TRACE_EXC(id, ...) \\\n    TRACE_EVENT(3, \"c\\n\")\n"
        "  #  define OTHER TRACE_EXC(4, \"d\\n\")\n"
        "const char* text = \"TRACE_EXC(5, x)\";\n"
        "const char* raw = R\"x(TRACE_EXC(6, \"e\\n\"))x\";\n"
        "MY_TRACE_EXC(7, \"f\\n\");\n");
    EXPECT_TRUE(result.calls.empty());
    EXPECT_TRUE(result.malformed.empty()) << joinLines(result.malformed);
}

TEST(TraceScanner, ReadsOnBehindWhatItIgnores) {
    const ScanResult result = scanText(
        "#if defined(A)\nconst int big = 1'000; const char quote = '\"';\n#endif // it's over\n"
        "const char* raw = R\"(a \" b)\"; /* it's */ TRACE_DEBUG(8, \"g\\n\");");
    ASSERT_EQ(result.calls.size(), 1U);
    EXPECT_EQ(result.calls.front().id, 8);
    EXPECT_EQ(result.calls.front().where, "text:4");
}

TEST(TraceScanner, ReportsWhatIsNoPlainTraceCall) {
    EXPECT_EQ(scanText("TRACE_EXC(1089, \"split \" \"text\\n\");").malformed.size(), 1U);
    EXPECT_EQ(scanText("TRACE_EXC(1089, text);").malformed.size(), 1U);
    EXPECT_EQ(scanText("TRACE_EXC(1089);").malformed.size(), 1U);
    EXPECT_EQ(scanText("TRACE_EXC(point, \"a\\n\");").malformed.size(), 1U);
    EXPECT_EQ(scanText("TRACE_EXC(1089, R\"(a)\");").malformed.size(), 1U);
    EXPECT_EQ(scanText("TRACE_EXC(1089, \"a\\n\"").malformed.size(), 1U);
    EXPECT_EQ(scanText("TRACE_NOTICE(1089, \"a\\n\");").malformed.size(), 1U);
    EXPECT_EQ(scanText("TRACE_ENABLED(level);").malformed.size(), 0U);
}

TEST(TraceScanner, CountsTheMemoryToDumpApartFromTheArgumentsOfADataText) {
    const ScanResult result = scanText("TRACE_DATA(3226, areaOf(data, 4), \"%p %d\\n\", data, 4);");
    ASSERT_EQ(result.calls.size(), 1U);
    EXPECT_EQ(result.calls.front().argumentCount, 2U);
    EXPECT_EQ(scanText("TRACE_DATA(3226, \"a\\n\");").malformed.size(), 1U);
}

TEST(TraceScanner, TakesTheWordFromTheMacro) {
    const ScanResult result = scanText(
        "TRACE_EXC(1, \"a\\n\"); TRACE_EXC_UNLOCKED(2, \"a\\n\"); TRACE_EVENT(3, \"a\\n\"); TRACE_ENTRY(4, \"a\\n\");"
        "TRACE_ENTRY_STALE_TIME(5, \"a\\n\"); TRACE_EXIT(6, \"a\\n\"); TRACE_DEBUG(7, \"a\\n\");"
        "TRACE_DATA(8, area, \"a\\n\");");
    std::vector<std::string> words;
    for (const TraceCall& call : result.calls) {
        words.push_back(call.word);
    }
    EXPECT_EQ(words, (std::vector<std::string>{"EXC", "EXC", "EVENT", "ENTRY", "ENTRY", "EXIT", "DEBUG", "DATA"}));
    EXPECT_EQ(idsUsing(result.calls, "TRACE_EXC_UNLOCKED"), (std::set<int32_t>{2}));
}

TEST(TraceScanner, ReadsAPointThatStandsAsAValue) {
    const ScanResult result = scanText(
        "constexpr Points kPoints = {.entry = {TraceWord::entry, 1043, \"f(%p)\\n\"},\n"
        ".data = {TraceWord::data, 2312, \"%p %d\\n\"}};\n"
        "TraceWord word = TraceWord::exit; writeTraceLine(TraceWord::exception, mode, id, text);");
    ASSERT_EQ(result.calls.size(), 2U);
    EXPECT_EQ(result.calls.front().id, 1043);
    EXPECT_EQ(result.calls.front().word, "ENTRY");
    EXPECT_EQ(result.calls.front().message, "f(%p)\\n");
    EXPECT_EQ(result.calls.back().word, "DATA");
    EXPECT_TRUE(result.malformed.empty());
    EXPECT_EQ(scanText("{TraceWord::entry, 1043, \"split \" \"text\\n\"}").malformed.size(), 1U);
}

TEST(TraceScanner, CountsConversions) {
    EXPECT_EQ(countConversions("a\\n"), size_t{0});
    EXPECT_EQ(countConversions("%p 0x%p %4.4d %8.8X %-6.6s %u %x%c\\n"), size_t{8});
    EXPECT_EQ(countConversions("100%"), std::nullopt);
    EXPECT_EQ(countConversions("%n"), std::nullopt);
    EXPECT_EQ(countConversions("%*d"), std::nullopt);
}

TEST(TraceScanner, TellsOneNewLineFromNoneAndTwo) {
    EXPECT_TRUE(endsInExactlyOneNewLine("a \\n"));
    EXPECT_FALSE(endsInExactlyOneNewLine("a"));
    EXPECT_FALSE(endsInExactlyOneNewLine("a\\n\\n"));
    EXPECT_FALSE(endsInExactlyOneNewLine("a\\nb\\n"));
    EXPECT_FALSE(endsInExactlyOneNewLine("a\\n "));
}

TEST(TraceScanner, ReportsTooFewAndTooManyArguments) {
    EXPECT_TRUE(argumentMismatches(scanText("TRACE_EXC(1, \"%d\\n\", a);").calls).empty());
    EXPECT_EQ(argumentMismatches(scanText("TRACE_EXC(1, \"%d\\n\");").calls).size(), 1U);
    EXPECT_EQ(argumentMismatches(scanText("TRACE_EXC(1, \"%d\\n\", a, b);").calls).size(), 1U);
    EXPECT_EQ(argumentMismatches(scanText("TRACE_EXC(1, \"%q\\n\", a);").calls).size(), 1U);
}

Deviations compareTexts(const std::string& tableText, std::string_view source) {
    std::istringstream input(std::string(kTableHeader) + "\n" + tableText);
    return compare(readTable(input).rows, scanText(source).calls);
}

TEST(TraceComparison, AcceptsSourcesThatAgreeWithTheTableInAnyOrder) {
    const Deviations deviations = compareTexts(
        "1\tEXC\tf\tAPI.f a\\n\tfixed\t\n1\tEVENT\tg\tAPI.g b\\n\tfixed\tshared id\n2\tEXIT\tf\tAPI.f\\n\topen\t\n",
        "TRACE_EXIT(2, \"API.f\\n\"); TRACE_EVENT(1, \"API.g b\\n\"); TRACE_EXC(1, \"API.f a\\n\");");
    EXPECT_TRUE(deviations.absentRows.empty()) << joinLines(deviations.absentRows);
    EXPECT_TRUE(deviations.differences.empty()) << joinLines(deviations.differences);
    EXPECT_TRUE(deviations.unknownCalls.empty()) << joinLines(deviations.unknownCalls);
}

TEST(TraceComparison, ReportsAWrongWord) {
    const Deviations deviations = compareTexts("1\tEXC\tf\tAPI.f\\n\tfixed\t\n", "TRACE_EVENT(1, \"API.f\\n\");");
    ASSERT_EQ(deviations.differences.size(), 1U);
    EXPECT_NE(deviations.differences.front().find("point 1"), std::string::npos);
    EXPECT_NE(deviations.differences.front().find("in the table EXC, in the sources EVENT"), std::string::npos);
}

TEST(TraceComparison, ReportsOneWrongCharacterOfAText) {
    const Deviations deviations = compareTexts("1\tEXC\tf\tAPI.f \\n\tfixed\t\n", "TRACE_EXC(1, \"API.f\\n\");");
    ASSERT_EQ(deviations.differences.size(), 1U);
    EXPECT_NE(deviations.differences.front().find("first difference at character 6"), std::string::npos)
        << deviations.differences.front();
}

TEST(TraceComparison, ReportsARowWithoutACall) {
    const Deviations deviations = compareTexts("1\tEXC\tf\tAPI.f\\n\tfixed\t\n", "");
    EXPECT_EQ(deviations.absentRows.size(), 1U);
}

TEST(TraceComparison, ReportsTheSecondRowOfASharedIdWithoutACall) {
    const Deviations deviations =
        compareTexts("1\tEXC\tf\tAPI.f\\n\tfixed\t\n1\tEXC\tg\tAPI.g\\n\tfixed\t\n", "TRACE_EXC(1, \"API.g\\n\");");
    ASSERT_EQ(deviations.absentRows.size(), 1U);
    EXPECT_NE(deviations.absentRows.front().find("API.f"), std::string::npos);
}

TEST(TraceComparison, ReportsACallWithoutARowAndASecondCallOfOneRow) {
    EXPECT_EQ(compareTexts("", "TRACE_EXC(1, \"API.f\\n\");").unknownCalls.size(), 1U);
    EXPECT_EQ(compareTexts("1\tEXC\tf\tAPI.f\\n\tfixed\t\n", "TRACE_EXC(1, \"API.f\\n\"); TRACE_EXC(1, \"API.f\\n\");")
                  .unknownCalls.size(),
              1U);
}

TEST(TraceComparison, ReportsTableLinesThatAreNoRows) {
    std::istringstream input("id\tword\n1\tEXC\tf\tAPI.f\\n\tfixed\nx\tEXC\tf\tAPI.f\\n\tfixed\t\n");
    EXPECT_EQ(readTable(input).malformed.size(), 3U);
}

}  // namespace
