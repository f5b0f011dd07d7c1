// What the built program does on a terminal, without standard output, with a full disk and with very long lists.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
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
    for (const Texts& arguments :
         {Texts{"groups"}, {"groups", "--format", "json"}, {"ping"}, {"doctor"}, {"--help"}, {"--version"}}) {
        ProgramRun run = makeRun(arguments, OutputTarget::file);
        run.outputFile = "/dev/full";
        const ProgramOutcome outcome = runZulstat(run);
        EXPECT_EQ(outcome.exitCode, 5);
        EXPECT_NE(outcome.standardError.find("zulstat: the output cannot be written: "), std::string::npos);
    }
}

TEST_F(ZulstatOnPosix, IsAnUnknownCheckWhenTheDiskIsFull) {
    for (const Texts& arguments : {Texts{"check", "alpha.count"}, {"check"}, {"check", "a", "--nonsense"}}) {
        ProgramRun run = makeRun(arguments, OutputTarget::file);
        run.outputFile = "/dev/full";
        EXPECT_EQ(runZulstat(run).exitCode, 3);
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

// A loopback port whose queue of connections is full, so that a connect to it neither succeeds nor fails.
class UnreachablePort {
  public:
    UnreachablePort() : listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto* const general = reinterpret_cast<sockaddr*>(&address);
        EXPECT_EQ(::bind(listener_, general, size), 0);
        EXPECT_EQ(::listen(listener_, 0), 0);
        EXPECT_EQ(::getsockname(listener_, general, &size), 0);
        port_ = ntohs(address.sin_port);
        for (int& waiting : waiting_) {
            waiting = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
            // Those beyond the first stay under way.
            ::connect(waiting, general, size);
        }
    }
    ~UnreachablePort() {
        for (const int waiting : waiting_) {
            ::close(waiting);
        }
        ::close(listener_);
    }
    UnreachablePort(const UnreachablePort&) = delete;
    UnreachablePort& operator=(const UnreachablePort&) = delete;

    int port() const {
        return port_;
    }

  private:
    int listener_;
    int port_ = 0;
    std::array<int, 3> waiting_{};
};

TEST(ZulstatPing, WaitsForUnreachableGatewaysAllAtOnce) {
    const std::array<UnreachablePort, 12> unreachable;
    const CatalogueGateway good(kSmallCatalogue);
    ProgramRun run = zulstatRun(1, {});
    run.arguments = {"ping", "-t", "1", "--gateway", "good=127.0.0.1:" + std::to_string(good.gateway().port())};
    for (size_t index = 0; index < unreachable.size(); ++index) {
        run.arguments.push_back("--gateway=u" + std::to_string(index) +
                                "=127.0.0.1:" + std::to_string(unreachable[index].port()));
    }
    const auto begin = std::chrono::steady_clock::now();
    const ProgramOutcome outcome = runZulstat(run);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(6));
    EXPECT_EQ(outcome.exitCode, 1) << outcome.standardOutput;
    EXPECT_EQ(countOf(": no answer within 1 s. Check the host, the port", outcome.standardOutput), 12);
    EXPECT_EQ(outcome.standardOutput.find("good (127.0.0.1:"), 0U) << outcome.standardOutput;
}

TEST(ZulstatPing, EndsWith3WhereNothingCanBeReached) {
    const UnreachablePort unreachable;
    EXPECT_EQ(runZulstat(zulstatRun(unreachable.port(), {"ping", "-t", "0.5"})).exitCode, 3);
}

// In a shell that has set limits before, in which "$@" is the program without --port.
ProgramOutcome runLimited(const std::string& limits, const Texts& arguments) {
    ProgramRun run = zulstatRun(1, {});
    run.arguments = {"-c", limits + "; exec \"$@\"", "sh", zulstat_test::zulstatProgram()};
    run.arguments.insert(run.arguments.end(), arguments.begin(), arguments.end());
    return test_support::runProgram("/bin/sh", run);
}

// No address space has room for the stack of a thread.
constexpr const char* kWithoutThreads = "ulimit -s 107374182400 || exit 99";

class ZulstatWithFewDescriptors : public ::testing::Test {
  protected:
    ZulstatWithFewDescriptors() : configuration_(manyNames(gateway_.gateway().port())) {}

    Texts manyGateways(Texts arguments) const {
        arguments.insert(arguments.end(), {"--config", configuration_.path()});
        return arguments;
    }

  private:
    static std::string manyNames(int port) {
        std::string all;
        for (int number = 0; number < 100; ++number) {
            all += "g" + std::to_string(number) + " = 127.0.0.1:" + std::to_string(port) + "\n";
        }
        return all;
    }

    CatalogueGateway gateway_{kSmallCatalogue};
    TemporaryFile configuration_;
};

TEST_F(ZulstatWithFewDescriptors, RaisesALimitThatItMayRaise) {
    const ProgramOutcome outcome = runLimited("ulimit -S -n 64", manyGateways({"check", "alpha.count", "-t", "60"}));
    EXPECT_EQ(outcome.exitCode, 0) << outcome.standardOutput;
}

