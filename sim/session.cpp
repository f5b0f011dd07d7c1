#include "session.h"

#include <algorithm>
#include <array>
#include <initializer_list>

#include "object_stream.h"

namespace gatewaysim {

namespace {

constexpr uint32_t kAttributeCall = 1;
constexpr uint32_t kInvokeCall = 5;
constexpr size_t kFloodPiece = 64U << 10;
constexpr uint8_t kFloodByte = 0xA5;

std::string hexadecimal(const Bytes& bytes) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (const uint8_t byte : bytes) {
        text += text.empty() ? "" : " ";
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0x0F];
    }
    return text;
}

void expectBytes(const char* what, const Bytes& value, const Bytes& wanted) {
    if (value != wanted) {
        throw Deviation(std::string(what) + " is " + hexadecimal(value) + " where " + hexadecimal(wanted) +
                        " was given out");
    }
}

// Of the shape of the request's locale, with another country.
Bytes daemonLocale() {
    ByteWriter body;
    body.countedText("en");
    body.countedText("US");
    body.raw(Bytes(10, 0));
    return body.take();
}

Bytes wordsAndOpaque(std::initializer_list<uint32_t> words, const Bytes& opaque) {
    ByteWriter body;
    for (const uint32_t word : words) {
        body.u32(word);
    }
    body.raw(opaque);
    return body.take();
}

Bytes adminReply(uint32_t callType, const Payload& payload) {
    ByteWriter body;
    body.u32(callType);
    body.u32(0);
    body.u8(0);
    body.raw(payload.bytes);
    return body.take();
}

std::string_view additionOf(std::span<const Fault> faults) {
    const Fault* const texts = findFault(faults, FaultKind::texts);
    return texts != nullptr ? addedText(*texts) : std::string_view();
}

void overwriteFields(Payload& payload, std::span<const Fault> faults) {
    for (const Fault& fault : faults) {
        if (fault.kind == FaultKind::field) {
            overwriteField(payload, fault.field, wordOf(fault.value));
        }
    }
}

// A reply that is only late is a reply all the same.
bool isSpoiled(const std::vector<Fault>& faults) {
    return std::any_of(faults.begin(), faults.end(), [](const Fault& fault) {
        return fault.kind != FaultKind::delay && fault.kind != FaultKind::trickle;
    });
}

std::string listOf(const std::vector<Fault>& faults) {
    std::string text;
    for (const Fault& fault : faults) {
        text += text.empty() ? "" : " ";
        text += fault.text;
    }
    return text;
}

}  // namespace

Session::Session(Connection& connection, const Simulation& simulation, uint64_t number)
    : connection_(connection),
      simulation_(simulation),
      number_(number),
      opaqueValues_(scramble(simulation.seed ^ scramble(number))) {}

std::string Session::prefix() const {
    return "connection " + std::to_string(number_) + ": ";
}

void Session::run() {
    try {
        if (!greet()) {
            return;
        }
        while (const std::optional<Request> request = readRequest(connection_)) {
            if (!serve(*request)) {
                return;
            }
        }
        simulation_.log.whenVerbose(prefix() + "the peer ended it without a close request");
    } catch (const Deviation& deviation) {
        simulation_.log.always(prefix() + "refused: " + deviation.what());
        end();
    } catch (const ConnectionLost& error) {
        simulation_.log.whenVerbose(prefix() + error.what());
    }
}

// Returns whether requests are to be read.
bool Session::greet() {
    const std::vector<Fault> faults = faultsOfAcceptance();
    if (faults.empty()) {
        return true;
    }
    simulation_.log.whenVerbose(prefix() + "acceptance spoiled by " + listOf(faults));
    return deliver(deliveryAtAcceptance(faults));
}

