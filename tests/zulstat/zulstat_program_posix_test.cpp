// What the built program does on a terminal, without standard output, with a full disk and with very long lists.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <future>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <utility>

#include "terminal_session_posix.h"
#include "zulstat_program.h"

namespace {

using test_support::OutputTarget;
using test_support::ProgramOutcome;
using test_support::ProgramRun;
using test_support::TemporaryFile;
using zulstat_test::CatalogueGateway;
using zulstat_test::kSmallCatalogue;
using zulstat_test::runZulstat;
using zulstat_test::Texts;
using zulstat_test::zulstatRun;

class ZulstatOnPosix : public ::testing::Test {
  protected:
    ProgramRun makeRun(const Texts& arguments, OutputTarget output) const {
        ProgramRun run = zulstatRun(gateway_.gateway().port(), arguments);
        run.output = output;
        return run;
    }

  private:
    CatalogueGateway gateway_{kSmallCatalogue};
};

class ZulstatOnATerminal : public ZulstatOnPosix {
  protected:
    void SetUp() override {
        if (!zulstat_test::machineHasPseudoTerminals()) {
            GTEST_SKIP() << "this machine has no pseudo-terminals";
        }
    }
};

int countOf(const std::string& part, const std::string& text) {
    int count = 0;
    for (size_t place = text.find(part); place != std::string::npos; place = text.find(part, place + 1)) {
        ++count;
    }
    return count;
}

constexpr const char* kColouredIds =
    "\x1B[1mQUERY    STATISTIC\x1B[0m\r\n"
    "beta     beta.size\r\n"
    "\x1B[31mnowhere  failed, code -5\x1B[0m\r\n";

constexpr const char* kPlainIds =
    "QUERY    STATISTIC\r\n"
    "beta     beta.size\r\n"
    "nowhere  failed, code -5\r\n";

TEST_F(ZulstatOnATerminal, ColoursTheTableOnATerminal) {
    const ProgramOutcome outcome = runZulstat(makeRun({"ids", "beta", "nowhere"}, OutputTarget::terminal));
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.standardOutput, kColouredIds);
}

TEST_F(ZulstatOnATerminal, HonoursNoColor) {
    ProgramRun run = makeRun({"ids", "beta", "nowhere"}, OutputTarget::terminal);
    run.environment = {{"NO_COLOR", "1"}, {"TERM", "xterm"}};
    EXPECT_EQ(runZulstat(run).standardOutput, kPlainIds);
}

TEST_F(ZulstatOnATerminal, TakesAnEmptyNoColorForNone) {
    ProgramRun run = makeRun({"ids", "beta", "nowhere"}, OutputTarget::terminal);
    run.environment = {{"NO_COLOR", ""}, {"TERM", "xterm"}};
    EXPECT_EQ(runZulstat(run).standardOutput, kColouredIds);
}

TEST_F(ZulstatOnATerminal, DoesNotColourOnATerminalThatCannot) {
    ProgramRun run = makeRun({"ids", "beta", "nowhere"}, OutputTarget::terminal);
    run.environment = {{"NO_COLOR", std::nullopt}, {"TERM", "dumb"}};
    EXPECT_EQ(runZulstat(run).standardOutput, kPlainIds);
}

TEST_F(ZulstatOnATerminal, NeverColoursJson) {
    const ProgramOutcome outcome = runZulstat(makeRun({"groups", "--format", "json"}, OutputTarget::terminal));
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.standardOutput.find('\x1B'), std::string::npos);
    EXPECT_NE(outcome.standardOutput.find("\"alpha\""), std::string::npos);
}

// The connection is still open while the output is written: nothing of it may end up there.
TEST(ZulstatWithoutStandardOutput, FailsAndSendsNoOutputToTheGateway) {
    const CatalogueGateway gateway(kSmallCatalogue, {"--fault", "close:stall"});
    ProgramRun run = zulstatRun(gateway.gateway().port(), {"groups"});
    run.output = OutputTarget::closed;
    const ProgramOutcome outcome = runZulstat(run);
    EXPECT_EQ(outcome.exitCode, 5);
    EXPECT_NE(outcome.standardError.find("zulstat: the output cannot be written: "), std::string::npos);
    EXPECT_EQ(gateway.gateway().standardError(), "");
}

TEST_F(ZulstatOnPosix, FailsWhenTheDiskIsFull) {
    for (const Texts& arguments : {Texts{"groups"}, {"groups", "--format", "json"}, {"--help"}, {"--version"}}) {
        ProgramRun run = makeRun(arguments, OutputTarget::file);
        run.outputFile = "/dev/full";
        const ProgramOutcome outcome = runZulstat(run);
        EXPECT_EQ(outcome.exitCode, 5);
        EXPECT_NE(outcome.standardError.find("zulstat: the output cannot be written: "), std::string::npos);
    }
}

