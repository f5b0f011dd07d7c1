// What the library's sources never call: nothing of it may print on standard output, end the process, change the
// caller's locale or signals, throw, or write to standard error but through the trace.
#include <gtest/gtest.h>

#include <cstddef>
#include <set>
#include <string>

#include "source_files.h"

namespace rule_test {

namespace {

using Names = std::set<std::string>;

enum class Use { any, call };

void expectNoneOf(const Names& forbidden, Use use = Use::any, const Names& exceptFiles = {}) {
    size_t seen = 0;
    for (const SourceFile& file : sourcesBelow("src")) {
        for (const Identifier& each : identifiersOf(file)) {
            ++seen;
            if (exceptFiles.count(file.path) == 0 && (use == Use::any || each.after == "(")) {
                EXPECT_EQ(forbidden.count(each.text), 0U) << placeOf(file, each.line) << " uses " << each.text;
            }
        }
    }
    EXPECT_GT(seen, 5000U);
}

TEST(OutputRules, NothingIsPrintedOnStandardOutput) {
    expectNoneOf({"stdout", "cout", "wcout", "puts", "putchar", "printf", "vprintf", "STDOUT_FILENO"}, Use::any,
                 {"src/diag/text_format.h"});  // names the attribute "printf" of the compilers
}

TEST(OutputRules, StandardErrorIsNamedByTheTraceAndTheStartUpAlone) {
    expectNoneOf({"stderr", "cerr", "clog", "perror", "STDERR_FILENO"}, Use::any,
                 {"src/diag/stapi_zul_diag.cpp", "src/impl/stapi_zul_impl.cpp"});
}

TEST(OutputRules, NothingEndsTheProcess) {
    expectNoneOf({"exit", "_exit", "_Exit", "quick_exit", "abort", "terminate", "assert", "raise", "ExitProcess",
                  "TerminateProcess"},
                 Use::call);
}

TEST(OutputRules, NothingChangesLocaleSignalsOrEnvironment) {
    expectNoneOf({"setlocale", "uselocale", "signal", "sigaction", "sigprocmask", "pthread_sigmask", "setenv", "putenv",
                  "unsetenv", "_putenv", "tzset", "umask", "chdir"});
}

TEST(OutputRules, NothingIsConfiguredByTheEnvironment) {
    expectNoneOf({"getenv", "secure_getenv", "_wgetenv", "GetEnvironmentVariableA", "RegOpenKeyExA"});
}

TEST(OutputRules, NothingThrowsOrStartsAThread) {
    expectNoneOf({"throw", "try", "catch", "dynamic_cast", "typeid", "jthread", "pthread_create", "CreateThread",
                  "_beginthreadex", "fork", "system", "popen"});
}

TEST(OutputRules, UnboundedTextFunctionsAreNotUsed) {
    expectNoneOf({"strcpy", "strcat", "sprintf", "vsprintf", "gets", "scanf", "sscanf", "strtok", "localtime", "gmtime",
                  "ctime_r", "asctime", "strncpy", "strncat"});
}

}  // namespace

}  // namespace rule_test
