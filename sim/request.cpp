#include "request.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <string_view>

#include "log.h"

namespace gatewaysim {

namespace {

// All fields before the server program name, and all after it.
constexpr size_t kHeaderStart = 24;
constexpr size_t kHeaderEnd = 5;
constexpr uint32_t kLongestBody = 1U << 20;

constexpr uint32_t kCallInitialise = 0;
constexpr uint32_t kCallAttribute = 1;
constexpr uint32_t kCallInvoke = 5;
constexpr size_t kBeforeCallLength = 12;

constexpr std::string_view kObjectName = "DefaultDomain:ProdId=com.oxa.zul,Activity=Control,type=Stats";

// Gives as many bytes as wanted, fewer only where there will be no more.
using ByteSource = std::function<Bytes(size_t wanted)>;

enum class Handler { handshake, close, authorisation, admin };

struct Header {
    uint32_t eyecatcher;
    uint32_t version;
    uint32_t flagsWord1;
    uint32_t wordAt12;
    uint32_t wordAt16;
    uint32_t nameLength;
    std::string name;
    uint8_t flagByte;
    uint32_t dataLength;
};

std::string hexadecimal(uint32_t value) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "0x%08X", static_cast<unsigned>(value));
    return text.data();
}

void expectWord(const char* what, uint32_t value, uint32_t wanted) {
    if (value != wanted) {
        throw Deviation(std::string(what) + " is " + hexadecimal(value) + " where " + hexadecimal(wanted) + " belongs");
    }
}

void expectNumber(const std::string& what, uint32_t value, uint32_t wanted) {
    if (value != wanted) {
        throw Deviation(what + " is " + std::to_string(value) + " where " + std::to_string(wanted) + " belongs");
    }
}

void expectText(const std::string& what, std::string_view value, std::string_view wanted) {
    if (value != wanted) {
        throw Deviation(what + " is " + inQuotes(value) + " where " + inQuotes(wanted) + " belongs");
    }
}

Bytes receiveAll(const ByteSource& receive, size_t size, const char* what) {
    Bytes bytes = receive(size);
    if (bytes.size() != size) {
        throw Deviation("the connection ended after " + std::to_string(bytes.size()) + " of " + std::to_string(size) +
                        " bytes of " + what);
    }
    return bytes;
}

std::optional<Header> readHeader(const ByteSource& receive) {
    const Bytes start = receive(kHeaderStart);
    if (start.empty()) {
        return std::nullopt;
    }
    // A short header is named by its first wrong field rather than by its length, if the eyecatcher is complete.
    if (start.size() >= 4) {
        expectWord("the eyecatcher", ByteReader(start).u32("the eyecatcher"), kEyecatcher);
    }
    if (start.size() < kHeaderStart) {
        throw Deviation("the connection ended after " + std::to_string(start.size()) + " of " +
                        std::to_string(kHeaderStart) + " bytes of a request header");
    }
    ByteReader reader(start);
    Header header{};
    header.eyecatcher = reader.u32("the eyecatcher");
    header.version = reader.u32("the version");
    expectWord("the version", header.version, kProtocolVersion);
    header.flagsWord1 = reader.u32("flags word 1");
    header.wordAt12 = reader.u32("the word at offset 12");
    header.wordAt16 = reader.u32("the word at offset 16");
    header.nameLength = reader.u32("the server program name's length");
    if (header.nameLength < 4 || header.nameLength > 5) {
        throw Deviation("the server program name's length is " + std::to_string(header.nameLength) +
                        " where 4 or 5 belongs");
    }
    const Bytes rest =
        receiveAll(receive, header.nameLength + kHeaderEnd, "the end of a request header from the name on");
    ByteReader restReader(rest);
    const auto name = restReader.raw(header.nameLength, "the server program name");
    header.name.assign(name.begin(), name.end());
    header.flagByte = restReader.u8("the header flag byte");
    header.dataLength = restReader.u32("the data length");
    return header;
}

