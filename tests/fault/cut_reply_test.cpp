// Every reply of a gateway is cut off at every byte by a clean close. What is missing reads as zero: an exchange ends
// as it does with a whole reply that has zeros there; where nothing has come of a header or of a body, it fails.
#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <map>
#include <mutex>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "allocation_faults.h"
#include "gateway/stapi_zul_gwytok.h"
#include "gateway_peer.h"
#include "platform_faults.h"
#include "reply_payload.h"
#include "scenarios.h"

namespace fault_test {

namespace {

using test_support::Bytes;
using test_support::BytesWriter;
using test_support::PeerConnection;
using test_support::ScriptedPeer;
using wire_test::GatewayReplies;
using wire_test::ReplyPayload;

constexpr size_t kNameOffset = 24;
constexpr size_t kNameLengthOffset = 20;
constexpr size_t kEyecatcherSize = 4;

// The exchanges of a session with one query, in their order on the wire.
enum Exchange : size_t {
    handshake,
    authorisationInit,
    authorisationFinal,
    initialise,
    attribute,
    initialiseQuery,
    invocation,
    closing
};

struct CutReply {
    const char* name;
    Exchange exchange;
    bool isStatistics;
    Bytes invocationFrame;
    int32_t failureCode;  // of the function that makes the exchange
};

void PrintTo(const CutReply& cut, std::ostream* stream) {
    *stream << cut.name;
}

std::vector<Bytes> sessionReplies(const CutReply& cut) {
    const GatewayReplies replies;
    return {*replies.handshake, *replies.authorisationInit, *replies.authorisationFinal, *replies.initialise,
            *replies.attribute, *replies.initialise,        cut.invocationFrame,         *replies.close};
}

size_t headerSize(const Bytes& reply) {
    return kNameOffset + test_support::u32At(reply, kNameLengthOffset) + 5;
}

// What the sessions to one peer send, changed from case to case; the peer looks at it when a session begins.
class CuttingGateway {
  public:
    CuttingGateway() : peer_([this](PeerConnection& connection) { serve(connection); }, INT_MAX) {}

    int port() const {
        return peer_.port();
    }
    // Until the next call, sessions end cleanly with the first bytes of the reply to the exchange of that number.
    void answer(std::vector<Bytes> replies, size_t last) {
        const std::lock_guard<std::mutex> lock(mutex_);
        replies_ = std::move(replies);
        last_ = last;
    }

  private:
    // The script's own, because the test goes on as soon as the last reply has arrived.
    std::vector<Bytes> currentReplies() {
        const std::lock_guard<std::mutex> lock(mutex_);
        return {replies_.begin(), replies_.begin() + static_cast<ptrdiff_t>(last_ + 1)};
    }

    void serve(PeerConnection& connection) {
        try {
            for (const Bytes& reply : currentReplies()) {
                if (connection.expectFrame().empty()) {
                    return;
                }
                connection.send(reply);
            }
        } catch (const std::runtime_error&) {
            // The other end has gone.
        }
    }

    std::mutex mutex_;
    std::vector<Bytes> replies_;
    size_t last_ = 0;
    ScriptedPeer peer_;
};

// What a caller sees of a session.
struct Session {
    int32_t openCode = INT32_MIN;
    std::string version;
    int32_t queryCode = INT32_MIN;
    int32_t walkCode = INT32_MIN;
    std::string content;
    int32_t closeCode = INT32_MIN;

