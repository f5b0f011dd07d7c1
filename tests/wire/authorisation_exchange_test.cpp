#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <string>

#include "exchange.h"
#include "gateway_peer.h"
#include "trace_capture.h"

namespace wire_test {

namespace {

using test_support::ConnectedPeer;
using test_support::TraceCapture;

// One step of an authorisation, from a record whose opaque fields all hold something of their own.
struct Step {
    explicit Step(uint32_t step) {
        record.step = step;
        stapi::prepareHeader(&record.header, 1, 0, "Auth", step == 0 ? 4 : 20);
        std::memset(record.credential, 0xC0, sizeof record.credential);
        std::memset(record.qualifier, 0xD0, sizeof record.qualifier);
        std::memset(record.result, 0xF0, sizeof record.result);
    }
    int32_t run(const Bytes& answer) {
        GatewayReplies replies;
        replies.authorisationInit = answer;
        replies.authorisationFinal = answer;
        ConnectedPeer peer(gatewayScript(replies));
        const int32_t rc = stapi::flowAuthRequest(peer.socket(), &record, &reasons);
        request = peer.requests().at(0);
        return rc;
    }
    Bytes credential() const {
        return bytesAt(record.credential, sizeof record.credential);
    }
    Bytes qualifier() const {
        return bytesAt(record.qualifier, sizeof record.qualifier);
    }
    Bytes result() const {
        return bytesAt(record.result, sizeof record.result);
    }

