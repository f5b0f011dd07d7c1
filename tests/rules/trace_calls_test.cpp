// How trace calls are read from a source.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "trace_calls.h"
#include "trace_comparison.h"

namespace rule_test {

namespace {

TEST(TraceScanner, ReadsACallThatSpansLines) {
    const TraceCalls result =
        traceCallsOfText("\nTRACE_EXC(\n    1089,\n    \"API.f(%d,%p)\\n\",\n    g(1, 2),\n    pointer);");
    ASSERT_EQ(result.calls.size(), 1U);
    EXPECT_EQ(result.calls.front().id, 1089);
    EXPECT_EQ(result.calls.front().word, "EXC");
    EXPECT_EQ(result.calls.front().message, "API.f(%d,%p)\\n");
    EXPECT_EQ(result.calls.front().argumentCount, 2U);
    EXPECT_EQ(result.calls.front().where, "text:2");
}

TEST(TraceScanner, KeepsCommasAndBracketsInsideTextsApartFromArguments) {
    const TraceCalls result = traceCallsOfText("TRACE_EXIT(1, \"a, (b) \\\" ) /* c */ // d\\n\", ')', \",\");");
    ASSERT_EQ(result.calls.size(), 1U);
    EXPECT_EQ(result.calls.front().message, "a, (b) \\\" ) /* c */ // d\\n");
    EXPECT_EQ(result.calls.front().argumentCount, 2U);
}

TEST(TraceScanner, IgnoresCommentsDefinitionsAndQuotedCalls) {
    const TraceCalls result = traceCallsOfText(
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
    const TraceCalls result = traceCallsOfText(
        "#if defined(A)\nconst int big = 1'000; const char quote = '\"';\n#endif // it's over\n"
        "const char* raw = R\"(a \" b)\"; /* it's */ TRACE_DEBUG(8, \"g\\n\");");
    ASSERT_EQ(result.calls.size(), 1U);
    EXPECT_EQ(result.calls.front().id, 8);
    EXPECT_EQ(result.calls.front().where, "text:4");
}

TEST(TraceScanner, ReportsWhatIsNoPlainTraceCall) {
    EXPECT_EQ(traceCallsOfText("TRACE_EXC(1089, \"split \" \"text\\n\");").malformed.size(), 1U);
    EXPECT_EQ(traceCallsOfText("TRACE_EXC(1089, text);").malformed.size(), 1U);
    EXPECT_EQ(traceCallsOfText("TRACE_EXC(1089);").malformed.size(), 1U);
    EXPECT_EQ(traceCallsOfText("TRACE_EXC(point, \"a\\n\");").malformed.size(), 1U);
    EXPECT_EQ(traceCallsOfText("TRACE_EXC(1089, R\"(a)\");").malformed.size(), 1U);
    EXPECT_EQ(traceCallsOfText("TRACE_EXC(1089, \"a\\n\"").malformed.size(), 1U);
    EXPECT_EQ(traceCallsOfText("TRACE_NOTICE(1089, \"a\\n\");").malformed.size(), 1U);
    EXPECT_EQ(traceCallsOfText("TRACE_ENABLED(level);").malformed.size(), 0U);
}

TEST(TraceScanner, CountsTheMemoryToDumpApartFromTheArgumentsOfADataText) {
    const TraceCalls result = traceCallsOfText("TRACE_DATA(3226, areaOf(data, 4), \"%p %d\\n\", data, 4);");
    ASSERT_EQ(result.calls.size(), 1U);
    EXPECT_EQ(result.calls.front().argumentCount, 2U);
    EXPECT_EQ(traceCallsOfText("TRACE_DATA(3226, \"a\\n\");").malformed.size(), 1U);
}

TEST(TraceScanner, TakesTheWordFromTheMacro) {
    const TraceCalls result = traceCallsOfText(
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
    const TraceCalls result = traceCallsOfText(
        "constexpr Points kPoints = {.entry = {TraceWord::entry, 1043, \"f(%p)\\n\"},\n"
        ".data = {TraceWord::data, 2312, \"%p %d\\n\"}};\n"
        "TraceWord word = TraceWord::exit; writeTraceLine(TraceWord::exception, mode, id, text);");
    ASSERT_EQ(result.calls.size(), 2U);
    EXPECT_EQ(result.calls.front().id, 1043);
    EXPECT_EQ(result.calls.front().word, "ENTRY");
    EXPECT_EQ(result.calls.front().message, "f(%p)\\n");
    EXPECT_EQ(result.calls.back().word, "DATA");
    EXPECT_TRUE(result.malformed.empty());
    EXPECT_EQ(traceCallsOfText("{TraceWord::entry, 1043, \"split \" \"text\\n\"}").malformed.size(), 1U);
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
    EXPECT_TRUE(argumentMismatches(traceCallsOfText("TRACE_EXC(1, \"%d\\n\", a);").calls).empty());
    EXPECT_EQ(argumentMismatches(traceCallsOfText("TRACE_EXC(1, \"%d\\n\");").calls).size(), 1U);
    EXPECT_EQ(argumentMismatches(traceCallsOfText("TRACE_EXC(1, \"%d\\n\", a, b);").calls).size(), 1U);
    EXPECT_EQ(argumentMismatches(traceCallsOfText("TRACE_EXC(1, \"%q\\n\", a);").calls).size(), 1U);
}

}  // namespace

}  // namespace rule_test