Handler handlerOf(const Header& header) {
    if (header.name == "BASE") {
        if (header.flagsWord1 == 5) {
            return Handler::handshake;
        }
        if (header.flagsWord1 == 10) {
            return Handler::close;
        }
        throw Deviation("flags word 1 is " + hexadecimal(header.flagsWord1) +
                        " where the server program \"BASE\" takes 0x00000005 or 0x0000000A");
    }
    if (header.name == "Auth" || header.name == "Admin") {
        expectWord("flags word 1", header.flagsWord1, 1);
        return header.name == "Auth" ? Handler::authorisation : Handler::admin;
    }
    throw Deviation("the server program name is " + inQuotes(header.name) +
                    " where \"BASE\", \"Auth\" or \"Admin\" belongs");
}

void checkDataLength(Handler handler, uint32_t length) {
    switch (handler) {
        case Handler::handshake:
            expectNumber("the data length of a handshake", length, 18);
            break;
        case Handler::close:
            expectNumber("the data length of a close request", length, 0);
            break;
        case Handler::authorisation:
            if (length != 4 && length != 20) {
                throw Deviation("the data length of an authorisation is " + std::to_string(length) +
                                " where 4 or 20 belongs");
            }
            break;
        case Handler::admin:
            if (length < 4 || length > kLongestBody) {
                throw Deviation("the data length of an administration request is " + std::to_string(length) +
                                " where 4 to " + std::to_string(kLongestBody) + " belongs");
            }
            break;
    }
}

Handler checkedHandler(const Header& header) {
    const Handler handler = handlerOf(header);
    expectWord("the word at offset 12", header.wordAt12, 0);
    expectWord("the word at offset 16", header.wordAt16, handler == Handler::close ? 0xFFFFFFFF : 0);
    expectNumber("the header flag byte", header.flagByte, 0);
    checkDataLength(handler, header.dataLength);
    return handler;
}

void checkHandshake(ByteReader& body) {
    expectText("the handshake's language", body.countedText("the handshake's language"), "en");
    expectText("the handshake's country", body.countedText("the handshake's country"), "GB");
    for (const uint8_t byte : body.raw(10, "the handshake's zero bytes")) {
        expectNumber("one of the handshake's last ten bytes", byte, 0);
    }
}

Bytes taken(ByteReader& body, size_t size, const char* what) {
    const auto bytes = body.raw(size, what);
    return {bytes.begin(), bytes.end()};
}

void decodeAuthorisation(ByteReader& body, Request& request) {
    const size_t size = body.remaining();
    const bool isFirstStep = size == 4;
    request.exchange = isFirstStep ? Exchange::authorisation0 : Exchange::authorisation1;
    expectNumber("the authorisation step in a body of " + std::to_string(size) + " bytes",
                 body.u32("the authorisation step"), isFirstStep ? 0 : 1);
    if (!isFirstStep) {
        request.credential = taken(body, 8, "the authorisation credential");
        request.qualifier = taken(body, 4, "the authorisation qualifier");
        expectWord("the last word of authorisation step 1", body.u32("the last word of authorisation step 1"), 0);
    }
}

void decodeInvoke(ByteReader& body, Request& request) {
    static constexpr std::array<uint8_t, 5> kSerializedString{0xAC, 0xED, 0x00, 0x05, 0x74};
    request.operation = body.countedText("the operation name");
    expectNumber("the number of parameters", body.u32("the number of parameters"), 1);
    const auto start = body.raw(kSerializedString.size(), "the parameter's stream header");
    expectText("the parameter's stream header", {reinterpret_cast<const char*>(start.data()), start.size()},
               {reinterpret_cast<const char*>(kSerializedString.data()), kSerializedString.size()});
    request.argument = body.countedText("the parameter value");
    expectNumber("the number of signature entries", body.u32("the number of signature entries"), 1);
    expectText("the parameter type", body.countedText("the parameter type"), "java.lang.String");
    if (request.operation != "RESOURCE_GROUPS" && request.operation != "STAT_IDS" && request.operation != "GET_STATS") {
        throw Deviation("the operation name is " + inQuotes(request.operation) +
                        " where \"RESOURCE_GROUPS\", \"STAT_IDS\" or \"GET_STATS\" belongs");
    }
    if (request.operation == "RESOURCE_GROUPS") {
        expectText("the parameter value of RESOURCE_GROUPS", request.argument, "");
    }
}

