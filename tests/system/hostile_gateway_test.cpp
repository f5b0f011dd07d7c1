// Every hostile behaviour of gatewaysim, met through the public functions. gatewaysim's own list says what comes of
// each; whatever it is, it comes in bounded processor time and memory, and the library works on afterwards.
#include <algorithm>
#include <cctype>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <map>
#include <mutex>
#include <ostream>
#include <set>
#include <sstream>
#include <thread>

#include "line_ends.h"
#include "process_cost.h"
#include "system_fixture.h"

namespace system_test {

using test_support::FinishedProgram;
using test_support::GatewaySim;

namespace {

constexpr std::chrono::seconds kMostProcessorTime{10};
#if defined(BUILT_WITH_SANITIZERS)
// AddressSanitizer keeps a byte of its own for every eight of a block, also of what was merely announced, and a query
// has two blocks of up to 2 GiB.
constexpr int64_t kMostMemory = int64_t{64 + 512} << 20;
#else
constexpr int64_t kMostMemory = int64_t{64} << 20;
#endif
constexpr std::chrono::seconds kPatience{30};
constexpr size_t kMostSteps = 200000;

// As gatewaysim lists them; a test of its own compares.
constexpr std::array kNames{"silent-at-accept",
                            "silent-at-handshake",
                            "silent-at-auth0",
                            "silent-at-auth1",
                            "silent-at-opening-init",
                            "silent-at-attribute",
                            "silent-at-query-init",
                            "silent-at-invoke",
                            "silent-at-close",
                            "silent-in-handshake-header",
                            "silent-in-handshake-body",
                            "silent-in-auth0-body",
                            "silent-in-auth1-body",
                            "silent-in-opening-init",
                            "silent-in-version-text",
                            "silent-in-query-init",
                            "silent-in-answer-header",
                            "silent-in-answer",
                            "silent-before-last-byte",
                            "silent-in-close-reply",
                            "closes-at-accept",
                            "closes-at-handshake",
                            "closes-at-auth0",
                            "closes-at-auth1",
                            "closes-at-opening-init",
                            "closes-at-attribute",
                            "closes-at-query-init",
                            "closes-at-invoke",
                            "closes-at-close",
                            "half-closes-after-handshake",
                            "half-closes-after-opening",
                            "half-closes-after-answer",
                            "cut-in-handshake-eyecatcher",
                            "cut-in-handshake-body",
                            "cut-in-auth0-header",
                            "cut-in-auth0-credential",
                            "cut-in-auth1-body",
                            "cut-in-opening-init",
                            "cut-in-version-text",
                            "cut-in-query-init",
                            "cut-in-answer-eyecatcher",
                            "cut-in-answer-header",
                            "cut-in-answer",
                            "cut-before-last-byte",
                            "resets-at-accept",
                            "resets-at-handshake",
                            "resets-at-auth0",
                            "resets-at-auth1",
                            "resets-at-attribute",
                            "resets-at-query-init",
                            "resets-at-invoke",
                            "resets-at-close",
                            "resets-in-handshake",
                            "resets-in-answer",
                            "trickles-the-opening",
                            "trickles-an-answer",
                            "trickles-and-stops",
                            "single-bytes",
                            "floods-at-accept",
                            "floods-after-handshake",
                            "floods-after-opening",
                            "floods-after-query-init",
                            "floods-after-answer",
                            "floods-after-close",
                            "answers-handshake-twice",
                            "answers-query-init-twice",
                            "answers-query-twice",
                            "extends-handshake",
                            "extends-answer",
                            "announces-one-byte-less",
                            "announces-three-bytes-less",
                            "empty-auth0",
                            "truncated-auth0",
                            "truncated-auth1",
                            "truncated-opening-init",
                            "truncated-version",
                            "empty-answer",
                            "answer-below-admin-header",
                            "answer-without-payload",
                            "truncated-answer",
                            "wrong-eyecatcher-at-handshake",
                            "wrong-eyecatcher-at-auth0",
                            "wrong-eyecatcher-at-auth1",
                            "wrong-eyecatcher-at-opening-init",
                            "wrong-eyecatcher-at-attribute",
                            "wrong-eyecatcher-at-query-init",
                            "wrong-eyecatcher-at-invoke",
                            "wrong-eyecatcher-at-close",
                            "version-zero",
                            "version-highest",
                            "flags-highest",
                            "handshake-code",
                            "auth0-code-lowest",
                            "auth0-refused",
                            "auth0-refused-lowest",
                            "auth1-refused",
                            "attribute-code-minus-1",
                            "attribute-admin-code",
                            "attribute-exception",
                            "invoke-code-minus-1",
                            "invoke-code-61444",
                            "invoke-code-highest",
                            "invoke-code-lowest",
                            "invoke-admin-code",
                            "invoke-admin-code-minus-1",
                            "invoke-admin-code-highest",
                            "invoke-admin-code-lowest",
                            "init-admin-code-lowest",
                            "invoke-exception",
                            "auth0-says-step-7",
                            "auth1-says-step-0",
                            "init-says-invoke",
                            "invoke-says-init",
                            "invoke-says-unknown",
                            "handshake-gets-auth0",
                            "auth0-gets-handshake",
                            "auth0-gets-auth1",
                            "auth1-gets-auth0",
                            "auth1-gets-close",
                            "attribute-gets-init",
                            "attribute-gets-invoke",
                            "query-init-gets-auth0",
                            "invoke-gets-init",
                            "invoke-gets-attribute",
                            "invoke-gets-close",
                            "invoke-gets-other-query",
                            "escapes-in-version",
                            "formats-in-version",
                            "bad-utf8-in-version",
                            "zeros-in-version",
                            "escapes-in-answer",
                            "formats-in-answer",
                            "bad-utf8-in-answer",
                            "zeros-in-answer",
                            "longest-version",
                            "version-too-long",
                            "version-of-65535-bytes",
                            "name-length-0",
                            "name-length-33",
                            "name-length-0x7FFF",
                            "name-length-0x8000",
                            "name-length-0xFFFF",
                            "name-length-0x7FFFFFFF",
                            "name-length-0x80000000",
                            "name-length-0xFFFFFFFF",
                            "handshake-name-length-0x7FFFFFFF",
                            "handshake-name-length-0xFFFFFFFF",
                            "data-length-0",
                            "data-length-33",
                            "data-length-0x7FFF",
                            "data-length-0x8000",
                            "data-length-0xFFFF",
                            "data-length-0x7FFFFFFF",
                            "data-length-0x80000000",
                            "data-length-0xFFFFFFFF",
                            "handshake-data-length-0x7FFFFFFF",
                            "handshake-data-length-0x80000000",
                            "handshake-data-length-0xFFFFFFFF",
                            "auth0-data-length-0x7FFFFFFF",
                            "auth0-data-length-0x80000000",
                            "auth0-data-length-0xFFFFFFFF",
                            "auth1-data-length-0x7FFFFFFF",
                            "auth1-data-length-0x80000000",
                            "auth1-data-length-0xFFFFFFFF",
                            "init-data-length-0x7FFFFFFF",
                            "init-data-length-0x80000000",
                            "init-data-length-0xFFFFFFFF",
                            "close-data-length-0x7FFFFFFF",
                            "close-data-length-0x80000000",
                            "close-data-length-0xFFFFFFFF",
                            "version-data-length-0x7FFFFFFF",
                            "version-data-length-0x80000000",
                            "version-data-length-0xFFFFFFFF",
                            "version-length-0",
                            "version-length-33",
                            "version-length-0x7FFF",
                            "version-length-0x8000",
                            "version-length-0xFFFF",
                            "response-count-0",
                            "response-count-33",
                            "response-count-0x7FFF",
                            "response-count-0x8000",
                            "response-count-0xFFFF",
                            "response-count-0x7FFFFFFF",
                            "response-count-0x80000000",
                            "response-count-0xFFFFFFFF",
                            "class-name-length-0",
                            "class-name-length-33",
                            "class-name-length-0x7FFF",
                            "class-name-length-0x8000",
                            "class-name-length-0xFFFF",
                            "block-length-0",
                            "block-length-0x7FFFFFFF",
                            "block-length-0x80000000",
                            "block-length-0xFFFFFFFF",
                            "element-length-0",
                            "element-length-33",
                            "element-length-0x7FFF",
                            "element-length-0x8000",
                            "element-length-0xFFFF",
                            "id-count-0",
                            "id-count-33",
                            "id-count-0x7FFF",
                            "id-count-0x8000",
                            "id-count-0xFFFF",
                            "id-count-0x7FFFFFFF",
                            "id-count-0x80000000",
                            "id-count-0xFFFFFFFF",
                            "id-length-0",
                            "id-length-33",
                            "id-length-0x7FFF",
                            "id-length-0x8000",
                            "id-length-0xFFFF",
                            "statistic-count-0",
                            "statistic-count-33",
                            "statistic-count-0x7FFF",
                            "statistic-count-0x8000",
                            "statistic-count-0xFFFF",
                            "statistic-count-0x7FFFFFFF",
                            "statistic-count-0x80000000",
                            "statistic-count-0xFFFFFFFF",
                            "statistic-id-length-0",
                            "statistic-id-length-33",
                            "statistic-id-length-0x7FFF",
                            "statistic-id-length-0x8000",
                            "statistic-id-length-0xFFFF",
                            "value-length-0",
                            "value-length-33",
                            "value-length-0x7FFF",
                            "value-length-0x8000",
                            "value-length-0xFFFF",
                            "chunk-length-0",
                            "chunk-length-33",
                            "chunk-length-0x7FFF",
                            "chunk-length-0x8000",
                            "chunk-length-0xFFFF"};

struct Behaviour {
    std::string queries;
    std::set<int32_t> openCodes;
    std::set<int32_t> queryCodes;
    std::string connection;
    std::string ending;
};

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);) {
        parts.push_back(part);
    }
    return parts;
}

