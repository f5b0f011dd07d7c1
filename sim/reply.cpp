#include "reply.h"

#include <algorithm>
#include <cstddef>

#include "object_stream.h"
#include "request.h"

namespace gatewaysim {

namespace {

constexpr size_t kAdminReplyStart = 9;
constexpr uint32_t kWrongEyecatcher = 0x65746147;

struct Header {
    uint32_t eyecatcher;
    uint32_t returnCode;
    uint32_t nameLength;
    uint32_t dataLength;
};

const Fault* find(std::span<const Fault> faults, FaultKind kind) {
    const auto found =
        std::find_if(faults.begin(), faults.end(), [&](const Fault& fault) { return fault.kind == kind; });
    return found == faults.end() ? nullptr : &*found;
}

uint32_t wordOf(int64_t value) {
    return static_cast<uint32_t>(value & 0xFFFFFFFF);
}

void patchWord(Bytes& body, size_t offset, uint32_t value) {
    ByteWriter writer;
    writer.u32(value);
    const Bytes word = writer.take();
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
    if (const Fault* refuse = find(faults, FaultKind::refuse)) {
        reply.body = refusedAuthorisation(wordOf(refuse->value));
    }
    if (const Fault* adminCode = find(faults, FaultKind::adminCode)) {
        if (reply.exchange != Exchange::initialise) {
            reply.body.resize(kAdminReplyStart);
        }
        patchWord(reply.body, 4, wordOf(adminCode->value));
    }
    if (find(faults, FaultKind::exception) != nullptr) {
        reply.body.resize(kAdminReplyStart);
        reply.body.back() = 1;
        const Bytes text = exceptionPayload("the operation failed because it was told to");
        reply.body.insert(reply.body.end(), text.begin(), text.end());
    }
    if (const Fault* callType = find(faults, FaultKind::callType)) {
        patchWord(reply.body, 0, wordOf(callType->value));
    }
    if (const Fault* truncate = find(faults, FaultKind::truncateBody)) {
        reply.body.resize(std::min(reply.body.size(), static_cast<size_t>(truncate->value)));
    }
    if (find(faults, FaultKind::empty) != nullptr || find(faults, FaultKind::negativeLength) != nullptr) {
        reply.body.clear();
    }
}

uint32_t announcedLength(size_t size, std::span<const Fault> faults) {
    auto length = static_cast<int64_t>(size);
    if (find(faults, FaultKind::negativeLength) != nullptr) {
        return wordOf(-1);
    }
    if (const Fault* longer = find(faults, FaultKind::longer)) {
        length = std::max<int64_t>(0, length - longer->value);
    }
    if (const Fault* shorter = find(faults, FaultKind::shorter)) {
        length += shorter->value;
    }
    return wordOf(length);
}

Header headerOf(const Reply& reply, std::span<const Fault> faults) {
    const Fault* const code = find(faults, FaultKind::code);
    const Fault* const nameLength = find(faults, FaultKind::nameLength);
    Header header{};
    header.eyecatcher = find(faults, FaultKind::eyecatcher) != nullptr ? kWrongEyecatcher : kEyecatcher;
    header.returnCode = code != nullptr ? wordOf(code->value) : 0;
    header.nameLength =
        nameLength != nullptr ? wordOf(nameLength->value) : static_cast<uint32_t>(reply.serverProgram.size());
    header.dataLength = announcedLength(reply.body.size(), faults);
    return header;
}

Bytes encoded(const Reply& reply, const Header& header) {
    ByteWriter writer;
    writer.u32(header.eyecatcher);
    writer.u32(kProtocolVersion);
    writer.u32(reply.flagsWord1);
    writer.u32(0);
    writer.u32(header.returnCode);
    writer.u32(header.nameLength);
    writer.text(reply.serverProgram);
    writer.u8(0);
    writer.u32(header.dataLength);
    writer.raw(reply.body);
    return writer.take();
}

}  // namespace

Delivery deliveryOf(Reply reply, std::span<const Fault> faults) {
    spoilBody(reply, faults);
    Delivery delivery;
    delivery.bytes = encoded(reply, headerOf(reply, faults));
    if (const Fault* delay = find(faults, FaultKind::delay)) {
        delivery.delay = std::chrono::milliseconds(delay->value);
    }
    delivery.stall = find(faults, FaultKind::stall) != nullptr;
    delivery.reset = find(faults, FaultKind::reset) != nullptr;
    delivery.byteByByte = find(faults, FaultKind::trickle) != nullptr;
    delivery.endAfterwards = find(faults, FaultKind::shorter) != nullptr;
    if (const Fault* cut = find(faults, FaultKind::cut)) {
        delivery.bytes.resize(std::min(delivery.bytes.size(), static_cast<size_t>(cut->value)));
        delivery.endAfterwards = true;
    }
    return delivery;
}

}  // namespace gatewaysim