void decodeAdmin(ByteReader& body, Request& request) {
    const size_t size = body.remaining();
    const uint32_t callType = body.u32("the call type");
    if (callType == kCallInitialise) {
        request.exchange = Exchange::initialise;
        return;
    }
    if (callType != kCallAttribute && callType != kCallInvoke) {
        throw Deviation("the call type is " + std::to_string(callType) + " where 0, 1 or 5 belongs");
    }
    request.exchange = callType == kCallAttribute ? Exchange::attribute : Exchange::invoke;
    request.handle = taken(body, 4, "the admin handle");
    const uint32_t callLength = body.u32("the call length");
    expectNumber("the call length", callLength, static_cast<uint32_t>(size - kBeforeCallLength));
    expectText("the country", body.countedText("the country"), "US");
    expectText("the language", body.countedText("the language"), "en");
    expectText("the variant", body.countedText("the variant"), "");
    expectText("the object name", body.countedText("the object name"), kObjectName);
    if (request.exchange == Exchange::attribute) {
        expectText("the attribute name", body.countedText("the attribute name"), "protocol");
    } else {
        decodeInvoke(body, request);
    }
}

void decodeBody(Handler handler, ByteReader& body, Request& request) {
    switch (handler) {
        case Handler::handshake:
            request.exchange = Exchange::handshake;
            checkHandshake(body);
            break;
        case Handler::close:
            request.exchange = Exchange::close;
            break;
        case Handler::authorisation:
            decodeAuthorisation(body, request);
            break;
        case Handler::admin:
            decodeAdmin(body, request);
            break;
    }
    if (body.remaining() != 0) {
        throw Deviation(std::to_string(body.remaining()) + " bytes are left over at the end of the body");
    }
}

std::optional<Request> requestFrom(const ByteSource& receive) {
    const std::optional<Header> header = readHeader(receive);
    if (!header.has_value()) {
        return std::nullopt;
    }
    const Handler handler = checkedHandler(*header);
    const Bytes body = receiveAll(receive, header->dataLength, "a request body");
    ByteReader reader(body);
    Request request{};
    request.serverProgram = header->name;
    request.flagsWord1 = header->flagsWord1;
    try {
        decodeBody(handler, reader, request);
    } catch (const EndOfBytes& error) {
        throw Deviation(error.what());
    }
    return request;
}

}  // namespace

std::optional<Request> readRequest(Connection& connection) {
    std::optional<Request> request = requestFrom([&](size_t wanted) { return connection.receive(wanted); });
    // A client has one request under way at a time.
    if (const size_t surplus = request.has_value() ? connection.receiveWhatIsThere() : 0; surplus > 0) {
        throw Deviation(std::to_string(surplus) + " bytes came behind the request before its reply");
    }
    return request;
}

Request decodeRequest(std::span<const uint8_t> bytes) {
    const std::optional<Request> request = requestFrom([&](size_t wanted) {
        const auto taken = bytes.first(std::min(wanted, bytes.size()));
        bytes = bytes.subspan(taken.size());
        return Bytes(taken.begin(), taken.end());
    });
    if (!request.has_value()) {
        throw Deviation("there is no byte of a request");
    }
    if (!bytes.empty()) {
        throw Deviation(std::to_string(bytes.size()) + " bytes came behind the request before its reply");
    }
    return *request;
}

std::optional<size_t> messageSize(std::span<const uint8_t> bytes) {
    if (bytes.size() < kHeaderStart || ByteReader(bytes).u32("the eyecatcher") != kEyecatcher) {
        return std::nullopt;
    }
    const uint32_t nameLength =
        ByteReader(bytes.subspan(kHeaderStart - sizeof nameLength)).u32("the server program name's length");
    const size_t headerSize = kHeaderStart + size_t{nameLength} + kHeaderEnd;
    if (bytes.size() < headerSize) {
        return std::nullopt;
    }
    const uint32_t dataLength = ByteReader(bytes.subspan(headerSize - sizeof dataLength)).u32("the data length");
    // To a client a length above it is negative, and no body follows.
    return headerSize + (dataLength > INT32_MAX ? 0 : size_t{dataLength});
}

std::string titleOf(const Request& request) {
    std::string title(nameOf(request.exchange));
    if (request.exchange == Exchange::invoke) {
        title += " " + request.operation + " " + inQuotes(request.argument);
    }
    return title;
}

}  // namespace gatewaysim
