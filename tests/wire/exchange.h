// One exchange over a socket, as a caller of flow makes it.
#ifndef ZULSTATS_TESTS_WIRE_EXCHANGE_H
#define ZULSTATS_TESTS_WIRE_EXCHANGE_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "comms/stapi_zul_socketcomms.h"
#include "diag/heap_blocks.h"
#include "gateway_frames.h"
#include "library_block.h"
#include "scripted_peer.h"

namespace wire_test {

constexpr uint8_t kUntouched = 0xEE;
// Behind them stands what the caller has to say.
constexpr size_t kFieldsOfReply = offsetof(stapi::HeaderRecord, kept);

// A request whose content only the peer looks at.
inline Bytes someRequest() {
    return hex("A0 A1 A2 A3 A4 A5 A6 A7");
}

struct Exchange {
    explicit Exchange(const Bytes& requestBytes = someRequest())
        : request(libraryBlock(requestBytes)), data(request), length(static_cast<int32_t>(requestBytes.size())) {
        std::memset(static_cast<void*>(&header), kUntouched, kFieldsOfReply);
    }
    ~Exchange() {
        stapi::releaseMemory(data);
    }
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;

    int32_t run(int32_t socket, const char* name = "BASE") {
        return stapi::flow(socket, length, &data, name, &header, &reasons);
    }
    bool hasUntouchedHeader() const {
        return bytesAt(&header, kFieldsOfReply) == Bytes(kFieldsOfReply, kUntouched);
    }

    uint8_t* const request;
    uint8_t* data;
    int32_t length;
    stapi::HeaderRecord header = {};
    stapi::ReasonsBlock reasons = {};
};

// The reasons block's fields in their order.
inline std::vector<int32_t> fieldsOf(const stapi::ReasonsBlock& reasons) {
    return {reasons.errno_, reasons.gwyRc, reasons.authRc, reasons.adminRc};
}

using Reasons = std::vector<int32_t>;

}  // namespace wire_test

#endif