std::set<int32_t> codesIn(const std::string& text) {
    std::set<int32_t> codes;
    for (const std::string& code : split(text, ' ')) {
        codes.insert(std::stoi(code));
    }
    return codes;
}

using Behaviours = std::map<std::string, Behaviour>;

Behaviours readBehaviours() {
    const FinishedProgram program = test_support::runGatewaySim({"--list-hostile", "--format", "tabs"});
    Behaviours behaviours;
    std::istringstream list(program.standardOutput);
    std::string line;
    std::getline(list, line);
    while (std::getline(list, line)) {
        const std::vector<std::string> cells = split(line, '\t');
        behaviours[cells.at(0)] = {cells.at(2), codesIn(cells.at(3)), codesIn(cells.at(4)), cells.at(5), cells.at(6)};
    }
    return behaviours;
}

const Behaviours& behaviours() {
    static const Behaviours kBehaviours = readBehaviours();
    return kBehaviours;
}

// Ends what has no end by itself, as the list says, once the daemon has struck. Where that does not help, it ends the
// daemon, and reports that it had to.
class Ender {
  public:
    Ender(GatewaySim& sim, const Behaviour& behaviour)
        : sim_(sim), ending_(behaviour.ending), logBefore_(sim.standardError().size()), thread_([this] { run(); }) {}

