#include "hostile.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>

namespace gatewaysim {

namespace {

// What a client sees of a behaviour, apart from the explanation.
struct Outcome {
    const char* queries;
    const char* openCodes;
    const char* queryCodes;
    const char* connection;
    const char* ending;
};

// No connection: the handshake or the authorisation failed.
constexpr Outcome kNotConnected{"none", "-118", "", "never-opened", "by-itself"};
// No connection: the daemon did not tell its protocol version.
constexpr Outcome kNoVersion{"none", "-122", "", "never-opened", "by-itself"};
constexpr Outcome kNoVersionLost{"none", "-102", "", "never-opened", "by-itself"};
constexpr Outcome kNoVersionMemory{"none", "-111", "", "never-opened", "by-itself"};
// No connection: the client is a reply behind, and gives up as soon as one makes no sense to it or the connection ends.
constexpr Outcome kOutOfStep{"none", "-102 -118 -122", "", "never-opened", "by-itself"};
// The query fails and takes the connection with it.
constexpr Outcome kQueryFails{"all", "0", "-122", "removed", "by-itself"};
constexpr Outcome kQueryLost{"all", "0", "-102", "removed", "by-itself"};
// Everything works, whatever the result set then holds.
constexpr Outcome kHarmless{"all", "0", "0", "kept", "by-itself"};
// The reply is misread: what follows the field decides whether it still makes sense.
constexpr Outcome kMisread{"all", "0", "0 -122", "either", "by-itself"};
// Waits without end.
constexpr Outcome kConnectHangs{"none", "-118", "", "never-opened", "by-close"};
constexpr Outcome kVersionHangs{"none", "-102 -118 -122", "", "never-opened", "by-close"};
constexpr Outcome kQueryHangs{"all", "0", "-101", "removed", "by-close"};
constexpr Outcome kCloseHangs{"groups", "0", "0", "kept", "by-daemon"};

constexpr Outcome askedOnlyFor(const char* queries, Outcome outcome) {
    outcome.queries = queries;
    return outcome;
}

struct Row {
    const char* name;
    const char* exchange;
    Outcome outcome;
    const char* faults;
    const char* explanation;
};

constexpr std::array kRows{
    // Silence: the connection stays, nothing comes.
    Row{"silent-at-accept", "accept", kConnectHangs, "accept:stall", "accepts the connection and does nothing more"},
    Row{"silent-at-handshake", "handshake", kConnectHangs, "handshake:stall", "never answers the handshake"},
    Row{"silent-at-auth0", "auth0", kConnectHangs, "auth0:stall", "never answers the first authorisation step"},
    Row{"silent-at-auth1", "auth1", kConnectHangs, "auth1:stall", "never answers the second authorisation step"},
    Row{"silent-at-opening-init", "init", kVersionHangs, "init#1:stall", "never answers the first init"},
    Row{"silent-at-attribute", "attribute", kVersionHangs, "attribute:stall", "never tells its protocol version"},
    Row{"silent-at-query-init", "init", kQueryHangs, "init#2:stall", "never answers the init of a query"},
    Row{"silent-at-invoke", "invoke", kQueryHangs, "invoke:stall", "never answers a query"},
    Row{"silent-at-close", "close", kCloseHangs, "close:stall", "never answers the close request"},
    Row{"silent-in-handshake-header", "handshake", kConnectHangs, "handshake:silence=10",
        "falls silent within the header of the handshake's reply"},
    Row{"silent-in-handshake-body", "handshake", kConnectHangs, "handshake:silence=40",
        "falls silent within the body of the handshake's reply"},
    Row{"silent-in-auth0-body", "auth0", kConnectHangs, "auth0:silence=45",
        "falls silent within the credential of the first authorisation step"},
    Row{"silent-in-auth1-body", "auth1", kVersionHangs, "auth1:silence=45",
        "falls silent within the body of the second authorisation step"},
    Row{"silent-in-opening-init", "init", kVersionHangs, "init#1:silence=44",
        "falls silent within the handle of the first init"},
    Row{"silent-in-version-text", "attribute", kVersionHangs, "attribute:silence=53",
        "falls silent within the protocol version's text"},
    Row{"silent-in-query-init", "init", kQueryHangs, "init#2:silence=44",
        "falls silent within the handle of a query's init"},
    Row{"silent-in-answer-header", "invoke", kQueryHangs, "invoke:silence=20",
        "falls silent within the header of a query's answer"},
    Row{"silent-in-answer", "invoke", kQueryHangs, "invoke:silence=60",
        "falls silent within the body of a query's answer"},
    Row{"silent-before-last-byte", "invoke", askedOnlyFor("groups", kQueryHangs), "invoke:silence=277",
        "falls silent one byte before the end of the answer"},
    Row{"silent-in-close-reply", "close", kCloseHangs, "close:silence=12",
        "falls silent within the reply to the close request"},

    // Closing.
    Row{"closes-at-accept", "accept", kNotConnected, "accept:close", "closes the connection that it accepted"},
    Row{"closes-at-handshake", "handshake", kNotConnected, "handshake:close", "closes instead of the handshake"},
    Row{"closes-at-auth0", "auth0", kNotConnected, "auth0:close", "closes instead of the first authorisation step"},
    Row{"closes-at-auth1", "auth1", kNotConnected, "auth1:close", "closes instead of the second authorisation step"},
    Row{"closes-at-opening-init", "init", kNoVersion, "init#1:close", "closes instead of the first init"},
    Row{"closes-at-attribute", "attribute", kNoVersion, "attribute:close", "closes instead of telling its version"},
    Row{"closes-at-query-init", "init", kQueryFails, "init#2:close", "closes instead of the init of a query"},
    Row{"closes-at-invoke", "invoke", kQueryFails, "invoke:close", "closes instead of answering a query"},
    Row{"closes-at-close", "close", kHarmless, "close:close", "closes without a reply to the close request"},
    Row{"half-closes-after-handshake", "handshake", kNotConnected, "handshake:cut=1000000",
        "ends its own stream behind the handshake, and goes on reading"},
    Row{"half-closes-after-opening", "attribute", kQueryFails, "attribute:cut=1000000",
        "ends its own stream behind the opening, and goes on reading"},
    Row{"half-closes-after-answer", "invoke", kHarmless, "invoke:cut=1000000",
        "ends its own stream behind the answer, and goes on reading"},

    // A clean end in the middle: what is missing reads as zero.
    Row{"cut-in-handshake-eyecatcher", "handshake", kNotConnected, "handshake:cut=3",
        "ends its stream within the handshake's eyecatcher"},
    Row{"cut-in-handshake-body", "handshake", kNotConnected, "handshake:cut=40",
        "ends its stream within the handshake's body"},
    Row{"cut-in-auth0-header", "auth0", kNotConnected, "auth0:cut=10",
        "ends its stream within the header of the first authorisation step"},
    Row{"cut-in-auth0-credential", "auth0", kNotConnected, "auth0:cut=45", "ends its stream within the credential"},
    Row{"cut-in-auth1-body", "auth1", kNoVersion, "auth1:cut=45",
        "ends its stream within the second authorisation step"},
    Row{"cut-in-opening-init", "init", kNoVersion, "init#1:cut=44", "ends its stream within the first handle"},
    Row{"cut-in-version-text", "attribute", kQueryFails, "attribute:cut=53",
        "ends its stream within the version's text: the opening succeeds, the next query fails"},
    Row{"cut-in-query-init", "init", kQueryFails, "init#2:cut=44", "ends its stream within the handle of a query"},
    Row{"cut-in-answer-eyecatcher", "invoke", kQueryFails, "invoke:cut=3",
        "ends its stream within the eyecatcher of an answer"},
    Row{"cut-in-answer-header", "invoke", kQueryFails, "invoke:cut=20",
        "ends its stream within the header of an answer"},
    Row{"cut-in-answer", "invoke", kHarmless, "invoke:cut=100",
        "ends its stream within an answer: a success with empty texts"},
    Row{"cut-before-last-byte", "invoke", askedOnlyFor("groups", kHarmless), "invoke:cut=277",
        "ends its stream one byte before the end of an answer"},

    // Resets.
    Row{"resets-at-accept", "accept", kNotConnected, "accept:reset", "resets the connection that it accepted"},
    Row{"resets-at-handshake", "handshake", kNotConnected, "handshake:reset", "resets instead of the handshake"},
    Row{"resets-at-auth0", "auth0", kNotConnected, "auth0:reset", "resets instead of the first authorisation step"},
    Row{"resets-at-auth1", "auth1", kNotConnected, "auth1:reset", "resets instead of the second authorisation step"},
    Row{"resets-at-attribute", "attribute", kNoVersion, "attribute:reset", "resets instead of telling its version"},
    Row{"resets-at-query-init", "init", kQueryFails, "init#2:reset", "resets instead of the init of a query"},
    Row{"resets-at-invoke", "invoke", kQueryFails, "invoke:reset", "resets instead of answering a query"},
    Row{"resets-at-close", "close", kHarmless, "close:reset", "resets instead of answering the close request"},
    Row{"resets-in-handshake", "handshake", kNotConnected, "handshake:reset-after=20",
        "resets within the handshake's header"},
    // Where a system shows a reset as the end of the stream, this is an answer that was cut off.
    Row{"resets-in-answer", "invoke", kMisread, "invoke:reset-after=60", "resets within the body of an answer"},

    // Slowness.
    Row{"trickles-the-opening", "handshake", askedOnlyFor("groups", kHarmless),
        "handshake:trickle=2 auth0:trickle=2 auth1:trickle=2 init#1:trickle=2 attribute:trickle=2",
        "opens with single bytes, 2 milliseconds apart"},
    Row{"trickles-an-answer", "invoke", askedOnlyFor("groups", kHarmless), "init#2:trickle=2 invoke:trickle=2",
        "answers with single bytes, 2 milliseconds apart"},
    Row{"trickles-and-stops", "invoke", askedOnlyFor("groups", kQueryHangs), "invoke:trickle=2 invoke:silence=100",
        "answers with single bytes, and falls silent within the answer"},
    Row{"single-bytes", "invoke", kHarmless, "any:trickle", "sends all its replies in single bytes"},

    // More than was asked for.
    Row{"floods-at-accept", "accept", kNotConnected, "accept:flood=4194304",
        "sends four million bytes before the first request"},
    Row{"floods-after-handshake", "handshake", kNotConnected, "handshake:flood=4194304",
        "sends four million bytes behind the handshake"},
    Row{"floods-after-opening", "attribute", kQueryFails, "attribute:flood=4194304",
        "sends four million bytes behind the opening"},
    Row{"floods-after-query-init", "init", kQueryFails, "init#2:flood=4194304",
        "sends four million bytes behind the init of a query"},
    Row{"floods-after-answer", "invoke", kHarmless, "invoke:flood=4194304",
        "sends four million bytes behind an answer"},
    Row{"floods-after-close", "close", kHarmless, "close:flood=4194304",
        "sends four million bytes behind the reply to the close request"},
    Row{"answers-handshake-twice", "handshake", kOutOfStep, "handshake:twice",
        "sends the handshake's reply twice: each step gets the reply to the one before"},
    Row{"answers-query-init-twice", "init", kQueryFails, "init#2:twice",
        "sends the reply to a query's init twice: the query gets the second"},
    Row{"answers-query-twice", "invoke", kHarmless, "invoke:twice", "sends the answer twice"},
    Row{"extends-handshake", "handshake", kHarmless, "handshake:extend-body=100000",
        "a hundred thousand bytes more in the handshake's body"},
    Row{"extends-answer", "invoke", kHarmless, "invoke:extend-body=1000000",
        "a million bytes more behind the answer's payload"},
    Row{"announces-one-byte-less", "invoke", kHarmless, "invoke:longer=1",
        "announces an answer one byte shorter than it is"},
    Row{"announces-three-bytes-less", "invoke", kQueryFails, "invoke:longer=3",
        "announces an answer three bytes shorter than it is"},

    // Less.
    Row{"empty-auth0", "auth0", kNotConnected, "auth0:empty", "a first authorisation step without a body"},
    Row{"truncated-auth0", "auth0", kNotConnected, "auth0:truncate-body=19",
        "the first authorisation step's body without its last byte"},
    Row{"truncated-auth1", "auth1", kNotConnected, "auth1:truncate-body=15",
        "the second authorisation step's body without its last byte"},
    Row{"truncated-opening-init", "init", kNoVersion, "init#1:truncate-body=11", "a handle without its last byte"},
    Row{"truncated-version", "attribute", kNoVersion, "attribute:truncate-body=21",
        "a version's text without its last byte"},
    Row{"empty-answer", "invoke", kQueryFails, "invoke:empty", "an answer without a body"},
    Row{"answer-below-admin-header", "invoke", kQueryFails, "invoke:truncate-body=8",
        "an answer one byte shorter than the fields before its payload"},
    Row{"answer-without-payload", "invoke", kQueryFails, "invoke:truncate-body=9", "an answer without a payload"},
    Row{"truncated-answer", "invoke", kQueryFails, "invoke:truncate-body=120",
        "an answer cut off, with a data length that says so"},

    // Wrong headers.
    Row{"wrong-eyecatcher-at-handshake", "handshake", kNotConnected, "handshake:eyecatcher", "a wrong eyecatcher"},
    Row{"wrong-eyecatcher-at-auth0", "auth0", kNotConnected, "auth0:eyecatcher", "a wrong eyecatcher"},
    Row{"wrong-eyecatcher-at-auth1", "auth1", kNotConnected, "auth1:eyecatcher", "a wrong eyecatcher"},
    Row{"wrong-eyecatcher-at-opening-init", "init", kNoVersion, "init#1:eyecatcher", "a wrong eyecatcher"},
    Row{"wrong-eyecatcher-at-attribute", "attribute", kNoVersion, "attribute:eyecatcher", "a wrong eyecatcher"},
    Row{"wrong-eyecatcher-at-query-init", "init", kQueryFails, "init#2:eyecatcher", "a wrong eyecatcher"},
    Row{"wrong-eyecatcher-at-invoke", "invoke", kQueryFails, "invoke:eyecatcher", "a wrong eyecatcher"},
    Row{"wrong-eyecatcher-at-close", "close", kHarmless, "close:eyecatcher", "a wrong eyecatcher"},
    Row{"version-zero", "handshake", kHarmless, "any:version=0", "protocol version 0 in every header"},
    Row{"version-highest", "handshake", kHarmless, "any:version=0xFFFFFFFF",
        "protocol version 0xFFFFFFFF in every header"},
    Row{"flags-highest", "handshake", kHarmless, "any:flags=0xFFFFFFFF any:flag-byte=255",
        "all flags set in every header"},

    // Codes.
    Row{"handshake-code", "handshake", kNotConnected, "handshake:code=1", "a return code for the handshake"},
    Row{"auth0-code-lowest", "auth0", kNotConnected, "auth0:code=0x80000000",
        "the lowest return code for the first authorisation step"},
    Row{"auth0-refused", "auth0", kNotConnected, "auth0:refuse=13", "refuses the first authorisation step"},
    Row{"auth0-refused-lowest", "auth0", kNotConnected, "auth0:refuse=0x80000000",
        "refuses the first authorisation step with the lowest code"},
    Row{"auth1-refused", "auth1", kNotConnected, "auth1:refuse=-1", "refuses the second authorisation step with -1"},
    Row{"attribute-code-minus-1", "attribute", kNoVersionLost, "attribute:code=-1",
        "the return code -1 for the version, as if the connection had gone"},
    Row{"attribute-admin-code", "attribute", kNoVersion, "attribute:admin-code=1",
        "an admin return code for the version"},
    Row{"attribute-exception", "attribute", kNoVersion, "attribute:exception", "an exception for the version"},
    Row{"invoke-code-minus-1", "invoke", kQueryLost, "invoke:code=-1",
        "the return code -1 for a query, as if the connection had gone"},
    Row{"invoke-code-61444", "invoke", kQueryFails, "invoke:code=61444", "the return code 61444 for a query"},
    Row{"invoke-code-highest", "invoke", kQueryFails, "invoke:code=0x7FFFFFFF", "the highest return code for a query"},
    Row{"invoke-code-lowest", "invoke", kQueryFails, "invoke:code=0x80000000", "the lowest return code for a query"},
    Row{"invoke-admin-code", "invoke", kQueryFails, "invoke:admin-code=1", "an admin return code for a query"},
    Row{"invoke-admin-code-minus-1", "invoke", kQueryFails, "invoke:admin-code=-1",
        "the admin return code -1 for a query"},
    Row{"invoke-admin-code-highest", "invoke", kQueryFails, "invoke:admin-code=0x7FFFFFFF",
        "the highest admin return code for a query"},
    Row{"invoke-admin-code-lowest", "invoke", kQueryFails, "invoke:admin-code=0x80000000",
        "the lowest admin return code for a query"},
    Row{"init-admin-code-lowest", "init", kQueryFails, "init#2:admin-code=0x80000000",
        "the lowest admin return code for the init of a query"},
    Row{"invoke-exception", "invoke", kQueryFails, "invoke:exception", "an exception for a query"},

    // Replies of another exchange.
    Row{"auth0-says-step-7", "auth0", kNotConnected, "auth0:call-type=7", "the first authorisation says it is step 7"},
    Row{"auth1-says-step-0", "auth1", kNotConnected, "auth1:call-type=0",
        "the second authorisation says it is step 0, whose reply is longer"},
    Row{"init-says-invoke", "init", kQueryFails, "init#2:call-type=5", "the init of a query says it is an invoke"},
    Row{"invoke-says-init", "invoke", kQueryFails, "invoke:call-type=0", "an answer says it is an init"},
    Row{"invoke-says-unknown", "invoke", kHarmless, "invoke:call-type=0xFFFFFFFF",
        "an answer says it is of an unknown call type"},
    Row{"handshake-gets-auth0", "handshake", kHarmless, "handshake:reply-of=auth0",
        "the handshake gets the reply of an authorisation"},
    Row{"auth0-gets-handshake", "auth0", kNotConnected, "auth0:reply-of=handshake",
        "the first authorisation step gets the reply of a handshake"},
    Row{"auth0-gets-auth1", "auth0", kNotConnected, "auth0:reply-of=auth1",
        "the first authorisation step gets the reply of the second"},
    Row{"auth1-gets-auth0", "auth1", kHarmless, "auth1:reply-of=auth0",
        "the second authorisation step gets the reply of the first"},
    Row{"auth1-gets-close", "auth1", kHarmless, "auth1:reply-of=close",
        "the second authorisation step gets the reply of a close request"},
    Row{"attribute-gets-init", "attribute", kNoVersion, "attribute:reply-of=init",
        "the version gets the reply of an init"},
    Row{"attribute-gets-invoke", "attribute", kNoVersion, "attribute:reply-of=invoke",
        "the version gets the answer of a query"},
    Row{"query-init-gets-auth0", "init", kQueryFails, "init#2:reply-of=auth0 init#2:cut=1000000",
        "the init of a query gets the reply of an authorisation, one byte short"},
    Row{"invoke-gets-init", "invoke", kQueryFails, "invoke:reply-of=init", "a query gets the reply of an init"},
    Row{"invoke-gets-attribute", "invoke", kQueryFails, "invoke:reply-of=attribute", "a query gets the version"},
    Row{"invoke-gets-close", "invoke", kQueryFails, "invoke:reply-of=close invoke:cut=1000000",
        "a query gets the reply of a close request, one byte short"},
    Row{"invoke-gets-other-query", "invoke", kMisread, "invoke:reply-of=invoke",
        "a query for ids gets statistics, and the reverse"},

    // Texts.
    Row{"escapes-in-version", "attribute", kHarmless, "attribute:texts=escapes", "a version with terminal escapes"},
    Row{"formats-in-version", "attribute", kHarmless, "attribute:texts=formats", "a version with format conversions"},
    Row{"bad-utf8-in-version", "attribute", kHarmless, "attribute:texts=bad-utf8",
        "a version with bytes that are no UTF-8"},
    Row{"zeros-in-version", "attribute", kHarmless, "attribute:texts=zeros", "a version with zero bytes"},
    Row{"escapes-in-answer", "invoke", kHarmless, "invoke:texts=escapes",
        "terminal escapes in every element, id and value"},
    Row{"formats-in-answer", "invoke", kHarmless, "invoke:texts=formats",
        "format conversions in every element, id and value"},
    Row{"bad-utf8-in-answer", "invoke", kHarmless, "invoke:texts=bad-utf8",
        "bytes that are no UTF-8 in every element, id and value"},
    Row{"zeros-in-answer", "invoke", kHarmless, "invoke:texts=zeros", "zero bytes in every element, id and value"},
    Row{"longest-version", "attribute", kHarmless, "attribute:version-size=32765",
        "the longest version that the library takes"},
    Row{"version-too-long", "attribute", kNoVersionMemory, "attribute:version-size=32766",
        "a version one byte longer than the library takes"},
    Row{"version-of-65535-bytes", "attribute", kNoVersionMemory, "attribute:version-size=65535",
        "the longest version that the protocol knows"},
};

// A length or count that is struck with one value after the other.
struct StruckField {
    const char* name;  // of the behaviour, before the value
    const char* exchange;
    const char* fault;
    const char* also;  // further faults
    const char* explanation;
};

struct StrikingValue {
    const char* text;
    Outcome outcome;
};

// 33 is one less than the header of an admin reply.
constexpr std::array kNameLengths{
    // Decoded where this length says, the data length is more than a thousand million bytes.
    StrikingValue{"0", kHarmless},
    StrikingValue{"33", kQueryFails},
    StrikingValue{"0x7FFF", kQueryFails},
    StrikingValue{"0x8000", kQueryFails},
    StrikingValue{"0xFFFF", kQueryFails},
    StrikingValue{"0x7FFFFFFF", kQueryFails},
    StrikingValue{"0x80000000", kQueryFails},
    StrikingValue{"0xFFFFFFFF", kQueryFails},
};
constexpr std::array kHandshakeNameLengths{
    StrikingValue{"0x7FFFFFFF", kNotConnected},
    StrikingValue{"0xFFFFFFFF", kNotConnected},
};
// Negative lengths are taken as 0. What is announced and does not come reads as zero, if there is the memory for it.
constexpr std::array kAnswerLengths{
    StrikingValue{"0", kQueryFails},          StrikingValue{"33", kQueryFails},
    StrikingValue{"0x7FFF", kHarmless},       StrikingValue{"0x8000", kHarmless},
    StrikingValue{"0xFFFF", kHarmless},       StrikingValue{"0x7FFFFFFF", kMisread},
    StrikingValue{"0x80000000", kQueryFails}, StrikingValue{"0xFFFFFFFF", kQueryFails},
};
constexpr std::array kConnectLengths{
    StrikingValue{"0x7FFFFFFF", kNotConnected},
    StrikingValue{"0x80000000", kNotConnected},
    StrikingValue{"0xFFFFFFFF", kNotConnected},
};
constexpr std::array kVersionReplyLengths{
    StrikingValue{"0x7FFFFFFF", kQueryFails},
    StrikingValue{"0x80000000", kNoVersion},
    StrikingValue{"0xFFFFFFFF", kNoVersion},
};
constexpr std::array kLastAuthorisationLengths{
    StrikingValue{"0x7FFFFFFF", kNoVersion},
    StrikingValue{"0x80000000", kNoVersion},
    StrikingValue{"0xFFFFFFFF", kNoVersion},
};
constexpr std::array kInitLengths{
    StrikingValue{"0x7FFFFFFF", kQueryFails},
    StrikingValue{"0x80000000", kQueryFails},
    StrikingValue{"0xFFFFFFFF", kQueryFails},
};
constexpr std::array kCloseLengths{
    StrikingValue{"0x7FFFFFFF", kHarmless},
    StrikingValue{"0x80000000", kHarmless},
    StrikingValue{"0xFFFFFFFF", kHarmless},
};
constexpr std::array kCounts{
    StrikingValue{"0", kMisread},
    StrikingValue{"33", kMisread},
    StrikingValue{"0x7FFF", kQueryFails},
    StrikingValue{"0x8000", kQueryFails},
    StrikingValue{"0xFFFF", kQueryFails},
    StrikingValue{"0x7FFFFFFF", kQueryFails},
    StrikingValue{"0x80000000", kQueryFails},
    StrikingValue{"0xFFFFFFFF", kQueryFails},
};
constexpr std::array kResponseCounts{
    StrikingValue{"0", kHarmless},
    StrikingValue{"33", kQueryFails},
    StrikingValue{"0x7FFF", kQueryFails},
    StrikingValue{"0x8000", kQueryFails},
    StrikingValue{"0xFFFF", kQueryFails},
    StrikingValue{"0x7FFFFFFF", kQueryFails},
    StrikingValue{"0x80000000", kQueryFails},
    StrikingValue{"0xFFFFFFFF", kQueryFails},
};
constexpr std::array kTextLengths{
    StrikingValue{"0", kMisread},         StrikingValue{"33", kMisread},        StrikingValue{"0x7FFF", kQueryFails},
    StrikingValue{"0x8000", kQueryFails}, StrikingValue{"0xFFFF", kQueryFails},
};
// Nobody reads these lengths.
constexpr std::array kBlockLengths{
    StrikingValue{"0", kHarmless},
    StrikingValue{"0x7FFFFFFF", kHarmless},
    StrikingValue{"0x80000000", kHarmless},
    StrikingValue{"0xFFFFFFFF", kHarmless},
};
// Not every query has a value that is long enough to come in several blocks.
constexpr std::array kChunkLengths{
    StrikingValue{"0", kMisread},      StrikingValue{"33", kMisread},     StrikingValue{"0x7FFF", kMisread},
    StrikingValue{"0x8000", kMisread}, StrikingValue{"0xFFFF", kMisread},
};
constexpr std::array kVersionLengths{
    StrikingValue{"0", kHarmless},       StrikingValue{"33", kNoVersion},     StrikingValue{"0x7FFF", kNoVersion},
    StrikingValue{"0x8000", kNoVersion}, StrikingValue{"0xFFFF", kNoVersion},
};

struct Sweep {
    StruckField field;
    const char* queries;  // those that meet the field, null: as the outcome says
    std::span<const StrikingValue> values;
};

constexpr const char* kAll = nullptr;

constexpr std::array kSweeps{
    Sweep{{"name-length", "invoke", "invoke:name-length", "invoke:cut=1000000",
           "the answer's server program name length"},
          kAll,
          kNameLengths},
    Sweep{{"handshake-name-length", "handshake", "handshake:name-length", "",
           "the handshake's server program name length"},
          kAll,
          kHandshakeNameLengths},
    Sweep{{"data-length", "invoke", "invoke:data-length", "", "the answer's data length"}, kAll, kAnswerLengths},
    Sweep{{"handshake-data-length", "handshake", "handshake:data-length", "", "the handshake's data length"},
          kAll,
          kConnectLengths},
    Sweep{{"auth0-data-length", "auth0", "auth0:data-length", "", "the first authorisation step's data length"},
          kAll,
          kConnectLengths},
    Sweep{{"auth1-data-length", "auth1", "auth1:data-length", "", "the second authorisation step's data length"},
          kAll,
          kLastAuthorisationLengths},
    Sweep{{"init-data-length", "init", "init#2:data-length", "", "the data length of a query's init"},
          kAll,
          kInitLengths},
    Sweep{{"close-data-length", "close", "close:data-length", "", "the data length of the reply to the close request"},
          kAll,
          kCloseLengths},
    Sweep{{"version-data-length", "attribute", "attribute:data-length", "", "the data length of the version's reply"},
          kAll,
          kVersionReplyLengths},
    Sweep{{"version-length", "attribute", "attribute:version-length", "", "the version text's length"},
          kAll,
          kVersionLengths},
    Sweep{{"response-count", "invoke", "invoke:response-count", "", "the number of responses"}, kAll, kResponseCounts},
    Sweep{{"class-name-length", "invoke", "invoke:class-name-length", "", "the first class name's length"},
          kAll,
          kTextLengths},
    Sweep{{"block-length", "invoke", "invoke:block-length", "", "the first block's length"}, kAll, kBlockLengths},
    Sweep{{"element-length", "invoke", "invoke:element-length", "", "the first query element's length"},
          kAll,
          kTextLengths},
    Sweep{{"id-count", "invoke", "invoke:id-count", "", "the first number of ids"}, "ids", kCounts},
    Sweep{{"id-length", "invoke", "invoke:id-length", "", "the first id's length"}, "ids", kTextLengths},
    Sweep{{"statistic-count", "invoke", "invoke:statistic-count", "", "the first number of statistics"},
          "statistics",
          kCounts},
    Sweep{{"statistic-id-length", "invoke", "invoke:statistic-id-length", "", "the first statistic id's length"},
          "statistics",
          kTextLengths},
    Sweep{
        {"value-length", "invoke", "invoke:value-length", "", "the first value's length"}, "statistics", kTextLengths},
    Sweep{{"chunk-length", "invoke", "invoke:chunk-length", "", "the first block's length of the first long value"},
          "statistics",
          kChunkLengths},
};

HostileBehaviour behaviourOf(std::string name, const char* exchange, const Outcome& outcome, std::string faults,
                             std::string explanation) {
    return {std::move(name),    exchange,       outcome.queries,   outcome.openCodes,     outcome.queryCodes,
            outcome.connection, outcome.ending, std::move(faults), std::move(explanation)};
}

HostileBehaviour behaviourOf(const Sweep& sweep, const StrikingValue& value) {
    const StruckField& field = sweep.field;
    Outcome outcome = value.outcome;
    if (sweep.queries != nullptr) {
        outcome.queries = sweep.queries;
    }
    std::string faults = std::string(field.fault) + "=" + value.text;
    faults += *field.also == '\0' ? "" : std::string(" ") + field.also;
    return behaviourOf(std::string(field.name) + "-" + value.text, field.exchange, outcome, std::move(faults),
                       std::string(field.explanation) + " is " + value.text);
}

}  // namespace

std::vector<HostileBehaviour> hostileBehaviours() {
    std::vector<HostileBehaviour> behaviours;
    behaviours.reserve(2 * kRows.size());
    for (const Row& row : kRows) {
        behaviours.push_back(behaviourOf(row.name, row.exchange, row.outcome, row.faults, row.explanation));
    }
    for (const Sweep& sweep : kSweeps) {
        for (const StrikingValue& value : sweep.values) {
            behaviours.push_back(behaviourOf(sweep, value));
        }
    }
    return behaviours;
}

std::optional<std::vector<Fault>> faultsOfBehaviour(std::string_view name) {
    const std::vector<HostileBehaviour> behaviours = hostileBehaviours();
    const auto found = std::find_if(behaviours.begin(), behaviours.end(),
                                    [&](const HostileBehaviour& behaviour) { return behaviour.name == name; });
    if (found == behaviours.end()) {
        return std::nullopt;
    }
    std::vector<Fault> faults;
    std::string_view rest = found->faults;
    while (!rest.empty()) {
        const size_t end = std::min(rest.find(' '), rest.size());
        faults.push_back(parseFault(std::string(rest.substr(0, end))));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return faults;
}

std::string hostileListForReading() {
    const std::vector<HostileBehaviour> behaviours = hostileBehaviours();
    size_t widest = 0;
    for (const HostileBehaviour& behaviour : behaviours) {
        widest = std::max(widest, behaviour.name.size());
    }
    std::string text;
    for (const HostileBehaviour& behaviour : behaviours) {
        std::string line = behaviour.name;
        line.resize(widest + 2, ' ');
        text += line + behaviour.explanation + "\n";
    }
    return text;
}

std::string hostileListForPrograms() {
    std::string text = "name\texchange\tqueries\topen\tquery\tconnection\tending\tfaults\texplanation\n";
    for (const HostileBehaviour& behaviour : hostileBehaviours()) {
        for (const std::string* cell :
             {&behaviour.name, &behaviour.exchange, &behaviour.queries, &behaviour.openCodes, &behaviour.queryCodes,
              &behaviour.connection, &behaviour.ending, &behaviour.faults}) {
            text += *cell + "\t";
        }
        text += behaviour.explanation + "\n";
    }
    return text;
}

}  // namespace gatewaysim