TEST_F(ZulstatWithFewDescriptors, SaysThatThereAreTooFewInsteadOfBlamingTheGateways) {
    const ProgramOutcome stats = runLimited("ulimit -n 64", manyGateways({"stats"}));
    EXPECT_EQ(stats.exitCode, 2);
    EXPECT_EQ(stats.standardError.find("zulstat: 100 gateways at a time need 108 open files and connections, but"), 0U)
        << stats.standardError;
    EXPECT_NE(stats.standardError.find("(ulimit -n)"), std::string::npos) << stats.standardError;
    const ProgramOutcome check = runLimited("ulimit -n 64", manyGateways({"check", "alpha.count"}));
    EXPECT_EQ(check.exitCode, 3);
    EXPECT_EQ(check.standardOutput.find("UNKNOWN - 100 gateways at a time"), 0U) << check.standardOutput;
}

// Sanitizers need descriptors themselves to look at an object, and take the lack for a broken one.
#if !defined(BUILT_WITH_SANITIZERS)
// Two are taken by others, and the last one by the trace.
TEST_F(ZulstatWithFewDescriptors, SaysSoWhenNoneIsLeft) {
    const TemporaryFile trace;
    const ProgramOutcome outcome =
        runLimited("ulimit -n 6; exec 3</dev/null 4</dev/null",
                   {"check", "a", "--gateway", "127.0.0.1:1", "--trace-level", "0", "--trace-file", trace.path()});
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_NE(outcome.standardOutput.find("lets zulstat open no more connections: "), std::string::npos)
        << outcome.standardOutput;
}
#endif

TEST(ZulstatWithoutThreads, SaysWhatIsLackingAndWhatToDo) {
    for (const Texts& arguments : {Texts{"stats"}, {"ping"}, {"doctor"}}) {
        const ProgramOutcome outcome = runLimited(kWithoutThreads, arguments);
        EXPECT_EQ(outcome.exitCode, 4);
        EXPECT_EQ(outcome.standardError.find("zulstat: cannot go on: no thread can be started: "), 0U)
            << outcome.standardError;
        EXPECT_NE(outcome.standardError.find("(ulimit -u)"), std::string::npos) << outcome.standardError;
    }
}

TEST(ZulstatWithoutThreads, EndsACheckAsUnknown) {
    const ProgramOutcome outcome = runLimited(kWithoutThreads, {"check", "a"});
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_EQ(outcome.standardOutput.find("UNKNOWN - cannot go on: no thread can be started: "), 0U)
        << outcome.standardOutput;
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

class ZulstatOutputFile : public ::testing::Test {
  protected:
    // In a shell, in which "$@" is the program with its port.
    ProgramOutcome runInShell(const std::string& script, const Texts& more = {}) const {
        ProgramRun run = zulstatRun(gateway_.gateway().port(), {});
        run.arguments.insert(run.arguments.begin(), {"-c", script, "sh", zulstat_test::zulstatProgram()});
        run.arguments.insert(run.arguments.end(), more.begin(), more.end());
        return test_support::runProgram("/bin/sh", run);
    }
    ProgramOutcome ask(const Texts& arguments) const {
        return gateway_.ask(arguments);
    }

  private:
    CatalogueGateway gateway_{kSmallCatalogue};
};

constexpr const char* kGroups = "RESOURCE GROUP\nalpha\nempty\nbeta\n";

mode_t permissionsOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0);
    return status.st_mode & 07777;
}

TEST_F(ZulstatOutputFile, LeavesTheOldFileWhereTheNewOneCannotBeWritten) {
    const ProgramOutcome outcome = ask({"groups", "--output", "/dev/full"});
    EXPECT_EQ(outcome.exitCode, 5);
    EXPECT_NE(outcome.standardError.find("the output cannot be written"), std::string::npos);
}

TEST_F(ZulstatOutputFile, MayBeANameOfStandardOutput) {
    for (const std::string name : {"/dev/stdout", "/dev/fd/1", "/proc/self/fd/1"}) {
        const TemporaryFile log("before\n");
        const ProgramOutcome outcome =
            runInShell("exec >\"" + log.path() + "\"; echo first; \"$@\" groups --output " + name + "; echo last");
        EXPECT_EQ(outcome.standardError, "");
        EXPECT_EQ(log.content(), std::string("first\n") + kGroups + "last\n") << name;
    }
}

TEST_F(ZulstatOutputFile, MayBeTheNameOfAnyOpenDescriptor) {
    const TemporaryFile log("before\n");
    const ProgramOutcome outcome = runInShell("\"$@\" groups --output /dev/fd/7 7>>\"" + log.path() + "\"");
    EXPECT_EQ(outcome.exitCode, 0) << outcome.standardError;
    EXPECT_EQ(log.content(), std::string("before\n") + kGroups);
    EXPECT_EQ(runInShell("exec \"$@\" groups --output /dev/fd/99").exitCode, 5);
}