    ~Ender() {
        {
            const std::lock_guard lock(mutex_);
            finished_ = true;
        }
        changed_.notify_all();
        thread_.join();
        EXPECT_FALSE(hadToGiveUp_) << "nothing but the end of the daemon ended it";
    }

    Ender(const Ender&) = delete;
    Ender& operator=(const Ender&) = delete;

  private:
    void run() {
        const auto deadline = std::chrono::steady_clock::now() + kPatience;
        std::unique_lock lock(mutex_);
        bool ended = ending_ == "by-itself";
        while (!finished_ && std::chrono::steady_clock::now() < deadline) {
            if (!ended && hasStruck()) {
                ended = true;
                lock.unlock();
                end();
                lock.lock();
            }
            changed_.wait_for(lock, ended ? kPatience : std::chrono::milliseconds(1), [this] { return finished_; });
        }
        if (!finished_) {
            hadToGiveUp_ = true;
            lock.unlock();
            sim_.stop();
        }
    }

    bool hasStruck() const {
        return sim_.standardError().find("spoiled by", logBefore_) != std::string::npos;
    }

    void end() {
        if (ending_ == "by-daemon") {
            sim_.stop();
        } else {
            closeAllGatewayConnections();
        }
    }

    GatewaySim& sim_;
    const std::string ending_;
    const size_t logBefore_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool finished_ = false;
    bool hadToGiveUp_ = false;
    std::thread thread_;
};

// An element that was answered without entries is followed by what the walk takes for one, with bytes that may lie
// anywhere. Between the element's text and that of its first entry stand code, number of entries and length.
template <typename Record>
bool isFirstEntryOfNone(const Record& record, const char* entryText) {
    const char* const elementEnd = record.queryElementPtr + record.queryElementLen;
    uint32_t entries = 1;
    if (entryText - elementEnd == 12) {
        std::memcpy(&entries, elementEnd + 4, sizeof entries);
    }
    return entries == 0;
}

