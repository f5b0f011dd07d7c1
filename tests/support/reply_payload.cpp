#include "reply_payload.h"

namespace wire_test {

namespace {

constexpr uint8_t kNoise = 0x77;
constexpr uint32_t kBlockLength = 0x5A;  // not looked at

}  // namespace

ReplyPayload& ReplyPayload::single(uint8_t flag) {
    writer_.u8(flag);
    return *this;
}

ReplyPayload& ReplyPayload::multi(uint32_t responses) {
    writer_.u8(1).u32(responses);
    return *this;
}

ReplyPayload& ReplyPayload::responseHead(uint8_t tag) {
    writer_.fill(6, kNoise).text("first description").fill(13, kNoise).text("second").fill(13, kNoise).u8(tag);
    if (tag == 'w') {
        writer_.u8(kBlockLength);
    } else {
        writer_.u32(kBlockLength);
    }
    return *this;
}

ReplyPayload& ReplyPayload::queryElement(std::string_view text, int32_t code) {
    writer_.text(text).u32(static_cast<uint32_t>(code));
    return *this;
}

ReplyPayload& ReplyPayload::idResponse(std::string_view element, int32_t code, const std::vector<std::string_view>& ids,
                                       uint8_t tag) {
    responseHead(tag).queryElement(element, code);
    writer_.u32(static_cast<uint32_t>(ids.size()));
    for (const std::string_view id : ids) {
        writer_.text(id);
    }
    writer_.u8(kNoise);
    return *this;
}

ReplyPayload& ReplyPayload::failedResponse(std::string_view element, int32_t code) {
    responseHead().queryElement(element, code);
    writer_.u8(kNoise);
    return *this;
}

ReplyPayload& ReplyPayload::statsResponse(std::string_view element, int32_t code, uint32_t count, uint8_t tag) {
    responseHead(tag).queryElement(element, code);
    writer_.u32(count).fill(2, kNoise).text("description").fill(8, kNoise);
    return *this;
}

ReplyPayload& ReplyPayload::statStart(uint8_t tag) {
    writer_.fill(5, kNoise).u8(tag);
    return *this;
}

ReplyPayload& ReplyPayload::shortStat(std::string_view id, std::string_view value, uint8_t tag) {
    statStart(tag);
    writer_.u8(kBlockLength).text(id).text(value);
    return endOfStat();
}

ReplyPayload& ReplyPayload::longStat(std::string_view id, std::string_view value) {
    return longStat(id, value, static_cast<uint32_t>(id.size() + value.size() + 4));
}

ReplyPayload& ReplyPayload::longStat(std::string_view id, std::string_view value, uint32_t chunkLength) {
    statStart('z');
    writer_.u32(chunkLength).text(id).text(value);
    return endOfStat();
}

ReplyPayload& ReplyPayload::firstBlock(std::string_view id, uint32_t valueLength, uint32_t chunkLength,
                                       std::string_view firstPart) {
    statStart('z');
    writer_.u32(chunkLength).text(id).u16(valueLength).raw(firstPart);
    return *this;
}

ReplyPayload& ReplyPayload::longBlock(std::string_view part) {
    return longBlockOfLength(static_cast<uint32_t>(part.size()), part);
}

ReplyPayload& ReplyPayload::longBlockOfLength(uint32_t length, std::string_view part) {
    writer_.u8('z').u32(length).raw(part);
    return *this;
}

ReplyPayload& ReplyPayload::shortBlock(std::string_view part, uint8_t tag) {
    writer_.u8(tag).u8(static_cast<uint32_t>(part.size())).raw(part);
    return *this;
}

ReplyPayload& ReplyPayload::endOfStat() {
    writer_.fill(2, kNoise);
    return *this;
}

ReplyPayload& ReplyPayload::raw(const Bytes& bytes) {
    writer_.raw(bytes);
    return *this;
}

}  // namespace wire_test