TEST_F(ZulstatOutputFile, MayBeAPipe) {
    const TemporaryFile pipe;
    ASSERT_EQ(::mkfifo(pipe.path().c_str(), 0600), 0);
    const ProgramOutcome outcome = runInShell("cat \"" + pipe.path() + "\" & \"$@\" groups --output \"" + pipe.path() +
                                              "\"; code=$?; wait; exit $code");
    EXPECT_EQ(outcome.exitCode, 0) << outcome.standardError;
    EXPECT_EQ(outcome.standardOutput, kGroups);
}

TEST_F(ZulstatOutputFile, KeepsThePermissionsOfTheOldOne) {
    for (const mode_t permissions : {0600U, 0644U, 0640U, 0666U}) {
        const TemporaryFile file("old");
        ASSERT_EQ(::chmod(file.path().c_str(), permissions), 0);
        EXPECT_EQ(ask({"groups", "--output", file.path()}).exitCode, 0);
        EXPECT_EQ(file.content(), kGroups);
        EXPECT_EQ(permissionsOf(file.path()), permissions);
    }
}

TEST_F(ZulstatOutputFile, HasThePermissionsOfTheUsersOtherFilesWhenItIsNew) {
    const TemporaryFile file;
    EXPECT_EQ(runInShell("umask 027; exec \"$@\" groups --output \"" + file.path() + "\"").exitCode, 0);
    EXPECT_EQ(permissionsOf(file.path()), 0640U);
}

TEST_F(ZulstatOutputFile, StaysALinkWhetherOrNotThereIsAFileBehindIt) {
    const TemporaryFile target;
    const TemporaryFile link;
    ASSERT_EQ(::symlink(target.path().c_str(), link.path().c_str()), 0);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(ask({"groups", "--output", link.path()}).exitCode, 0);
        EXPECT_EQ(target.content(), kGroups);
        EXPECT_EQ(::access(link.path().c_str(), F_OK), 0);
        EXPECT_TRUE(std::filesystem::is_symlink(link.path()));
    }
}

Texts namesIn(const std::filesystem::path& folder) {
    Texts names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        names.push_back(entry.path().filename().string());
    }
    return names;
}

// A folder for one file, in which a file beside it would show.
class FolderOfOneFile {
  public:
    explicit FolderOfOneFile(const std::string& content) {
        std::filesystem::create_directory(name_.path());
        std::ofstream(file()) << content;
    }
    ~FolderOfOneFile() {
        std::error_code error;
        std::filesystem::remove_all(name_.path(), error);
    }
    FolderOfOneFile(const FolderOfOneFile&) = delete;
    FolderOfOneFile& operator=(const FolderOfOneFile&) = delete;

    std::string file() const {
        return name_.path() + "/file";
    }
    Texts names() const {
        return namesIn(name_.path());
    }

  private:
    TemporaryFile name_;
};

// A file may grow to a block of 512 or 1024 bytes, which is less than any of these results takes.
TEST_F(ZulstatOutputFile, StaysAsItWasWhereTheNewOneOutgrowsTheLimit) {
    for (const std::string arguments : {"stats --group alpha alpha alpha --format json --output", "dump"}) {
        const FolderOfOneFile folder("old");
        const ProgramOutcome outcome =
            runInShell("ulimit -f 1; exec \"$@\" " + arguments + " \"" + folder.file() + "\"");
        EXPECT_EQ(outcome.exitCode, 5) << arguments << outcome.standardError;
        EXPECT_EQ(test_support::readFile(folder.file()), "old") << arguments;
        EXPECT_EQ(folder.names(), Texts{"file"}) << arguments;
    }
}

TEST_F(ZulstatOutputFile, OfADumpMayBeAPipeAndKeepsItsPermissionsElse) {
    const TemporaryFile pipe;
    ASSERT_EQ(::mkfifo(pipe.path().c_str(), 0600), 0);
    const ProgramOutcome outcome =
        runInShell("cat \"" + pipe.path() + "\" & \"$@\" dump \"" + pipe.path() + "\"; code=$?; wait; exit $code");
    EXPECT_EQ(outcome.exitCode, 0) << outcome.standardError;
    EXPECT_NE(outcome.standardOutput.find("zulstats state dump: "), std::string::npos);
    EXPECT_NE(outcome.standardOutput.find("End of the dump.\n"), std::string::npos);
    const TemporaryFile file("old");
    ASSERT_EQ(::chmod(file.path().c_str(), 0640), 0);
    EXPECT_EQ(ask({"dump", file.path()}).exitCode, 0);
    EXPECT_EQ(permissionsOf(file.path()), 0640U);
}

TEST_F(ZulstatOutputFile, CannotBeALinkToItself) {
    const TemporaryFile link;
    ASSERT_EQ(::symlink(link.path().c_str(), link.path().c_str()), 0);
    EXPECT_EQ(ask({"groups", "--output", link.path()}).exitCode, 5);
    EXPECT_TRUE(std::filesystem::is_symlink(link.path()));
}

}  // namespace