uint32_t sumOf(const char* text, uint32_t length) {
    uint32_t sum = 0;
    for (uint32_t at = 0; at < length; ++at) {
        sum += static_cast<unsigned char>(text[at]);
    }
    return sum;
}

uint32_t read(const IdData& record) {
    const uint32_t element = sumOf(record.queryElementPtr, record.queryElementLen);
    if (record.queryElementRC < 0 || isFirstEntryOfNone(record, record.idPtr)) {
        return element;
    }
    return element + sumOf(record.idPtr, record.idLen);
}

uint32_t read(const StatData& record) {
    const uint32_t element = sumOf(record.queryElementPtr, record.queryElementLen);
    if (record.queryElementRC < 0 || isFirstEntryOfNone(record, record.statIdPtr)) {
        return element;
    }
    return element + sumOf(record.statIdPtr, record.statIdLen) + sumOf(record.statValuePtr, record.statValueLen);
}

// Reads every byte that the walk hands out. Returns the number of steps.
template <typename Record, typename Step>
size_t walkThrough(ResultSetToken* resultSet, Step first, Step next) {
    Record record{};
    size_t steps = 0;
    uint32_t sum = 0;
    int32_t code = first(resultSet, &record);
    while (code == STAPI_RC_OK && steps < kMostSteps) {
        ++steps;
        sum += read(record);
        code = next(resultSet, &record);
    }
    EXPECT_EQ(code, STAPI_RC_END_OF_DATA) << "after " << steps << " steps, with the sum " << sum;
    return steps;
}

size_t walkThrough(ResultSetToken* resultSet, const QueryFunction& query) {
    if (query.givesIds) {
        StatData record{};
        EXPECT_EQ(getFirstStat(resultSet, &record), STAPI_RC_WRONG_CONTENT);
        return walkThrough<IdData>(resultSet, getFirstId, getNextId);
    }
    IdData record{};
    EXPECT_EQ(getFirstId(resultSet, &record), STAPI_RC_WRONG_CONTENT);
    return walkThrough<StatData>(resultSet, getFirstStat, getNextStat);
}

void useEverything(ResultSetToken* resultSet, const QueryFunction& query) {
    const size_t steps = walkThrough(resultSet, query);
    char* list = nullptr;
    const int32_t listCode = getIdQuery(resultSet, &list);
    EXPECT_TRUE(listCode == STAPI_RC_QUERY_STRING_FAILED || (listCode == STAPI_RC_OK && std::strlen(list) < 32000))
        << listCode;
    EXPECT_EQ(dumpResultSet(resultSet), STAPI_RC_OK);
    ResultSetToken* copy = nullptr;
    ASSERT_EQ(copyResultSet(resultSet, &copy), STAPI_RC_OK);
    EXPECT_EQ(walkThrough(copy, query), steps);
    EXPECT_EQ(freeResultSet(&copy), STAPI_RC_OK);
}

std::vector<QueryFunction> queriesThatMeet(const Behaviour& behaviour) {
    std::vector<QueryFunction> chosen;
    for (const QueryFunction& query : kQueries) {
        const bool isGroups = std::string(query.name) == "getResourceGroupIds";
        if (behaviour.queries == "all" || (behaviour.queries == "ids" && query.givesIds) ||
            (behaviour.queries == "statistics" && !query.givesIds) || (behaviour.queries == "groups" && isGroups)) {
            chosen.push_back(query);
        }
    }
    return chosen;
}

std::string testNameOf(const std::string& name) {
    std::string text;
    bool capital = true;
    for (const char character : name) {
        if (character == '-') {
            capital = true;
            continue;
        }
        text += capital ? static_cast<char>(std::toupper(static_cast<unsigned char>(character))) : character;
        capital = false;
    }
    return text;
}

}  // namespace

class HostileGateway : public SystemTest, public ::testing::WithParamInterface<const char*> {
  protected:
    void SetUp() override {
        SystemTest::SetUp();
        ASSERT_TRUE(behaviours().contains(GetParam()));
    }

    void openOnly(GatewaySim& sim) {
        const Ender ender(sim, behaviour());
        GatewayToken* token = nullptr;
        char* version = nullptr;
        const int32_t code = openGatewayConnection(sim.port(), &token, &version);
        EXPECT_TRUE(behaviour().openCodes.contains(code)) << "the opening gave " << code;
        EXPECT_EQ(token, nullptr);
    }