    friend bool operator==(const Session&, const Session&) = default;
};

void PrintTo(const Session& session, std::ostream* stream) {
    *stream << "open " << session.openCode << " \"" << session.version << "\", query " << session.queryCode << ", walk "
            << session.walkCode << " \"" << session.content << "\", close " << session.closeCode;
}

constexpr size_t kMostSteps = 100000;

// A query element without entries is walked as if it had one, whose length means nothing: no genuine text is that long.
void append(std::string* content, const char* text, uint32_t length) {
    constexpr uint32_t kLongest = 65535;
    *content += length > kLongest ? "(no text)" : std::string(text, length);
    *content += "|";
}

template <typename Data, typename First, typename Next, typename Read>
void walkInto(Session* session, ResultSetToken* result, First first, Next next, Read read) {
    Data data = {};
    size_t steps = 0;
    session->walkCode = first(result, &data);
    while (session->walkCode == STAPI_RC_OK && steps < kMostSteps) {
        ++steps;
        append(&session->content, data.queryElementPtr, data.queryElementLen);
        session->content += std::to_string(data.queryElementRC) + "|";
        if (data.queryElementRC >= 0) {
            read(data);
        }
        session->walkCode = next(result, &data);
    }
}

void walkResult(Session* session, ResultSetToken* result, bool isStatistics) {
    if (isStatistics) {
        walkInto<StatData>(session, result, getFirstStat, getNextStat, [session](const StatData& data) {
            append(&session->content, data.statIdPtr, data.statIdLen);
            append(&session->content, data.statValuePtr, data.statValueLen);
        });
    } else {
        walkInto<IdData>(session, result, getFirstId, getNextId,
                         [session](const IdData& data) { append(&session->content, data.idPtr, data.idLen); });
    }
}

// Opens, makes the query unless the opening is what is cut, walks, and closes.
Session play(int port, const CutReply& cut) {
    Session session;
    GatewayToken* token = nullptr;
    char* version = nullptr;
    session.openCode = openGatewayConnection(port, &token, &version);
    if (session.openCode == STAPI_RC_OK) {
        session.version = version;
        if (cut.exchange >= initialiseQuery) {
            ResultSetToken* result = nullptr;
            session.queryCode = cut.isStatistics ? getStats(token, &result) : getStatIds(token, &result);
            if (session.queryCode == STAPI_RC_OK) {
                walkResult(&session, result, cut.isStatistics);
            }
        }
        session.closeCode = closeGatewayConnection(&token);
    }
    return session;
}

Bytes idsAnswer() {
    return wire_test::invocationReply(ReplyPayload()
                                          .multi(3)
                                          .idResponse("A", 0, {"one", "", "three"})
                                          .failedResponse("B", -7)
                                          .idResponse("C", 3, {std::string(300, 'f'), "last"}, 'z')
                                          .bytes());
}

Bytes statsAnswer() {
    return wire_test::invocationReply(ReplyPayload()
                                          .multi(3)
                                          .statsResponse("A", 0, 2)
                                          .shortStat("one", "1")
                                          .longStat("two", "22")
                                          .failedResponse("B", -7)
                                          .statsResponse("C", 3, 1, 'z')
                                          .shortStat("three", "")
                                          .bytes());
}

Bytes splitAnswer() {
    const std::string part(90, 'p');
    return wire_test::invocationReply(ReplyPayload()
                                          .single()
                                          .statsResponse("A", 0, 2)
                                          .firstBlock("one", 3 * 90 + 5, 3 + 4 + 90, part)
                                          .longBlock(part)
                                          .longBlock(part)
                                          .shortBlock("short")
                                          .endOfStat()
                                          .shortStat("two", "2")
                                          .bytes());
}

const std::vector<CutReply>& cutReplies() {
    static const std::vector<CutReply> kAll = {
        {"Handshake", handshake, false, idsAnswer(), STAPI_RC_CONNECT_FAILED},
        {"AuthorisationInit", authorisationInit, false, idsAnswer(), STAPI_RC_CONNECT_FAILED},
        {"AuthorisationFinal", authorisationFinal, false, idsAnswer(), STAPI_RC_CONNECT_FAILED},
        {"InitialiseOfTheOpening", initialise, false, idsAnswer(), STAPI_RC_BAD_EYECATCHER},
        {"Attribute", attribute, false, idsAnswer(), STAPI_RC_BAD_EYECATCHER},
        {"InitialiseOfAQuery", initialiseQuery, false, idsAnswer(), STAPI_RC_BAD_EYECATCHER},
        {"Ids", invocation, false, idsAnswer(), STAPI_RC_BAD_EYECATCHER},
        {"Statistics", invocation, true, statsAnswer(), STAPI_RC_BAD_EYECATCHER},
        {"SplitValue", invocation, true, splitAnswer(), STAPI_RC_BAD_EYECATCHER},
        {"Close", closing, false, idsAnswer(), STAPI_RC_OK},
    };
    return kAll;
}

// The recorded number of places of each reply.
size_t recordedPlaces(const std::string& name) {
    static const std::map<std::string, size_t> kPlaces = {{"Handshake", 33},
                                                          {"AuthorisationInit", 53},
                                                          {"AuthorisationFinal", 49},
                                                          {"InitialiseOfTheOpening", 46},
                                                          {"Attribute", 54},
                                                          {"InitialiseOfAQuery", 46},
                                                          {"Ids", 588},
                                                          {"Statistics", 366},
                                                          {"SplitValue", 462},
                                                          {"Close", 33}};
    return kPlaces.at(name);
}

// Where nothing comes of the header, or of the body that the header announces, the exchange fails.
bool endsBeforeHeaderOrBody(size_t place, const Bytes& reply) {
    const size_t header = headerSize(reply);
    return place < kEyecatcherSize || (place == header && reply.size() > header);
}

// Zeros for what is missing are a good answer as soon as the type of the call has come. (Not for statistics: a long
// block without a length makes no sense.)
bool mustSucceed(const CutReply& cut, size_t place, const Bytes& reply) {
    constexpr size_t kCallType = 4;
    const bool isTakenWithZeros = cut.exchange == attribute || (cut.exchange == invocation && !cut.isStatistics);
    return isTakenWithZeros && place >= headerSize(reply) + kCallType;
}

class CutReplies : public testing::TestWithParam<CutReply> {
  protected:
    int32_t codeOf(const Session& session) const {
        int32_t code = session.openCode;
        if (GetParam().exchange == closing) {
            code = session.closeCode;
        } else if (GetParam().exchange >= initialiseQuery) {
            code = session.queryCode;
        }
        return code;
    }

