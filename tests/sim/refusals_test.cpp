#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>

#include "conversation.h"

namespace sim_test {

namespace {

using test_support::GatewaySim;

struct Refusal {
    const char* name;
    // Leads the conversation to the place of the deviation and gives the bytes that deviate.
    std::function<Bytes(Conversation&)> deviation;
    // What the line on standard error says behind "gatewaysim: connection 1: refused: ".
    std::string line;
};

void PrintTo(const Refusal& refusal, std::ostream* stream) {
    *stream << refusal.name;
}

class Refused : public testing::TestWithParam<Refusal> {};

TEST_P(Refused, IsNamedAndTheConnectionEnded) {
    const GatewaySim sim;
    Conversation conversation(sim);
    conversation.client().send(GetParam().deviation(conversation));
    conversation.client().finishSending();
    EXPECT_EQ(shown(conversation.client().receiveToTheEnd()), "");
    EXPECT_EQ(withoutTimes(sim.standardError()), "gatewaysim: connection 1: refused: " + GetParam().line + "\n");
}

TEST_P(Refused, LeavesTheSimulatorServing) {
    const GatewaySim sim;
    Conversation conversation(sim);
    conversation.client().send(GetParam().deviation(conversation));
    Conversation next(sim);
    next.open();
    next.init();
    EXPECT_EQ(next.attribute().size(), 56U);
}

// The request with other bytes from this offset on.
Bytes with(Bytes request, size_t offset, const Bytes& replacement) {
    std::copy(replacement.begin(), replacement.end(), request.begin() + static_cast<ptrdiff_t>(offset));
    return request;
}

Bytes cutTo(const Bytes& request, size_t size) {
    return part(request, 0, size);
}

// The request with these bytes behind it and an announced length that takes them in.
Bytes longerBody(const Bytes& request, size_t lengthOffset, const Bytes& surplus) {
    return with(request, lengthOffset, u32(u32At(request, lengthOffset) + surplus.size())) + surplus;
}

Refusal atStart(const char* name, const Bytes& bytes, const std::string& line) {
    return {name, [bytes](Conversation&) { return bytes; }, line};
}

Refusal afterHandshake(const char* name, const Bytes& bytes, const std::string& line) {
    return {name,
            [bytes](Conversation& conversation) {
                conversation.handshake();
                return bytes;
            },
            line};
}

Refusal afterOpening(const char* name, const Bytes& bytes, const std::string& line) {
    return {name,
            [bytes](Conversation& conversation) {
                conversation.open();
                return bytes;
            },
            line};
}

Refusal afterInit(const char* name, const std::function<Bytes(const Bytes& handle)>& bytes, const std::string& line) {
    return {name,
            [bytes](Conversation& conversation) {
                conversation.open();
                conversation.init();
                return bytes(conversation.handle());
            },
            line};
}

Refusal inAttribute(const char* name, size_t offset, const Bytes& replacement, const std::string& line) {
    return afterInit(
        name, [=](const Bytes& handle) { return with(attributeRequest(handle), offset, replacement); }, line);
}

Refusal inStatIds(const char* name, size_t offset, const Bytes& replacement, const std::string& line) {
    return afterInit(
        name,
        [=](const Bytes& handle) { return with(invokeRequest(handle, "STAT_IDS", "daemon"), offset, replacement); },
        line);
}

INSTANTIATE_TEST_SUITE_P(
    Header, Refused,
    testing::Values(
        atStart("Eyecatcher", with(handshakeRequest(), 3, hex("64")),
                "the eyecatcher is 0x47617464 where 0x47617465 belongs"),
        atStart("EyecatcherInTheOtherByteOrder", with(handshakeRequest(), 0, hex("65746147")),
                "the eyecatcher is 0x65746147 where 0x47617465 belongs"),
        atStart("NotThisProtocolAtAll", characters("GET / HTTP/1.1\r\n\r\n"),
                "the eyecatcher is 0x47455420 where 0x47617465 belongs"),
        atStart("Version", with(handshakeRequest(), 4, hex("00700001")),
                "the version is 0x00700001 where 0x00700000 belongs"),
        atStart("FlagsWord1OfBase", with(handshakeRequest(), 8, hex("00000006")),
                "flags word 1 is 0x00000006 where the server program \"BASE\" takes 0x00000005 or 0x0000000A"),
        atStart("WordAtOffset12", with(handshakeRequest(), 12, hex("00000001")),
                "the word at offset 12 is 0x00000001 where 0x00000000 belongs"),
        atStart("WordAtOffset16", with(handshakeRequest(), 16, hex("FFFFFFFF")),
                "the word at offset 16 is 0xFFFFFFFF where 0x00000000 belongs"),
        afterHandshake("CloseWithItsWordsTheOtherWayRound", with(closeRequest(), 12, hex("FFFFFFFF00000000")),
                       "the word at offset 12 is 0xFFFFFFFF where 0x00000000 belongs"),
        afterHandshake("CloseWithoutItsQualifier", with(closeRequest(), 16, hex("00000000")),
                       "the word at offset 16 is 0x00000000 where 0xFFFFFFFF belongs"),
        atStart("NameLengthTooShort", with(handshakeRequest(), 20, hex("00000003")),
                "the server program name's length is 3 where 4 or 5 belongs"),
        atStart("NameLengthTooLong", with(handshakeRequest(), 20, hex("FFFFFFFF")),
                "the server program name's length is 4294967295 where 4 or 5 belongs"),
        atStart("UnknownName", with(handshakeRequest(), 24, hex("626173FF")),
                "the server program name is \"bas\\xFF\" where \"BASE\", \"Auth\" or \"Admin\" belongs"),
        atStart("HeaderFlagByte", with(handshakeRequest(), 28, hex("01")), "the header flag byte is 1 where 0 belongs"),
        atStart("DataLengthOfHandshake", with(handshakeRequest(), 29, hex("00000013")),
                "the data length of a handshake is 19 where 18 belongs"),
        afterHandshake("DataLengthOfClose", with(closeRequest(), 29, hex("00000001")),
                       "the data length of a close request is 1 where 0 belongs"),
        afterHandshake("DataLengthOfAuthorisation", with(firstAuthorisationRequest(), 29, hex("00000008")),
                       "the data length of an authorisation is 8 where 4 or 20 belongs"),
        afterHandshake("FlagsWord1OfAuth", with(firstAuthorisationRequest(), 8, hex("00000005")),
                       "flags word 1 is 0x00000005 where 0x00000001 belongs"),
        afterOpening("FlagsWord1OfAdmin", with(initRequest(), 8, hex("00000000")),
                     "flags word 1 is 0x00000000 where 0x00000001 belongs"),
        afterOpening("DataLengthOfAdminTooShort", with(initRequest(), 30, hex("00000003")),
                     "the data length of an administration request is 3 where 4 to 1048576 belongs"),
        afterOpening("DataLengthOfAdminNegative", with(initRequest(), 30, hex("FFFFFFFF")),
                     "the data length of an administration request is 4294967295 where 4 to 1048576 belongs"),
        atStart("EndInTheHeader", cutTo(handshakeRequest(), 23),
                "the connection ended after 23 of 24 bytes of a request header"),
        atStart("EndBehindTheName", cutTo(handshakeRequest(), 28),
                "the connection ended after 4 of 9 bytes of the end of a request header from the name on"),
        atStart("BytesBehindTheBody", handshakeRequest() + hex("0000"),
                "2 bytes came behind the request before its reply"),
        atStart("SecondRequestBeforeTheReply", handshakeRequest() + firstAuthorisationRequest(),
                "37 bytes came behind the request before its reply"),
        afterHandshake("BytesBehindTheCloseRequest", closeRequest() + hex("47"),
                       "1 bytes came behind the request before its reply"),
        atStart("EndInTheBody", cutTo(handshakeRequest(), 50),
                "the connection ended after 17 of 18 bytes of a request body")),
    [](const auto& tested) { return tested.param.name; });

INSTANTIATE_TEST_SUITE_P(
    HandshakeAndAuthorisation, Refused,
    testing::Values(atStart("Language", with(handshakeRequest(), 35, characters("de")),
                            "the handshake's language is \"de\" where \"en\" belongs"),
                    atStart("Country", with(handshakeRequest(), 39, characters("US")),
                            "the handshake's country is \"US\" where \"GB\" belongs"),
                    atStart("LanguageLength", with(handshakeRequest(), 33, hex("0003")),
                            "the handshake's language is \"en\\x00\" where \"en\" belongs"),
                    atStart("LengthBeyondTheBody", with(handshakeRequest(), 33, hex("FFFF")),
                            "the handshake's language needs 65535 bytes where 16 are left of the body"),
                    atStart("FirstZeroByte", with(handshakeRequest(), 41, hex("01")),
                            "one of the handshake's last ten bytes is 1 where 0 belongs"),
                    atStart("LastZeroByte", with(handshakeRequest(), 50, hex("20")),
                            "one of the handshake's last ten bytes is 32 where 0 belongs"),
                    afterHandshake("StepInAShortBody", with(firstAuthorisationRequest(), 33, hex("00000001")),
                                   "the authorisation step in a body of 4 bytes is 1 where 0 belongs"),
                    Refusal{"StepInALongBody",
                            [](Conversation& conversation) {
                                conversation.handshake();
                                conversation.firstAuthorisation();
                                return with(
                                    secondAuthorisationRequest(conversation.credential(), conversation.qualifier()), 33,
                                    hex("00000002"));
                            },
                            "the authorisation step in a body of 20 bytes is 2 where 1 belongs"},
                    Refusal{"ExtraWord",
                            [](Conversation& conversation) {
                                conversation.handshake();
                                conversation.firstAuthorisation();
                                return with(
                                    secondAuthorisationRequest(conversation.credential(), conversation.qualifier()), 52,
                                    hex("01"));
                            },
                            "the last word of authorisation step 1 is 0x00000001 where 0x00000000 belongs"}),
    [](const auto& tested) { return tested.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Order, Refused,
    testing::Values(atStart("AuthorisationFirst", firstAuthorisationRequest(), "auth0 came where handshake belongs"),
                    atStart("InitFirst", initRequest(), "init came where handshake belongs"),
                    atStart("CloseFirst", closeRequest(), "close came where handshake belongs"),
                    afterHandshake("HandshakeTwice", handshakeRequest(), "handshake came where auth0 belongs"),
                    afterHandshake("SecondStepWithoutTheFirst", secondAuthorisationRequest(Bytes(8, 1), Bytes(4, 1)),
                                   "auth1 came where auth0 belongs"),
                    afterHandshake("InitWithoutAuthorisation", initRequest(), "init came where auth0 belongs"),
                    Refusal{"FirstStepTwice",
                            [](Conversation& conversation) {
                                conversation.handshake();
                                conversation.firstAuthorisation();
                                return firstAuthorisationRequest();
                            },
                            "auth0 came where auth1 belongs"},
                    afterOpening("AuthorisationTwice", firstAuthorisationRequest(), "auth0 came a second time"),
                    afterOpening("HandshakeAfterAuthorisation", handshakeRequest(), "handshake came a second time"),
                    afterOpening("AttributeWithoutInit", attributeRequest(Bytes(4, 0)),
                                 "attribute came without an init of its own before it"),
                    afterOpening("InvokeWithoutInit", invokeRequest(Bytes(4, 0), "STAT_IDS", ""),
                                 "invoke came without an init of its own before it"),
                    Refusal{"InitTwice",
                            [](Conversation& conversation) {
                                conversation.open();
                                conversation.init();
                                return initRequest();
                            },
                            "init came while the admin handle of the init before it is unused"},
                    Refusal{"HandleUsedTwice",
                            [](Conversation& conversation) {
                                conversation.open();
                                conversation.init();
                                conversation.attribute();
                                return attributeRequest(conversation.handle());
                            },
                            "attribute came without an init of its own before it"}),
    [](const auto& tested) { return tested.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Admin, Refused,
    testing::Values(
        afterOpening("CallType", with(initRequest(), 34, hex("00000002")),
                     "the call type is 2 where 0, 1 or 5 belongs"),
        afterOpening("InitWithMore", longerBody(initRequest(), 30, hex("00")),
                     "1 bytes are left over at the end of the body"),
        inAttribute("CallLength", 42, hex("00000053"), "the call length is 83 where 82 belongs"),
        inAttribute("Country", 48, characters("GB"), "the country is \"GB\" where \"US\" belongs"),
        inAttribute("Language", 52, characters("EN"), "the language is \"EN\" where \"en\" belongs"),
        inAttribute("ObjectName", 58, characters("d"),
                    "the object name is \"defaultDomain:ProdId=com.oxa.zul,Activity=Control,type=Stats\" where "
                    "\"DefaultDomain:ProdId=com.oxa.zul,Activity=Control,type=Stats\" belongs"),
        inAttribute("AttributeName", 120, characters("Protocol"),
                    "the attribute name is \"Protocol\" where \"protocol\" belongs"),
        inAttribute("AttributeLength", 118, hex("0009"),
                    "the attribute name needs 9 bytes where 8 are left of the body"),
        inStatIds(
            "OperationName", 120, characters("STAT_ID1"),
            "the operation name is \"STAT_ID1\" where \"RESOURCE_GROUPS\", \"STAT_IDS\" or \"GET_STATS\" belongs"),
        inStatIds(
            "OperationNameInLowerCase", 120, characters("stat_ids"),
            "the operation name is \"stat_ids\" where \"RESOURCE_GROUPS\", \"STAT_IDS\" or \"GET_STATS\" belongs"),
        inStatIds("NumberOfParameters", 128, hex("00000002"), "the number of parameters is 2 where 1 belongs"),
        inStatIds("StreamMagic", 132, hex("ACEC"),
                  "the parameter's stream header is \"\\xAC\\xEC\\x00\\x05t\" where \"\\xAC\\xED\\x00\\x05t\" belongs"),
        inStatIds("StringTag", 136, hex("7C"),
                  "the parameter's stream header is \"\\xAC\\xED\\x00\\x05|\" where \"\\xAC\\xED\\x00\\x05t\" belongs"),
        inStatIds("NumberOfSignatureEntries", 145, hex("00000000"),
                  "the number of signature entries is 0 where 1 belongs"),
        inStatIds("ParameterType", 151, characters("java.lang.Object"),
                  "the parameter type is \"java.lang.Object\" where \"java.lang.String\" belongs"),
        afterInit(
            "Variant",
            [](const Bytes& handle) {
                const Bytes request = attributeRequest(handle);
                const Bytes longer = part(request, 0, 54) + hex("0001 56") + part(request, 56, request.size() - 56);
                return with(with(longer, 30, u32(u32At(request, 30) + 1)), 42, u32(u32At(request, 42) + 1));
            },
            "the variant is \"V\" where \"\" belongs"),
        afterInit(
            "ArgumentForResourceGroups",
            [](const Bytes& handle) { return invokeRequest(handle, "RESOURCE_GROUPS", "daemon"); },
            "the parameter value of RESOURCE_GROUPS is \"daemon\" where \"\" belongs"),
        afterInit(
            "BytesBehindTheType",
            [](const Bytes& handle) {
                Bytes request = longerBody(invokeRequest(handle, "STAT_IDS", "x"), 30, hex("0000"));
                return with(request, 42, u32(u32At(request, 42) + 2));
            },
            "2 bytes are left over at the end of the body"),
        afterInit(
            "EndBeforeTheType",
            [](const Bytes& handle) {
                const Bytes request = invokeRequest(handle, "STAT_IDS", "x");
                const size_t missing = 16;
                Bytes shorter = cutTo(request, request.size() - missing);
                shorter = with(shorter, 30, u32(u32At(request, 30) - missing));
                return with(shorter, 42, u32(u32At(request, 42) - missing));
            },
            "the parameter type needs 16 bytes where 0 are left of the body")),
    [](const auto& tested) { return tested.param.name; });

// A lone deviation whose line holds opaque values that are only known at run time.
std::string refusalOf(const std::function<Bytes(Conversation&)>& deviation) {
    const GatewaySim sim;
    Conversation conversation(sim);
    conversation.client().send(deviation(conversation));
    EXPECT_EQ(shown(conversation.client().receiveToTheEnd()), "");
    return withoutTimes(sim.standardError());
}

Bytes reversed(Bytes bytes) {
    std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

std::string spaced(const Bytes& bytes) {
    std::string spacedBytes;
    for (const uint8_t byte : bytes) {
        spacedBytes += spacedBytes.empty() ? "" : " ";
        spacedBytes += shown({byte});
    }
    return spacedBytes;
}

TEST(RefusedOpaqueValue, CredentialInTheOtherByteOrder) {
    std::string expected;
    const std::string line = refusalOf([&](Conversation& conversation) {
        conversation.handshake();
        conversation.firstAuthorisation();
        expected = "the authorisation credential is " + spaced(reversed(conversation.credential())) + " where " +
                   spaced(conversation.credential()) + " was given out\n";
        return secondAuthorisationRequest(reversed(conversation.credential()), conversation.qualifier());
    });
    EXPECT_EQ(line, "gatewaysim: connection 1: refused: " + expected);
}

TEST(RefusedOpaqueValue, QualifierInTheOtherByteOrder) {
    std::string expected;
    const std::string line = refusalOf([&](Conversation& conversation) {
        conversation.handshake();
        conversation.firstAuthorisation();
        expected = "the authorisation qualifier is " + spaced(reversed(conversation.qualifier())) + " where " +
                   spaced(conversation.qualifier()) + " was given out\n";
        return secondAuthorisationRequest(conversation.credential(), reversed(conversation.qualifier()));
    });
    EXPECT_EQ(line, "gatewaysim: connection 1: refused: " + expected);
}

TEST(RefusedOpaqueValue, HandleInTheOtherByteOrder) {
    std::string expected;
    const std::string line = refusalOf([&](Conversation& conversation) {
        conversation.open();
        conversation.init();
        expected = "the admin handle is " + spaced(reversed(conversation.handle())) + " where " +
                   spaced(conversation.handle()) + " was given out\n";
        return invokeRequest(reversed(conversation.handle()), "GET_STATS", "");
    });
    EXPECT_EQ(line, "gatewaysim: connection 1: refused: " + expected);
}

TEST(RefusedOpaqueValue, HandleOfAnotherConnection) {
    const GatewaySim sim;
    Conversation other(sim);
    other.open();
    other.init();
    Conversation conversation(sim);
    conversation.open();
    conversation.init();
    conversation.client().send(attributeRequest(other.handle()));
    EXPECT_EQ(shown(conversation.client().receiveToTheEnd()), "");
    EXPECT_NE(sim.standardError().find("connection 2: refused: the admin handle is "), std::string::npos);
}

}  // namespace

}  // namespace sim_test