bool Session::serve(const Request& request) {
    checkOrder(request.exchange);
    checkOpaqueValues(request);
    const std::vector<Fault> faults = faultsOf(request.exchange);
    Reply reply{request.exchange, request.serverProgram, request.flagsWord1, replyBody(request, faults)};
    if (const Fault* other = findFault(faults, FaultKind::replyOf)) {
        reply = replyOfOtherExchange(static_cast<Exchange>(other->value), request);
    }
    handleMayBeUnknown_ = request.exchange == Exchange::initialise && isSpoiled(faults);
    simulation_.log.whenVerbose(prefix() + titleOf(request) + " answered with a body of " +
                                std::to_string(reply.body.size()) + " bytes" +
                                (faults.empty() ? "" : ", spoiled by " + listOf(faults)));
    if (!deliver(deliveryOf(std::move(reply), faults))) {
        return false;
    }
    if (request.exchange == Exchange::close) {
        connection_.finish();
        return false;
    }
    return true;
}

void Session::checkOrder(Exchange exchange) const {
    if (exchange == Exchange::close && awaited_ != Exchange::handshake) {
        return;
    }
    const std::string name(nameOf(exchange));
    if (awaited_.has_value()) {
        if (exchange != *awaited_) {
            throw Deviation(name + " came where " + std::string(nameOf(*awaited_)) + " belongs");
        }
        return;
    }
    if (!isAdmin(exchange)) {
        throw Deviation(name + " came a second time");
    }
    if (exchange == Exchange::initialise && !handle_.empty() && !handleMayBeUnknown_) {
        throw Deviation("init came while the admin handle of the init before it is unused");
    }
    if (exchange != Exchange::initialise && handle_.empty()) {
        throw Deviation(name + " came without an init of its own before it");
    }
}

void Session::checkOpaqueValues(const Request& request) const {
    if (request.exchange == Exchange::authorisation1) {
        expectBytes("the authorisation credential", request.credential, credential_);
        expectBytes("the authorisation qualifier", request.qualifier, qualifier_);
    }
    if (request.exchange == Exchange::attribute || request.exchange == Exchange::invoke) {
        expectBytes("the admin handle", request.handle, handle_);
    }
}

Bytes Session::replyBody(const Request& request, std::span<const Fault> faults) {
    switch (request.exchange) {
        case Exchange::accept:
            break;
        case Exchange::handshake:
            awaited_ = Exchange::authorisation0;
            return daemonLocale();
        case Exchange::authorisation0:
            awaited_ = Exchange::authorisation1;
            return firstAuthorisation();
        case Exchange::authorisation1:
            awaited_.reset();
            return secondAuthorisation();
        case Exchange::initialise:
            return newHandle();
        case Exchange::attribute:
            handle_.clear();
            return adminReply(kAttributeCall, protocol(faults));
        case Exchange::invoke:
            handle_.clear();
            return adminReply(kInvokeCall, invoke(request, faults));
        case Exchange::close:
            break;
    }
    return {};
}

Bytes Session::firstAuthorisation() {
    credential_ = opaqueValues_.next(8);
    qualifier_ = opaqueValues_.next(4);
    Bytes opaque = credential_;
    opaque.insert(opaque.end(), qualifier_.begin(), qualifier_.end());
    return wordsAndOpaque({0, 0}, opaque);
}

Bytes Session::secondAuthorisation() {
    return wordsAndOpaque({1, 0}, opaqueValues_.next(8));
}

Bytes Session::newHandle() {
    handle_ = opaqueValues_.next(4);
    return wordsAndOpaque({0, 0}, handle_);
}

Payload Session::protocol(std::span<const Fault> faults) const {
    Payload payload = simulation_.service.protocol(additionOf(faults));
    if (const Fault* size = findFault(faults, FaultKind::versionSize)) {
        payload = attributePayload(std::string(static_cast<size_t>(size->value), 'v'));
    }
    overwriteFields(payload, faults);
    return payload;
}

Payload Session::invoke(const Request& request, std::span<const Fault> faults) {
    const std::string_view addition = additionOf(faults);
    Payload payload;
    if (request.operation == "RESOURCE_GROUPS") {
        payload = simulation_.service.resourceGroups(addition);
    } else if (request.operation == "STAT_IDS") {
        payload = simulation_.service.statisticIds(request.argument, addition);
    } else {
        payload = simulation_.service.statistics(request.argument, statisticsQueries_++, addition);
    }
    overwriteFields(payload, faults);
    return payload;
}

