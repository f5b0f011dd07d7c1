// Payloads of query replies, put together step by step. What a parser only skips is filled with bytes that would show
// if they were taken for something else.
#ifndef ZULSTATS_TESTS_SUPPORT_REPLY_PAYLOAD_H
#define ZULSTATS_TESTS_SUPPORT_REPLY_PAYLOAD_H

#include <cstdint>
#include <string_view>
#include <vector>

#include "gateway_frames.h"

namespace wire_test {

class ReplyPayload {
  public:
    // The flag of a single response, or the flag and the number of responses.
    ReplyPayload& single(uint8_t flag = 0);
    ReplyPayload& multi(uint32_t responses);

    // The fixed parts in front of a response and its block's tag and length.
    ReplyPayload& responseHead(uint8_t tag = 'w');
    ReplyPayload& queryElement(std::string_view text, int32_t code);

    // A whole response with ids, or one with a negative code, which both kinds of reply have alike.
    ReplyPayload& idResponse(std::string_view element, int32_t code, const std::vector<std::string_view>& ids,
                             uint8_t tag = 'w');
    ReplyPayload& failedResponse(std::string_view element, int32_t code);

    // A statistics response up to its statistics, which follow.
    ReplyPayload& statsResponse(std::string_view element, int32_t code, uint32_t count, uint8_t tag = 'w');
    ReplyPayload& shortStat(std::string_view id, std::string_view value, uint8_t tag = 'w');
    // A long block that holds the whole value, of just the right length or of another one.
    ReplyPayload& longStat(std::string_view id, std::string_view value);
    ReplyPayload& longStat(std::string_view id, std::string_view value, uint32_t chunkLength);

    // A split value: the first block with what it holds of the value, then blocks, then endOfStat.
    ReplyPayload& firstBlock(std::string_view id, uint32_t valueLength, uint32_t chunkLength,
                             std::string_view firstPart);
    ReplyPayload& longBlock(std::string_view part);
    ReplyPayload& shortBlock(std::string_view part, uint8_t tag = 'w');
    ReplyPayload& endOfStat();
    // A long block whose length is given as it stands on the wire.
    ReplyPayload& longBlockOfLength(uint32_t length, std::string_view part);

    ReplyPayload& raw(const Bytes& bytes);

    const Bytes& bytes() const {
        return writer_.bytes();
    }

  private:
    ReplyPayload& statStart(uint8_t tag);

    BytesWriter writer_;
};

}  // namespace wire_test

#endif