TEST_F(ZulstatOnPosix, FailsWhenADumpCannotBeWritten) {
    const ProgramOutcome outcome = runZulstat(makeRun({"dump", "/dev/full"}, OutputTarget::captured));
    EXPECT_EQ(outcome.exitCode, 5);
    EXPECT_NE(outcome.standardError.find("in the file \"/dev/full\": it cannot be written: "), std::string::npos)
        << outcome.standardError;
}

TEST_F(ZulstatOnPosix, PrefersTheOutputsFailureToEveryOther) {
    ProgramRun run = makeRun({"ids", "nowhere"}, OutputTarget::file);
    run.outputFile = "/dev/full";
    EXPECT_EQ(runZulstat(run).exitCode, 5);
}

TEST(ZulstatLongLists, AreAskedForInSeveralQueriesAndShownInOrder) {
    Texts groups;
    nlohmann::json catalogue{{"protocol", "1"}};
    std::string expected = "QUERY" + std::string(997, ' ') + "STATISTIC  VALUE\n";
    for (int number = 10; number < 50; ++number) {
        const std::string name = "s" + std::to_string(number);
        const std::string group = "group" + std::to_string(number) + std::string(993, '.');
        groups.push_back(group);
        catalogue["statistics"].push_back({{"id", name}, {"group", group}, {"kind", "text"}, {"text", "v"}});
        expected += group;
        expected += "  " + name + "        v\n";
    }
    catalogue["groups"] = groups;
    const CatalogueGateway gateway(catalogue.dump(), {"--verbose"});
    Texts arguments{"stats", "--group"};
    arguments.insert(arguments.end(), groups.begin(), groups.end());
    const ProgramOutcome outcome = gateway.ask(arguments);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.standardError;
    EXPECT_EQ(outcome.standardOutput, expected);
    EXPECT_EQ(countOf(" invoke GET_STATS ", gateway.gateway().standardError()), 2);
}

// Runs the program in a shell that tells its process id, and sends it a signal as soon as the gateway has heard of its
// query.
ProgramOutcome interruptDuringQuery(const CatalogueGateway& gateway, const Texts& arguments, int queries) {
    const TemporaryFile processId;
    ProgramRun run = zulstatRun(gateway.gateway().port(), arguments);
    run.arguments.insert(run.arguments.begin(),
                         {"-c", "echo $$ > \"$0\"; exec \"$@\"", processId.path(), zulstat_test::zulstatProgram()});
    auto outcome = std::async(std::launch::async, [&] { return test_support::runProgram("/bin/sh", run); });
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (countOf(" invoke GET_STATS ", gateway.gateway().standardError()) < queries) {
        if (std::chrono::steady_clock::now() > end) {
            ADD_FAILURE() << "the gateway was not asked";
            break;
        }
        std::this_thread::yield();
    }
    ::kill(static_cast<pid_t>(std::stol(processId.content())), SIGINT);
    return outcome.get();
}

TEST(ZulstatInterrupted, ShowsWhatWasAnsweredAndEndsWith130) {
    const CatalogueGateway gateway(kSmallCatalogue, {"--verbose", "--fault", "invoke#2:stall"});
    const ProgramOutcome outcome =
        interruptDuringQuery(gateway, {"stats", "--group", "beta", "--id", "alpha.count", "-t", "0"}, 2);
    EXPECT_EQ(outcome.exitCode, 130);
    EXPECT_EQ(outcome.standardOutput, "QUERY  STATISTIC  VALUE\nbeta   beta.size  3456789\n");
    EXPECT_NE(outcome.standardError.find("interrupted"), std::string::npos) << outcome.standardError;
}

TEST(ZulstatInterrupted, EndsAWatchWith130) {
    const CatalogueGateway gateway(kSmallCatalogue, {"--verbose"});
    EXPECT_EQ(interruptDuringQuery(gateway, {"watch", "-i", "0.05", "-f", "json"}, 3).exitCode, 130);
}

TEST(ZulstatInterrupted, WaitsForNoSilentGateway) {
    const CatalogueGateway gateway(kSmallCatalogue, {"--verbose", "--fault", "invoke#2:stall"});
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(
        interruptDuringQuery(gateway, {"watch", "--group", "beta", "-i", "0.05", "-f", "json", "-t", "0"}, 2).exitCode,
        130);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(1900));
}