    void openAndAsk(GatewaySim& sim, const QueryFunction& query) {
        SCOPED_TRACE(query.name);
        const Ender ender(sim, behaviour());
        GatewayToken* token = nullptr;
        char* version = nullptr;
        const int32_t openCode = openGatewayConnection(sim.port(), &token, &version);
        ASSERT_TRUE(behaviour().openCodes.contains(openCode)) << "the opening gave " << openCode;
        EXPECT_LT(std::strlen(version), 32766U);
        ResultSetToken* result = nullptr;
        const int32_t code = query.call(token, usualIds(query), &result);
        EXPECT_TRUE(behaviour().queryCodes.contains(code)) << "the query gave " << code;
        if (code == STAPI_RC_OK) {
            useEverything(result, query);
        } else {
            EXPECT_EQ(result, nullptr);
        }
        const bool isKept = behaviour().connection == "either" ? code == STAPI_RC_OK : behaviour().connection == "kept";
        EXPECT_EQ(closeGatewayConnection(&token), isKept ? STAPI_RC_OK : STAPI_RC_TOKEN_NOT_FOUND);
    }

    static const Behaviour& behaviour() {
        return behaviours().at(GetParam());
    }
};

TEST_P(HostileGateway, DoesNoHarmBeyondItsDocumentedOutcome) {
    const TraceCapture trace(1);
    const GatewaySim faultless;
    GatewaySim sim({"--hostile", GetParam(), "--seed", "5", "--frozen-clock", "2024-05-06T07:08:09Z", "--verbose"});
    const ProcessCost cost;
    if (behaviour().connection == "never-opened") {
        openOnly(sim);
    }
    for (const QueryFunction& query : queriesThatMeet(behaviour())) {
        openAndAsk(sim, query);
    }
    EXPECT_LT(cost.processorTime(), kMostProcessorTime);
    EXPECT_LT(cost.memoryGrowth(), kMostMemory);
    Connection next(faultless);
    EXPECT_EQ(next.openCode(), STAPI_RC_OK);
    EXPECT_EQ(next.close(), STAPI_RC_OK);
}

INSTANTIATE_TEST_SUITE_P(Behaviour, HostileGateway, ::testing::ValuesIn(kNames),
                         [](const auto& tested) { return testNameOf(tested.param); });

// Texts of the daemon stand in many lines of a full trace.
class HostileText : public SystemTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(HostileText, NeverReachesTheTraceAsAControlCharacter) {
    const GatewaySim sim({"--hostile", GetParam()});
    const TraceCapture trace(5);
    for (const QueryFunction& query : kQueries) {
        Connection connection(sim);
        ASSERT_EQ(connection.openCode(), STAPI_RC_OK);
        ResultSetToken* result = nullptr;
        ASSERT_EQ(query.call(connection.token(), usualIds(query), &result), STAPI_RC_OK);
        useEverything(result, query);
        EXPECT_EQ(dumpState(), STAPI_RC_OK);
    }
    const std::string text = test_support::withPlainLineEnds(trace.text());
    EXPECT_GT(text.size(), 100000U);
    for (size_t at = 0; at < text.size(); ++at) {
        const auto byte = static_cast<unsigned char>(text[at]);
        ASSERT_TRUE((byte >= 0x20 && byte != 0x7F) || byte == '\n')
            << static_cast<int>(byte) << " behind " << text.substr(at < 80 ? 0 : at - 80, at < 80 ? at : 80);
    }
}

INSTANTIATE_TEST_SUITE_P(Behaviour, HostileText,
                         ::testing::Values("escapes-in-version", "formats-in-version", "bad-utf8-in-version",
                                           "zeros-in-version", "escapes-in-answer", "formats-in-answer",
                                           "bad-utf8-in-answer", "zeros-in-answer"),
                         [](const auto& tested) { return testNameOf(tested.param); });

TEST(HostileGatewayList, IsTheOneThatTheTestsRunThrough) {
    std::set<std::string> listed;
    for (const auto& [name, behaviour] : behaviours()) {
        listed.insert(name);
    }
    EXPECT_EQ(listed, std::set<std::string>(kNames.begin(), kNames.end()));
    EXPECT_GE(listed.size(), 60U);
}

}  // namespace system_test