    stapi::AuthorisationRecord record = {};
    stapi::ReasonsBlock reasons = {};
    Bytes request;
};

const Bytes kOldCredential(8, 0xC0);
const Bytes kOldQualifier(4, 0xD0);
const Bytes kOldResult(8, 0xF0);

TEST(AuthorisationExchange, AnAcceptedFirstStepStoresCredentialAndQualifierByteForByte) {
    Step step(0);
    EXPECT_EQ(step.run(reply("Auth", hex("00000000 00000000 0102030405060708 090A0B0C"))), 0);
    EXPECT_EQ(step.credential(), hex("0102030405060708"));
    EXPECT_EQ(step.qualifier(), hex("090A0B0C"));
    EXPECT_EQ(step.result(), kOldResult);
    EXPECT_EQ(step.record.step, 0U);
    EXPECT_EQ(fieldsOf(step.reasons), (Reasons{0, 0, 0, 0}));
}

TEST(AuthorisationExchange, ASecondStepAnsweredAsSuchStoresTheResultByteForByte) {
    Step step(1);
    EXPECT_EQ(step.run(reply("Auth", hex("00000001 00000000 0102030405060708"))), 0);
    EXPECT_EQ(step.result(), hex("0102030405060708"));
    EXPECT_EQ(step.credential(), kOldCredential);
    EXPECT_EQ(step.qualifier(), kOldQualifier);
    EXPECT_EQ(step.record.step, 1U);
}

TEST(AuthorisationExchange, ASecondStepSendsCredentialQualifierAndTheWordBehindThem) {
    Step step(1);
    std::memset(step.record.extraWord, 0xE0, sizeof step.record.extraWord);
    EXPECT_EQ(step.run(reply("Auth", hex("00000001 00000000 0102030405060708"))), 0);
    const Bytes body(step.request.end() - 20, step.request.end());
    EXPECT_EQ(body, hex("00000001 C0C0C0C0C0C0C0C0 D0D0D0D0 E0E0E0E0"));
}

class Refusal : public testing::TestWithParam<int32_t> {};

TEST_P(Refusal, InAReplyOfStepZeroIsMinus2AndNamesTheFirstStep) {
    for (const uint32_t sentStep : {0U, 1U}) {
        const TraceCapture trace(1);
        Step step(sentStep);
        const Bytes body = BytesWriter().u32(0).u32(static_cast<uint32_t>(GetParam())).fill(12, 0x55).bytes();
        EXPECT_EQ(step.run(reply("Auth", body)), -2);
        EXPECT_EQ(fieldsOf(step.reasons), (Reasons{0, 0, GetParam(), 0}));
        EXPECT_EQ(step.credential(), kOldCredential);
        EXPECT_EQ(step.qualifier(), kOldQualifier);
        EXPECT_EQ(
            trace.lines(),
            (std::vector<std::string>{"3212 *EXC* stapi_zul_socketcomms.flowAuthRequestAuth_Init request failed rc=" +
                                      std::to_string(GetParam())}));
    }
}

INSTANTIATE_TEST_SUITE_P(Codes, Refusal, testing::Values(1, 42, -1, INT_MAX, INT_MIN));

class NonZeroStep : public testing::TestWithParam<uint32_t> {};

TEST_P(NonZeroStep, InTheReplyMeansThatTheReturnCodeIsNotExamined) {
    const TraceCapture trace(1);
    Step step(1);
    const Bytes body = BytesWriter().u32(GetParam()).u32(99).raw("RESULT!!").bytes();
    EXPECT_EQ(step.run(reply("Auth", body)), 0);
    EXPECT_EQ(step.record.step, GetParam());
    EXPECT_EQ(step.result(), BytesWriter().raw("RESULT!!").bytes());
    EXPECT_EQ(fieldsOf(step.reasons), (Reasons{0, 0, 0, 0}));
    EXPECT_TRUE(trace.lines().empty());
}

INSTANTIATE_TEST_SUITE_P(Steps, NonZeroStep, testing::Values(1U, 2U, 0x80000000U, 0xFFFFFFFFU));

TEST(AuthorisationExchange, ASecondStepAnsweredWithStepZeroIsJudgedAsAFirstStep) {
    Step step(1);
    EXPECT_EQ(step.run(reply("Auth", hex("00000000 00000000 0102030405060708 090A0B0C"))), 0);
    EXPECT_EQ(step.credential(), hex("0102030405060708"));
    EXPECT_EQ(step.qualifier(), hex("090A0B0C"));
    EXPECT_EQ(step.result(), kOldResult);
}

// The step is then the request's eyecatcher, the return code its version, and the result its first two flags words.
TEST(AuthorisationExchange, AReplyWithoutABodyReadsTheRequestsOwnBytes) {
    for (const uint32_t sentStep : {0U, 1U}) {
        Step step(sentStep);
        EXPECT_EQ(step.run(reply("Auth", {})), 0);
        EXPECT_EQ(step.record.step, 0x47617465U);
        EXPECT_EQ(step.record.returnCode, 0x00700000U);
        EXPECT_EQ(step.result(), hex("00000001 00000000"));
        EXPECT_EQ(step.credential(), kOldCredential);
        EXPECT_EQ(fieldsOf(step.reasons), (Reasons{0, 0, 0, 0}));
    }
}

TEST(AuthorisationExchange, AReplyCodeInTheHeaderLeavesTheRecordAsItWas) {
    Step step(0);
    EXPECT_EQ(step.run(reply("Auth", authorisationInitBody(), 61444)), 61444);
    EXPECT_EQ(fieldsOf(step.reasons), (Reasons{0, 61444, 0, 0}));
    EXPECT_EQ(step.credential(), kOldCredential);
    EXPECT_EQ(step.qualifier(), kOldQualifier);
}

struct ShortCase {
    const char* step;  // reply step and return code
    size_t needed;
};

class ShortAuthorisationReply : public testing::TestWithParam<ShortCase> {};

TEST_P(ShortAuthorisationReply, IsMinus122BelowTheFieldsThatAreRead) {
    Bytes whole = hex(GetParam().step);
    whole.resize(GetParam().needed, 0x55);
    for (size_t size = 1; size < GetParam().needed; ++size) {
        Step step(0);
        EXPECT_EQ(step.run(reply("Auth", Bytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size)))), -122)
            << size << " bytes";
        EXPECT_EQ(fieldsOf(step.reasons), (Reasons{0, 0, 0, 0}));
        EXPECT_EQ(step.credential(), kOldCredential);
        EXPECT_EQ(step.qualifier(), kOldQualifier);
    }
    Step step(0);
    EXPECT_EQ(step.run(reply("Auth", whole)), 0);
}

INSTANTIATE_TEST_SUITE_P(Steps, ShortAuthorisationReply,
                         testing::Values(ShortCase{"00000000 00000000", 20}, ShortCase{"00000001 00000000", 16}));

TEST(AuthorisationExchange, ARefusalNeedsTheFirstEightBytesOnly) {
    Step step(0);
    EXPECT_EQ(step.run(reply("Auth", hex("00000000 00000005"))), -2);
    EXPECT_EQ(step.reasons.authRc, 5);
}

TEST(AuthorisationExchange, BytesBehindTheReplyMeanNothing) {
    Step step(0);
    EXPECT_EQ(step.run(reply("Auth", hex("00000000 00000000 0102030405060708 090A0B0C FFFFFFFF"))), 0);
    EXPECT_EQ(step.qualifier(), hex("090A0B0C"));
}

TEST(AuthorisationExchange, AStepOtherThanOneSendsTheStepAlone) {
    Step step(0);
    EXPECT_EQ(step.run(reply("Auth", authorisationInitBody())), 0);
    EXPECT_EQ(step.request.size(), 37U);
    EXPECT_EQ(Bytes(step.request.end() - 4, step.request.end()), hex("00000000"));
}

}  // namespace

}  // namespace wire_test