    // With the reply as it is cut, and, where something of header and body has come, as whole with zeros.
    void compareAt(size_t place) {
        const std::vector<Bytes> whole = sessionReplies(GetParam());
        const size_t exchange = GetParam().exchange;
        const Bytes& reply = whole.at(exchange);
        std::vector<Bytes> cut = whole;
        cut[exchange].resize(place);
        gateway_.answer(cut, exchange);
        const Session seen = play(gateway_.port(), GetParam());
        EXPECT_NE(seen.walkCode, STAPI_RC_OK) << "the walk does not end";
        if (endsBeforeHeaderOrBody(place, reply)) {
            EXPECT_EQ(codeOf(seen), GetParam().failureCode);
        } else {
            std::vector<Bytes> filled = whole;
            const size_t filledSize = place < headerSize(reply) ? headerSize(reply) : reply.size();
            filled[exchange].resize(place);
            filled[exchange].resize(filledSize, 0);
            gateway_.answer(filled, exchange);
            EXPECT_EQ(seen, play(gateway_.port(), GetParam()));
            if (mustSucceed(GetParam(), place, reply)) {
                EXPECT_EQ(codeOf(seen), STAPI_RC_OK);
            }
        }
    }

    void expectFreshConnectionWorks() {
        const std::vector<Bytes> whole = sessionReplies(GetParam());
        gateway_.answer(whole, whole.size() - 1);
        CutReply uncut = GetParam();
        uncut.exchange = closing;
        const Session session = play(gateway_.port(), uncut);
        EXPECT_EQ(session.openCode, STAPI_RC_OK);
        EXPECT_EQ(session.version, "1.1");
        EXPECT_EQ(session.queryCode, STAPI_RC_OK);
        EXPECT_EQ(session.walkCode, STAPI_RC_END_OF_DATA);
        EXPECT_EQ(session.closeCode, STAPI_RC_OK);
        EXPECT_EQ(stapi::gtlHead, nullptr);
    }

    CuttingGateway gateway_;
};

TEST_P(CutReplies, EndAsWithZerosOrWithTheirCodeAtEveryByte) {
    ASSERT_EQ(setAPITraceLevel(0), STAPI_RC_OK);
    const size_t size = sessionReplies(GetParam()).at(GetParam().exchange).size();
    size_t places = 0;
    while (places < size && !HasFailure()) {
        SCOPED_TRACE("cut behind byte " + std::to_string(places));
        {
            const test_support::AllocationLedger blocks;
            const PlatformLedger platform;
            compareAt(places);
            EXPECT_EQ(stapi::gtlHead, nullptr) << "a connection was left on the list";
            closeAllGatewayConnections();
            EXPECT_EQ(blocks.outstanding(), 0) << "blocks were not released";
            EXPECT_EQ(platform.openSockets(), 0) << "sockets were not closed";
        }
        expectFreshConnectionWorks();
        ++places;
    }
    std::printf("[  PLACES  ] %s\t%zu\n", GetParam().name, places);
    RecordProperty("places", static_cast<int>(places));
    EXPECT_GE(places, recordedPlaces(GetParam().name));
}

INSTANTIATE_TEST_SUITE_P(Exchanges, CutReplies, testing::ValuesIn(cutReplies()),
                         [](const testing::TestParamInfo<CutReply>& tested) { return std::string(tested.param.name); });

}  // namespace

}  // namespace fault_test
