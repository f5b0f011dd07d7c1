// The list of hostile behaviours, and the faults that only they need.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "conversation.h"
#include "temporary_file.h"

namespace sim_test {

namespace {

using test_support::FinishedProgram;
using test_support::GatewaySim;
using test_support::runGatewaySim;

const std::vector<std::string> kFixed{"--seed", "5", "--frozen-clock", "2024-05-06T07:08:09Z"};

std::vector<std::string> withFault(const std::string& fault) {
    std::vector<std::string> arguments = kFixed;
    arguments.insert(arguments.end(), {"--fault", fault});
    return arguments;
}

std::vector<std::vector<std::string>> listForPrograms() {
    std::istringstream list(runGatewaySim({"--list-hostile", "--format", "tabs"}).standardOutput);
    std::vector<std::vector<std::string>> lines;
    for (std::string line; std::getline(list, line);) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        std::vector<std::string> cells(1);
        for (const char character : line) {
            if (character == '\t') {
                cells.emplace_back();
            } else {
                cells.back() += character;
            }
        }
        lines.push_back(cells);
    }
    return lines;
}

size_t columnOf(const std::vector<std::vector<std::string>>& list, const std::string& name) {
    const auto& names = list.front();
    return static_cast<size_t>(std::find(names.begin(), names.end(), name) - names.begin());
}

std::set<std::string> valuesOf(const std::vector<std::vector<std::string>>& list, const std::string& name) {
    std::set<std::string> values;
    for (size_t line = 1; line < list.size(); ++line) {
        values.insert(list[line].at(columnOf(list, name)));
    }
    return values;
}

bool isPartOf(const std::set<std::string>& values, const std::set<std::string>& allowed) {
    return std::includes(allowed.begin(), allowed.end(), values.begin(), values.end());
}

TEST(HostileList, HasAtLeastSixtyNamesEachOnce) {
    const auto list = listForPrograms();
    const std::set<std::string> names = valuesOf(list, "name");
    EXPECT_EQ(names.size(), list.size() - 1);
    EXPECT_GE(names.size(), 60U);
}

TEST(HostileList, HasAllColumnsInEveryLine) {
    const std::vector<std::string> columns{"name",       "exchange", "queries", "open",       "query",
                                           "connection", "ending",   "faults",  "explanation"};
    const auto list = listForPrograms();
    EXPECT_EQ(list.front(), columns);
    for (const auto& line : list) {
        EXPECT_EQ(line.size(), columns.size()) << line.front();
    }
}

TEST(HostileList, SaysWhatBecomesOfAClientInFixedWords) {
    const auto list = listForPrograms();
    EXPECT_EQ(valuesOf(list, "exchange"),
              std::set<std::string>({"accept", "handshake", "auth0", "auth1", "init", "attribute", "invoke", "close"}));
    EXPECT_TRUE(isPartOf(valuesOf(list, "queries"), {"all", "groups", "ids", "none", "statistics"}));
    EXPECT_EQ(valuesOf(list, "connection"), std::set<std::string>({"either", "kept", "never-opened", "removed"}));
    EXPECT_EQ(valuesOf(list, "ending"), std::set<std::string>({"by-close", "by-daemon", "by-itself"}));
    EXPECT_TRUE(isPartOf(valuesOf(list, "open"), {"-102", "-102 -118 -122", "-111", "-118", "-122", "0"}));
    EXPECT_TRUE(isPartOf(valuesOf(list, "query"), {"", "-101", "-102", "-122", "0", "0 -122"}));
}

TEST(HostileList, IsForReadersALineOfNameAndExplanationEach) {
    const auto list = listForPrograms();
    std::istringstream text(runGatewaySim({"--list-hostile"}).standardOutput);
    for (size_t line = 1; line < list.size(); ++line) {
        std::string read;
        ASSERT_TRUE(std::getline(text, read));
        EXPECT_EQ(read.find(list[line].front() + " "), 0U) << read;
        EXPECT_NE(read.find(list[line].back()), std::string::npos) << read;
    }
}

TEST(Hostile, EveryNameStandsForFaultsThatExist) {
    for (const std::string& name : valuesOf(listForPrograms(), "name")) {
        EXPECT_EQ(runGatewaySim({"--hostile", name, "--print-catalogue"}).exitCode, 0) << name;
    }
}

TEST(Hostile, BehavesLikeItsFaults) {
    const GatewaySim named({"--hostile", "wrong-eyecatcher-at-handshake"});
    const GatewaySim spelled({"--fault", "handshake:eyecatcher"});
    EXPECT_EQ(shown(Conversation(named).handshake()), shown(Conversation(spelled).handshake()));
}

struct BadUse {
    const char* name;
    std::vector<std::string> arguments;
    std::string message;
};

class HostileOption : public testing::TestWithParam<BadUse> {};

INSTANTIATE_TEST_SUITE_P(
    Bad, HostileOption,
    testing::Values(
        BadUse{"UnknownName", {"--hostile", "nasty"}, "--hostile \"nasty\" is unknown; --list-hostile lists"},
        BadUse{"FormatAlone", {"--format", "tabs"}, "--format needs --list-hostile"},
        BadUse{"UnknownFormat", {"--list-hostile", "--format", "xml"}, "--format \"xml\" is not one of text and tabs"},
        BadUse{"UnknownTexts", {"--fault", "invoke:texts=rude"}, "the value \"rude\" of texts is not one of escapes,"},
        BadUse{"TextsWithoutValue", {"--fault", "invoke:texts"}, "texts needs a value, as in texts=escapes"},
        BadUse{"ReplyOfAcceptance",
               {"--fault", "invoke:reply-of=accept"},
               "the value \"accept\" of reply-of is not an exchange that gets a reply"},
        BadUse{
            "FieldOfAnotherReply", {"--fault", "attribute:id-count=1"}, "a reply to attribute cannot carry id-count"},
        BadUse{"AcceptanceWithoutReply",
               {"--fault", "accept:eyecatcher"},
               "the acceptance of a connection cannot carry eyecatcher"}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST_P(HostileOption, IsNamedWithExitCode2) {
    const FinishedProgram program = runGatewaySim(GetParam().arguments);
    EXPECT_EQ(program.exitCode, 2);
    EXPECT_NE(program.standardError.find(GetParam().message), std::string::npos) << program.standardError;
}

Bytes attributeReply(const std::vector<std::string>& arguments) {
    const GatewaySim sim(arguments);
    Conversation conversation(sim);
    conversation.open();
    conversation.init();
    return conversation.attribute();
}

Bytes invokeReply(const std::vector<std::string>& arguments, const std::string& operation,
                  const std::string& argument) {
    const GatewaySim sim(arguments);
    Conversation conversation(sim);
    conversation.open();
    conversation.init();
    return conversation.invoke(operation, argument);
}

struct OverwrittenField {
    const char* fault;
    const char* operation;  // empty: the attribute
    const char* argument;
    uint32_t before;
    size_t width;
};

class FieldFault : public testing::TestWithParam<OverwrittenField> {
  protected:
    static Bytes reply(const std::vector<std::string>& arguments) {
        const std::string operation = GetParam().operation;
        return operation.empty() ? attributeReply(arguments) : invokeReply(arguments, operation, GetParam().argument);
    }
};

// The group daemon has 15 statistics, the first of which is daemon.name with the value gateway-one.
INSTANTIATE_TEST_SUITE_P(Of, FieldFault,
                         testing::Values(OverwrittenField{"version-length", "", "", 5, 2},
                                         OverwrittenField{"response-count", "STAT_IDS", "daemon:listener", 2, 4},
                                         OverwrittenField{"class-name-length", "STAT_IDS", "daemon", 32, 2},
                                         OverwrittenField{"block-length", "RESOURCE_GROUPS", "", 133, 1},
                                         OverwrittenField{"element-length", "STAT_IDS", "daemon", 6, 2},
                                         OverwrittenField{"id-count", "STAT_IDS", "daemon", 15, 4},
                                         OverwrittenField{"id-length", "STAT_IDS", "daemon", 11, 2},
                                         OverwrittenField{"statistic-count", "GET_STATS", "daemon", 15, 4},
                                         OverwrittenField{"statistic-id-length", "GET_STATS", "daemon", 11, 2},
                                         OverwrittenField{"value-length", "GET_STATS", "daemon", 11, 2},
                                         OverwrittenField{"chunk-length", "GET_STATS", "daemon", 1024, 2}),
                         [](const auto& tested) {
                             std::string name;
                             for (const char character : std::string(tested.param.fault)) {
                                 name += character == '-' ? '_' : character;
                             }
                             return name;
                         });

TEST_P(FieldFault, OverwritesTheFirstSuchFieldAndNothingElse) {
    const Bytes faultless = reply(kFixed);
    const std::string exchange = *GetParam().operation == '\0' ? "attribute" : "invoke";
    const Bytes spoiled = reply(withFault(exchange + ":" + GetParam().fault + "=0xEEEEEEEE"));
    ASSERT_EQ(spoiled.size(), faultless.size());
    const auto start = static_cast<size_t>(std::mismatch(faultless.begin(), faultless.end(), spoiled.begin()).first -
                                           faultless.begin());
    ASSERT_LE(start + GetParam().width, faultless.size());
    uint32_t before = 0;
    for (size_t index = 0; index < GetParam().width; ++index) {
        before = before << 8 | faultless[start + index];
        EXPECT_EQ(spoiled[start + index], 0xEE);
    }
    EXPECT_EQ(before, GetParam().before);
    const size_t end = start + GetParam().width;
    EXPECT_TRUE(std::equal(faultless.begin() + static_cast<ptrdiff_t>(end), faultless.end(),
                           spoiled.begin() + static_cast<ptrdiff_t>(end)));
}

TEST(FieldFaultOfOneResponse, GivesItAResponseCount) {
    const Bytes faultless = invokeReply(kFixed, "STAT_IDS", "daemon");
    const Bytes spoiled = invokeReply(withFault("invoke:response-count=7"), "STAT_IDS", "daemon");
    EXPECT_EQ(u32At(spoiled, 30), u32At(faultless, 30) + 4);
    EXPECT_EQ(shown(part(spoiled, 43, spoiled.size() - 43)),
              shown(hex("01 00000007") + part(faultless, 44, faultless.size() - 44)));
}

size_t occurrences(const Bytes& bytes, const Bytes& wanted) {
    size_t count = 0;
    for (auto at = bytes.begin();; ++at, ++count) {
        at = std::search(at, bytes.end(), wanted.begin(), wanted.end());
        if (at == bytes.end()) {
            return count;
        }
    }
}

TEST(TextsFault, EndsEveryElementIdAndValueWithIt) {
    for (const char* const fault : {"escapes", "formats", "bad-utf8", "zeros"}) {
        const Bytes version = attributeReply(withFault(std::string("attribute:texts=") + fault));
        // Behind 34 bytes of header, 9 before the payload, 6 before the text, 2 of its length and 5 of its own.
        const Bytes addition = part(version, 56, version.size() - 56);
        ASSERT_GE(addition.size(), 4U);
        EXPECT_EQ(
            occurrences(invokeReply(withFault(std::string("invoke:texts=") + fault), "STAT_IDS", "daemon"), addition),
            16U);
        EXPECT_EQ(occurrences(invokeReply(withFault(std::string("invoke:texts=") + fault), "GET_STATS", "listener"),
                              addition),
                  1U + 2U * 14U);
    }
}

TEST(TextsFault, HasEscapesConversionsAndBytesThatAreNoUtf8) {
    const auto contains = [](const char* fault, const Bytes& wanted) {
        return occurrences(attributeReply(withFault(std::string("attribute:texts=") + fault)), wanted) == 1;
    };
    EXPECT_TRUE(contains("escapes", hex("1B 5B 32 4A")));
    EXPECT_TRUE(contains("formats", hex("25 73 25 6E")));
    EXPECT_TRUE(contains("bad-utf8", hex("C3 28")));
    EXPECT_TRUE(contains("zeros", hex("00 78 00 00")));
}

Bytes handshakeReply(const std::string& fault) {
    const GatewaySim sim(withFault(fault));
    Conversation conversation(sim);
    conversation.client().send(handshakeRequest());
    conversation.client().finishSending();
    return conversation.client().receiveToTheEnd();
}

Bytes faultlessHandshakeReply() {
    const GatewaySim sim(kFixed);
    return Conversation(sim).handshake();
}

Bytes withWord(Bytes reply, size_t offset, const Bytes& word) {
    std::copy(word.begin(), word.end(), reply.begin() + static_cast<ptrdiff_t>(offset));
    return reply;
}

TEST(HeaderFault, OverwritesItsFieldAlone) {
    const Bytes faultless = faultlessHandshakeReply();
    EXPECT_EQ(shown(handshakeReply("handshake:version=0x01020304")), shown(withWord(faultless, 4, hex("01020304"))));
    EXPECT_EQ(shown(handshakeReply("handshake:flags=0xFFFFFFFF")), shown(withWord(faultless, 8, hex("FFFFFFFF"))));
    EXPECT_EQ(shown(handshakeReply("handshake:flag-byte=255")), shown(withWord(faultless, 28, hex("FF"))));
    EXPECT_EQ(shown(handshakeReply("handshake:data-length=3")), shown(withWord(faultless, 29, hex("00000003"))));
    EXPECT_EQ(shown(handshakeReply("handshake:data-length=-2")), shown(withWord(faultless, 29, hex("FFFFFFFE"))));
}

TEST(HeaderFault, ADataLengthAboveTheBodyEndsTheStream) {
    const GatewaySim sim(withFault("handshake:data-length=0x7FFFFFFF"));
    Conversation conversation(sim);
    conversation.client().send(handshakeRequest());
    EXPECT_EQ(shown(conversation.client().receiveToTheEnd()),
              shown(withWord(faultlessHandshakeReply(), 29, hex("7FFFFFFF"))));
}

TEST(SurplusFault, SendsMoreThanTheReply) {
    const Bytes faultless = faultlessHandshakeReply();
    EXPECT_EQ(shown(handshakeReply("handshake:twice")), shown(faultless + faultless));
    EXPECT_EQ(shown(handshakeReply("handshake:flood=100000")), shown(faultless + Bytes(100000, 0xA5)));
    EXPECT_EQ(shown(handshakeReply("handshake:extend-body=2")),
              shown(withWord(faultless, 29, hex("00000014")) + hex("5A5A")));
}

TEST(ReplyOfFault, SendsTheWholeReplyOfTheOtherExchange) {
    const Bytes reply = handshakeReply("handshake:reply-of=auth1");
    EXPECT_EQ(
        shown(part(reply, 0, 41)),
        shown(hex("47617465 00700000 00000001 00000000 00000000 00000004 41757468 00 00000010 00000001 00000000")));
    EXPECT_EQ(shown(handshakeReply("handshake:reply-of=close")),
              shown(hex("47617465 00700000 0000000A 00000000 00000000 00000004 42415345 00 00000000")));
}

TEST(ReplyOfFault, GivesAQueryTheAnswerToTheOtherKindOfQuery) {
    EXPECT_EQ(shown(invokeReply(withFault("invoke:reply-of=invoke"), "GET_STATS", "daemon")),
              shown(invokeReply(kFixed, "RESOURCE_GROUPS", "")));
    EXPECT_EQ(shown(invokeReply(withFault("invoke:reply-of=invoke"), "STAT_IDS", "daemon")),
              shown(invokeReply(kFixed, "GET_STATS", "")));
}

TEST(VersionSizeFault, GivesAVersionOfThatManyBytes) {
    const Bytes reply = attributeReply(withFault("attribute:version-size=40000"));
    EXPECT_EQ(shown(part(reply, 49, reply.size() - 49)), shown(u16(40000) + Bytes(40000, 'v')));
}

TEST(EndFault, ResetAfterSendsTheFirstBytesAndResets) {
    const GatewaySim sim(withFault("handshake:reset-after=20"));
    Conversation conversation(sim);
    conversation.client().send(handshakeRequest());
    EXPECT_EQ(shown(conversation.client().receive(20)), shown(part(faultlessHandshakeReply(), 0, 20)));
    EXPECT_TRUE(conversation.client().endsByReset() || !RawClient::tellsResetFromEnd());
}

TEST(EndFault, CloseEndsTheStreamWithoutAReply) {
    const GatewaySim sim(withFault("handshake:close"));
    Conversation conversation(sim);
    conversation.client().send(handshakeRequest());
    EXPECT_FALSE(conversation.client().endsByReset());
}

TEST(FaultOfAcceptance, StrikesBeforeTheFirstRequest) {
    const auto client = [](const GatewaySim& sim) { return RawClient(sim.port()); };
    const GatewaySim closing(withFault("accept:close"));
    EXPECT_FALSE(client(closing).endsByReset());
    const GatewaySim resetting(withFault("accept:reset"));
    EXPECT_TRUE(client(resetting).endsByReset() || !RawClient::tellsResetFromEnd());
    const GatewaySim flooding(withFault("accept:flood=1000"));
    EXPECT_EQ(shown(client(flooding).receive(1000)), shown(Bytes(1000, 0xA5)));
}

TEST(FaultOfAcceptance, StallKeepsTheConnectionWithoutAnAnswer) {
    const GatewaySim sim({"--verbose", "--fault", "accept:stall"});
    Conversation conversation(sim);
    conversation.client().send(handshakeRequest());
    Conversation other(sim);
    other.client().finishSending();
    EXPECT_EQ(shown(other.client().receiveToTheEnd()), "");
    EXPECT_TRUE(conversation.client().hasNothingToRead());
    EXPECT_NE(sim.standardError().find("acceptance spoiled by accept:stall"), std::string::npos);
}

TEST(FaultOfAcceptance, IsNotMeantByAny) {
    const GatewaySim sim(withFault("any:close"));
    RawClient client(sim.port());
    client.send(handshakeRequest());
    EXPECT_FALSE(client.endsByReset());
    EXPECT_EQ(sim.standardError(), "");
}

FinishedProgram runWithCatalogue(const std::string& catalogue) {
    using namespace test_support;
    const TemporaryFile file(catalogue);
    return runGatewaySim({"--catalogue", file.path(), "--print-catalogue"});
}

TEST(CatalogueOfBytes, ServesIdsThatAreNoText) {
    using namespace test_support;
    const TemporaryFile file(R"({"protocol": {"hex": "1b5B"}, "groups": [{"hex": "C328"}, "\u001b[2J"], "statistics": [
        {"id": {"hex": "FFFE"}, "group": {"hex": "C328"}, "kind": "text", "text": {"hex": "00"}}]})");
    const GatewaySim sim({"--catalogue", file.path()});
    Conversation conversation(sim);
    conversation.open();
    conversation.init();
    EXPECT_EQ(shown(part(conversation.attribute(), 49, 4)), shown(hex("0002 1B5B")));
    EXPECT_EQ(occurrences(conversation.query("RESOURCE_GROUPS", ""), hex("0002 C328 0004 1B5B324A")), 1U);
    EXPECT_EQ(occurrences(conversation.query("STAT_IDS", "\xC3("), hex("00000000 00000001 0002 FFFE")), 1U);
    EXPECT_EQ(occurrences(conversation.query("GET_STATS", "\xFF\xFE"), hex("0002 FFFE 0001 00")), 1U);
}

TEST(CatalogueOfBytes, RefusesWhatAreNoPairsOfDigits) {
    for (const char* const id : {R"({"hex": "C"})", R"({"hex": "C3 28"})", R"({"hex": "G0"})", R"({"hex": 5})",
                                 R"({"hax": "00"})", R"({"hex": "00", "more": 1})", "{}"}) {
        const FinishedProgram program =
            runWithCatalogue(std::string(R"({"protocol": "1", "groups": [)") + id + R"(], "statistics": []})");
        EXPECT_EQ(program.exitCode, 2) << id;
        EXPECT_NE(program.standardError.find("groups[0] is an object where a text or {\"hex\": "), std::string::npos)
            << program.standardError;
    }
}

TEST(CatalogueOfBytes, RefusesAnEmptyIdAndTheSeparator) {
    EXPECT_NE(runWithCatalogue(R"({"protocol": "1", "groups": [{"hex": ""}], "statistics": []})")
                  .standardError.find("groups[0]: the id is empty"),
              std::string::npos);
    EXPECT_NE(runWithCatalogue(R"({"protocol": "1", "groups": [{"hex": "3A"}], "statistics": []})")
                  .standardError.find("which separates ids in a query"),
              std::string::npos);
}

}  // namespace

}  // namespace sim_test
