#include "reply.h"

#include <algorithm>
#include <cstddef>

#include "object_stream.h"
#include "request.h"

namespace gatewaysim {

namespace {

constexpr size_t kAdminReplyStart = 9;
constexpr uint32_t kWrongEyecatcher = 0x65746147;
constexpr uint8_t kExtension = 0x5A;
// A data length above it is negative to the client, which then waits for no body.
constexpr int64_t kHighestLength = INT32_MAX;

struct Header {
    uint32_t eyecatcher;
    uint32_t version;
    uint32_t flagsWord1;
    uint32_t returnCode;
    uint32_t nameLength;
    uint8_t flagByte;
    uint32_t dataLength;
};

void patchWord(Bytes& body, size_t offset, uint32_t value) {
    ByteWriter writer;
    writer.u32(value);
    const Bytes word = writer.take();
    body.resize(std::max(body.size(), offset + word.size()));
    std::copy(word.begin(), word.end(), body.begin() + static_cast<ptrdiff_t>(offset));
}

Bytes refusedAuthorisation(uint32_t code) {
    ByteWriter writer;
    writer.u32(0);
    writer.u32(code);
    writer.raw(Bytes(12, 0));
    return writer.take();
}

void spoilBody(Reply& reply, std::span<const Fault> faults) {
    if (const Fault* refuse = findFault(faults, FaultKind::refuse)) {
        reply.body = refusedAuthorisation(wordOf(refuse->value));
    }
    if (const Fault* adminCode = findFault(faults, FaultKind::adminCode)) {
        if (reply.exchange != Exchange::initialise) {
            reply.body.resize(kAdminReplyStart);
        }
        patchWord(reply.body, 4, wordOf(adminCode->value));
    }
    if (findFault(faults, FaultKind::exception) != nullptr) {
        reply.body.resize(kAdminReplyStart);
        reply.body.back() = 1;
        const Bytes text = exceptionPayload("the operation failed because it was told to");
        reply.body.insert(reply.body.end(), text.begin(), text.end());
    }
    if (const Fault* callType = findFault(faults, FaultKind::callType)) {
        patchWord(reply.body, 0, wordOf(callType->value));
    }
    if (const Fault* truncate = findFault(faults, FaultKind::truncateBody)) {
        reply.body.resize(std::min(reply.body.size(), static_cast<size_t>(truncate->value)));
    }
    if (const Fault* extend = findFault(faults, FaultKind::extendBody)) {
        reply.body.resize(reply.body.size() + static_cast<size_t>(extend->value), kExtension);
    }
    if (findFault(faults, FaultKind::empty) != nullptr || findFault(faults, FaultKind::negativeLength) != nullptr) {
        reply.body.clear();
    }
}

uint32_t announcedLength(size_t size, std::span<const Fault> faults) {
    auto length = static_cast<int64_t>(size);
    if (findFault(faults, FaultKind::negativeLength) != nullptr) {
        return wordOf(-1);
    }
    if (const Fault* announced = findFault(faults, FaultKind::dataLength)) {
        return wordOf(announced->value);
    }
    if (const Fault* longer = findFault(faults, FaultKind::longer)) {
        length = std::max<int64_t>(0, length - longer->value);
    }
    if (const Fault* shorter = findFault(faults, FaultKind::shorter)) {
        length += shorter->value;
    }
    return wordOf(length);
}

uint32_t wordOr(const Fault* fault, uint32_t otherwise) {
    return fault != nullptr ? wordOf(fault->value) : otherwise;
}

Header headerOf(const Reply& reply, std::span<const Fault> faults) {
    Header header{};
    header.eyecatcher = findFault(faults, FaultKind::eyecatcher) != nullptr ? kWrongEyecatcher : kEyecatcher;
    header.version = wordOr(findFault(faults, FaultKind::version), kProtocolVersion);
    header.flagsWord1 = wordOr(findFault(faults, FaultKind::flags), reply.flagsWord1);
    header.returnCode = wordOr(findFault(faults, FaultKind::code), 0);
    header.nameLength =
        wordOr(findFault(faults, FaultKind::nameLength), static_cast<uint32_t>(reply.serverProgram.size()));
    header.flagByte = static_cast<uint8_t>(wordOr(findFault(faults, FaultKind::flagByte), 0));
    header.dataLength = announcedLength(reply.body.size(), faults);
    return header;
}

Bytes encoded(const Reply& reply, const Header& header) {
    ByteWriter writer;
    writer.u32(header.eyecatcher);
    writer.u32(header.version);
    writer.u32(header.flagsWord1);
    writer.u32(0);
    writer.u32(header.returnCode);
    writer.u32(header.nameLength);
    writer.text(reply.serverProgram);
    writer.u8(header.flagByte);
    writer.u32(header.dataLength);
    writer.raw(reply.body);
    return writer.take();
}

bool announcesMoreThanSent(const Reply& reply, std::span<const Fault> faults) {
    const Fault* const announced = findFault(faults, FaultKind::dataLength);
    return announced != nullptr && announced->value <= kHighestLength &&
           announced->value > static_cast<int64_t>(reply.body.size());
}

Bytes twice(Bytes bytes) {
    const size_t size = bytes.size();
    bytes.reserve(2 * size);
    bytes.insert(bytes.end(), bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(size));
    return bytes;
}

// Keeps as many bytes as the fault says. Returns whether there is such a fault.
bool keepFirst(Bytes& bytes, const Fault* fault) {
    if (fault != nullptr) {
        bytes.resize(std::min(bytes.size(), static_cast<size_t>(fault->value)));
    }
    return fault != nullptr;
}

}  // namespace

Delivery deliveryAtAcceptance(std::span<const Fault> faults) {
    Delivery delivery;
    if (const Fault* delay = findFault(faults, FaultKind::delay)) {
        delivery.delay = std::chrono::milliseconds(delay->value);
    }
    delivery.stall = findFault(faults, FaultKind::stall) != nullptr;
    delivery.reset = findFault(faults, FaultKind::reset) != nullptr;
    delivery.close = findFault(faults, FaultKind::close) != nullptr;
    if (const Fault* flood = findFault(faults, FaultKind::flood)) {
        delivery.flood = static_cast<size_t>(flood->value);
    }
    return delivery;
}

Delivery deliveryOf(Reply reply, std::span<const Fault> faults) {
    spoilBody(reply, faults);
    Delivery delivery = deliveryAtAcceptance(faults);
    const Header header = headerOf(reply, faults);
    delivery.bytes = encoded(reply, header);
    delivery.endAfterwards = findFault(faults, FaultKind::shorter) != nullptr || announcesMoreThanSent(reply, faults);
    if (findFault(faults, FaultKind::twice) != nullptr) {
        delivery.bytes = twice(delivery.bytes);
    }
    if (const Fault* trickle = findFault(faults, FaultKind::trickle)) {
        delivery.byteByByte = true;
        delivery.pauseBetweenBytes = std::chrono::milliseconds(trickle->value);
    }
    delivery.endAfterwards |= keepFirst(delivery.bytes, findFault(faults, FaultKind::cut));
    delivery.resetAfterwards = keepFirst(delivery.bytes, findFault(faults, FaultKind::resetAfter));
    delivery.silenceAfterwards = keepFirst(delivery.bytes, findFault(faults, FaultKind::silence));
    return delivery;
}

}  // namespace gatewaysim
