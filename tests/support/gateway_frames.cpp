#include "gateway_frames.h"

namespace wire_test {

Bytes replyHeader(std::string_view name, uint32_t returnCode, uint32_t dataLength) {
    return BytesWriter()
        .raw("Gate")
        .u32(0x00700000)
        .u32(1)
        .u32(0)
        .u32(returnCode)
        .u32(static_cast<uint32_t>(name.size()))
        .raw(name)
        .u8(0)
        .u32(dataLength)
        .bytes();
}

Bytes reply(std::string_view name, const Bytes& body, uint32_t returnCode) {
    return replyHeader(name, returnCode, static_cast<uint32_t>(body.size())) + body;
}

}  // namespace wire_test
