#include "session.h"

#include <algorithm>
#include <array>

namespace gatewaysim {

namespace {

constexpr uint32_t kAttributeCall = 1;
constexpr uint32_t kInvokeCall = 5;

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

std::string titleOf(const Request& request) {
    std::string title(nameOf(request.exchange));
    if (request.exchange == Exchange::invoke) {
        title += " " + request.operation + " " + inQuotes(request.argument);
    }
    return title;
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

bool Session::serve(const Request& request) {
    checkOrder(request.exchange);
    checkOpaqueValues(request);
    const std::vector<Fault> faults = faultsOf(request.exchange);
    Reply reply{request.exchange, request.serverProgram, request.flagsWord1, replyBody(request)};
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

Bytes Session::replyBody(const Request& request) {
    switch (request.exchange) {
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
            return adminReply(kAttributeCall, simulation_.service.protocol());
        case Exchange::invoke:
            return adminReply(kInvokeCall, invoke(request));
        case Exchange::close:
            break;
    }
    return {};
}

Bytes Session::firstAuthorisation() {
    credential_ = opaqueValues_.next(8);
    qualifier_ = opaqueValues_.next(4);
    ByteWriter body;
    body.u32(0);
    body.u32(0);
    body.raw(credential_);
    body.raw(qualifier_);
    return body.take();
}

Bytes Session::secondAuthorisation() {
    ByteWriter body;
    body.u32(1);
    body.u32(0);
    body.raw(opaqueValues_.next(8));
    return body.take();
}

Bytes Session::newHandle() {
    handle_ = opaqueValues_.next(4);
    ByteWriter body;
    body.u32(0);
    body.u32(0);
    body.raw(handle_);
    return body.take();
}

Bytes Session::adminReply(uint32_t callType, const Bytes& payload) {
    handle_.clear();
    ByteWriter body;
    body.u32(callType);
    body.u32(0);
    body.u8(0);
    body.raw(payload);
    return body.take();
}

Bytes Session::invoke(const Request& request) {
    if (request.operation == "RESOURCE_GROUPS") {
        return simulation_.service.resourceGroups();
    }
    if (request.operation == "STAT_IDS") {
        return simulation_.service.statisticIds(request.argument);
    }
    return simulation_.service.statistics(request.argument, statisticsQueries_++);
}

std::vector<Fault> Session::faultsOf(Exchange exchange) {
    const uint32_t ofAll = ++exchangesDone_;
    const uint32_t ofKind = ++doneOfKind_[exchange];
    std::vector<Fault> chosen;
    for (const Fault& fault : simulation_.faults) {
        const bool isMeant = !fault.exchange.has_value() || *fault.exchange == exchange;
        const uint32_t count = fault.exchange.has_value() ? ofKind : ofAll;
        if (isMeant && applies(fault.kind, exchange) && (fault.occurrence == 0 || fault.occurrence == count)) {
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
    if (delivery.byteByByte) {
        for (const uint8_t& byte : delivery.bytes) {
            connection_.send({&byte, 1});
        }
        simulation_.log.whenVerbose(prefix() + "sent " + std::to_string(delivery.bytes.size()) + " single bytes");
    } else {
        connection_.send(delivery.bytes);
    }
    if (delivery.endAfterwards) {
        connection_.finish();
        return false;
    }
    return true;
}

void Session::end() {
    try {
        connection_.finish();
    } catch (const ConnectionLost& error) {
        simulation_.log.whenVerbose(prefix() + error.what());
    }
}

}  // namespace gatewaysim
