// The frame in which everything travels to and from the daemon, and the exchanges: handshake, authorisation, close and
// administration. An exchange takes no lock, and waits for its reply without limit.
#ifndef ZULSTATS_COMMS_STAPI_ZUL_SOCKETCOMMS_H
#define ZULSTATS_COMMS_STAPI_ZUL_SOCKETCOMMS_H

#include <cstddef>
#include <cstdint>

#include "comms/exchange_records.h"
#include "wire/wire_reader.h"

namespace stapi {

// Internal codes of the exchanges, besides STAPI_RC_NO_MEMORY and STAPI_RC_BAD_EYECATCHER.
constexpr int32_t kExchangeNotSent = -1;
constexpr int32_t kAuthorisationRefused = -2;
constexpr int32_t kAdminRefused = -3;

// The codes that say that the daemon has dropped the connection.
constexpr int32_t kGatewayCommsFailure = -4;
constexpr int32_t kGatewayConnectionGone = 61444;

// Bytes of a header besides the server program name.
constexpr size_t kHeaderFixedLength = 29;

// Bytes of a request or reply with this name and body.
constexpr size_t frameLength(size_t nameLength, size_t bodyLength) {
    return kHeaderFixedLength + nameLength + bodyLength;
}

// Writes a header at data, which has room for frameLength(req->serverProgramNameLength, 0) bytes.
void writeHeader(const HeaderRecord* req, uint8_t* data);

// Fills a record from a received header of size bytes, but for the name pointer. What the header lacks reads as 0.
void populateHeader(const uint8_t* data, HeaderRecord* req, size_t size = kUnboundedPayload);

// Receives dataSize bytes into a block, and touches no more of it than what arrives; that many bytes are told
// in *arrived, unless it is null. 0; -1 when the peer closed before the first byte; else the socket's error, which is 0
// when the peer closed later.
int32_t readFromSocket(int32_t socketDesc, int32_t dataSize, uint8_t* dataBuf, int32_t* arrived = nullptr);

// One exchange: sends the datalen bytes of *data and receives the reply. A reply body takes the place of the request:
// the request's block is released and *data is the reply's. A reply without a body leaves the request in place. The
// caller releases *data in any case (it is null after a failed allocation), unless it lies in header->kept, where a
// long body is received when that is not null. The reply's header lands in *header. 0; -1 nothing to send, send failed,
// or the wait failed with its own negative value; -111; -122 receive failed or no gateway frame; else the non-zero
// return code of the reply.
int32_t flow(int32_t socketDesc, int32_t datalen, uint8_t** data, const char* requestName, HeaderRecord* header,
             ReasonsBlock* reasons);

// What *data holds after a successful flow of a request of requestLength bytes: a block of size bytes, of which the
// first arrived ones have been received, or are the request's own.
struct HeldBlock {
    const uint8_t* bytes;
    size_t size;
    size_t arrived;
};
HeldBlock heldBlock(const uint8_t* data, const HeaderRecord& replyHeader, size_t requestLength);

// 0, -111, or a code of flow.
int32_t flowHandshakeRequest(int32_t socketDesc, ReasonsBlock* reasons);
// One authorisation step; the caller has set the header and the step of the record. 0; -2 refused (reasons->authRc
// holds the daemon's code); -111; -122 reply too short; a code of flow.
int32_t flowAuthRequest(int32_t socketDesc, AuthorisationRecord* request, ReasonsBlock* reasons);
// 0, -111, or a code of flow.
int32_t flowCloseRequest(int32_t socketDesc, ReasonsBlock* reasons);
// One administration call; the caller has filled the record, with header.dataLength the length of the body. On 0 with a
// call type other than initialise, callData are header.dataLength bytes: in header.kept, or in a new block that belongs
// to the caller. 0; -3 refused (reasons->adminRc holds the daemon's code) or ended with an exception; -111; -122 reply
// too short; a code of flow.
int32_t flowAdminRequest(int32_t socketDesc, AdminRequest* request, ReasonsBlock* reasons);

// What the code of an exchange means for a caller of the library: 0; -102 the connection is gone; -122 any other
// failure.
int32_t mapExchangeCode(int32_t exchangeRc, const ReasonsBlock& reasons);

}  // namespace stapi

#endif