// Changes nothing of what this connection has been given and is to give back.
Reply Session::replyOfOtherExchange(Exchange other, const Request& request) {
    switch (other) {
        case Exchange::accept:
        case Exchange::close:
            break;
        case Exchange::handshake:
            return {request.exchange, "BASE", 5, daemonLocale()};
        case Exchange::authorisation0:
            return {request.exchange, "Auth", 1, wordsAndOpaque({0, 0}, opaqueValues_.next(12))};
        case Exchange::authorisation1:
            return {request.exchange, "Auth", 1, wordsAndOpaque({1, 0}, opaqueValues_.next(8))};
        case Exchange::initialise:
            return {request.exchange, "Admin", 1, wordsAndOpaque({0, 0}, opaqueValues_.next(4))};
        case Exchange::attribute:
            return {request.exchange, "Admin", 1, adminReply(kAttributeCall, simulation_.service.protocol(""))};
        case Exchange::invoke:
            return {request.exchange, "Admin", 1,
                    adminReply(kInvokeCall, request.operation == "GET_STATS"
                                                ? simulation_.service.resourceGroups("")
                                                : simulation_.service.statistics("", statisticsQueries_, ""))};
    }
    return {request.exchange, "BASE", 10, {}};
}

// In the order of the faults' options.
std::vector<Fault> Session::faultsOfAcceptance() const {
    std::vector<Fault> chosen;
    for (const Fault& fault : simulation_.faults) {
        if (fault.exchange == Exchange::accept) {
            chosen.push_back(fault);
        }
    }
    return chosen;
}

std::vector<Fault> Session::faultsOf(Exchange exchange) {
    const uint32_t ofAll = ++exchangesDone_;
    const uint32_t ofKind = ++doneOfKind_[exchange];
    std::vector<Fault> chosen;
    for (const Fault& fault : simulation_.faults) {
        const bool isMeant = !fault.exchange.has_value() || *fault.exchange == exchange;
        const uint32_t count = fault.exchange.has_value() ? ofKind : ofAll;
        if (isMeant && applies(fault, exchange) && (fault.occurrence == 0 || fault.occurrence == count)) {
            chosen.push_back(fault);
        }
    }
    return chosen;
}

bool Session::deliver(const Delivery& delivery) {
    if (delivery.delay.count() > 0) {
        connection_.pause(delivery.delay);
    }
    if (delivery.stall) {
        connection_.receiveToTheEnd();
        return false;
    }
    if (delivery.reset) {
        connection_.resetOnClose();
        return false;
    }
    if (delivery.close) {
        return false;
    }
    sendBytes(delivery);
    if (delivery.flood > 0) {
        flood(delivery.flood);
    }
    if (delivery.silenceAfterwards) {
        connection_.receiveToTheEnd();
        return false;
    }
    if (delivery.resetAfterwards) {
        connection_.resetOnClose();
        return false;
    }
    if (delivery.endAfterwards) {
        connection_.finish();
        return false;
    }
    return true;
}

void Session::sendBytes(const Delivery& delivery) {
    if (!delivery.byteByByte) {
        connection_.send(delivery.bytes);
        return;
    }
    for (const uint8_t& byte : delivery.bytes) {
        connection_.send({&byte, 1});
        if (delivery.pauseBetweenBytes.count() > 0) {
            connection_.pause(delivery.pauseBetweenBytes);
        }
    }
    simulation_.log.whenVerbose(prefix() + "sent " + std::to_string(delivery.bytes.size()) + " single bytes");
}

void Session::flood(size_t size) {
    const Bytes piece(std::min(size, kFloodPiece), kFloodByte);
    while (size > 0) {
        const size_t count = std::min(size, piece.size());
        connection_.send(std::span(piece).first(count));
        size -= count;
    }
}

void Session::end() {
    try {
        connection_.finish();
    } catch (const ConnectionLost& error) {
        simulation_.log.whenVerbose(prefix() + error.what());
    }
}

}  // namespace gatewaysim