// A pipe of which the test holds the end that nobody reads from.
class UnreadPipe {
  public:
    UnreadPipe() {
        if (::mkfifo(file_.path().c_str(), 0600) == 0) {
            reader_ = ::open(file_.path().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        }
    }
    ~UnreadPipe() {
        ::close(reader_);
    }
    UnreadPipe(const UnreadPipe&) = delete;
    UnreadPipe& operator=(const UnreadPipe&) = delete;

    std::string path() const {
        return file_.path();
    }
    // Until nothing more goes into it.
    void awaitFull() const {
        const int size = ::fcntl(reader_, F_GETPIPE_SZ);
        constexpr int kLargestPart = 4096;
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        int filled = 0;
        while (filled <= size - kLargestPart && std::chrono::steady_clock::now() < end) {
            ASSERT_EQ(::ioctl(reader_, FIONREAD, &filled), 0);
            std::this_thread::yield();
        }
        ASSERT_GT(filled, size - kLargestPart);
    }

    // What comes until the other end is closed.
    std::string readAll() const {
        std::string text;
        std::array<char, 65536> buffer{};
        pollfd wait{reader_, POLLIN, 0};
        constexpr int kLimit = 30000;
        while (::poll(&wait, 1, kLimit) == 1) {
            const ssize_t count = ::read(reader_, buffer.data(), buffer.size());
            if (count <= 0) {
                break;
            }
            text.append(buffer.data(), static_cast<size_t>(count));
        }
        return text;
    }

  private:
    TemporaryFile file_;
    int reader_ = -1;
};

// A run with more to write than a pipe takes, into a pipe that nobody reads from yet.
class UnreadRun {
  public:
    explicit UnreadRun(const Texts& arguments) {
        ProgramRun run = zulstatRun(gateway_.gateway().port(), arguments);
        run.arguments.insert(run.arguments.begin(), {"-c", "echo $$ > \"$0\"; exec \"$@\"", processId_.path(),
                                                     zulstat_test::zulstatProgram()});
        run.output = OutputTarget::file;
        run.outputFile = pipe_.path();
        outcome_ = std::async(std::launch::async, [run] { return test_support::runProgram("/bin/sh", run); });
        pipe_.awaitFull();
    }

    void interrupt(int signal) const {
        ::kill(static_cast<pid_t>(std::stol(processId_.content())), signal);
    }
    const UnreadPipe& pipe() const {
        return pipe_;
    }
    int exitCode() {
        return outcome_.get().exitCode;
    }

  private:
    static std::string catalogue() {
        nlohmann::json all{{"protocol", "1"}, {"groups", {"g"}}};
        for (int number = 0; number < 5000; ++number) {
            all["statistics"].push_back(
                {{"id", "g.statistic" + std::to_string(number)}, {"group", "g"}, {"kind", "text"}, {"text", "1"}});
        }
        return all.dump();
    }

    CatalogueGateway gateway_{catalogue()};
    UnreadPipe pipe_;
    TemporaryFile processId_;
    std::future<ProgramOutcome> outcome_;
};

class ZulstatWithoutAReader : public ::testing::TestWithParam<std::pair<Texts, int>> {};

TEST_P(ZulstatWithoutAReader, EndsWhenInterrupted) {
    const auto& [arguments, signal] = GetParam();
    UnreadRun run(arguments);
    run.interrupt(signal);
    EXPECT_EQ(run.exitCode(), 128 + signal);
}

TEST(ZulstatInterrupted, WritesEverythingWhenItsReaderGoesOn) {
    UnreadRun run({"stats", "--no-header"});
    run.interrupt(SIGINT);
    const std::string text = run.pipe().readAll();
    EXPECT_EQ(countOf("\n", text), 5000);
    EXPECT_EQ(run.exitCode(), 0) << "everything was answered before";
}

INSTANTIATE_TEST_SUITE_P(Every, ZulstatWithoutAReader,
                         ::testing::Values(std::pair(Texts{"stats"}, SIGINT), std::pair(Texts{"stats"}, SIGTERM),
                                           std::pair(Texts{"watch", "-i", "0.05"}, SIGINT),
                                           std::pair(Texts{"watch", "-i", "0.05", "-f", "json"}, SIGTERM)),
                         [](const auto& each) {
                             return each.param.first.front() + std::to_string(each.param.second) +
                                    std::to_string(each.param.first.size());
                         });

TEST_F(ZulstatOnPosix, FailsWhenAWatchCannotWriteThatItsConditionHolds) {
    const Texts arguments{"watch", "--id", "alpha.count", "--until", "alpha.count = 12"};
    ProgramRun run = makeRun(arguments, OutputTarget::file);
    run.outputFile = "/dev/full";
    EXPECT_EQ(runZulstat(run).exitCode, 5);
    EXPECT_EQ(runZulstat(makeRun(arguments, OutputTarget::closed)).exitCode, 5);
}

TEST(ZulstatOutputFile, LeavesTheOldFileWhereTheNewOneCannotBeWritten) {
    const CatalogueGateway gateway(kSmallCatalogue);
    const ProgramOutcome outcome = gateway.ask({"groups", "--output", "/dev/full"});
    EXPECT_EQ(outcome.exitCode, 5);
    EXPECT_NE(outcome.standardError.find("the output cannot be written"), std::string::npos);
}

}  // namespace
