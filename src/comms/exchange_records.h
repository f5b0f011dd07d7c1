// The records that the wire exchanges fill, send and read back.
#ifndef ZULSTATS_COMMS_EXCHANGE_RECORDS_H
#define ZULSTATS_COMMS_EXCHANGE_RECORDS_H

#include <cstdint>

#include "comms/kept_block.h"

namespace stapi {

// Why an exchange failed. Filled for diagnosis; owned by the caller.
struct ReasonsBlock {
    int32_t errno_;   // socket error of a failed send or receive (errno itself is a macro)
    int32_t gwyRc;    // non-zero return code of a reply header
    int32_t authRc;   // non-zero return code of the authorisation handler
    int32_t adminRc;  // non-zero return code of the administration handler
};

constexpr uint32_t kEyecatcherGate = 0x47617465;  // "Gate"
constexpr uint32_t kHeaderVersion = 0x00700000;
constexpr uint32_t kRequestKindCommon = 1;  // authorisation and administration
constexpr uint32_t kRequestKindHandshake = 5;
constexpr uint32_t kRequestKindClose = 10;
constexpr uint32_t kCloseQualifier = 0xFFFFFFFF;

constexpr const char* kServerBase = "BASE";
constexpr const char* kServerAuth = "Auth";
constexpr const char* kServerAdmin = "Admin";

// The header of a request or a reply, without the body.
struct HeaderRecord {
    uint32_t eyecatcher;
    uint32_t version;
    uint32_t flagsWord1;  // request kind
    uint32_t flagsWord2;  // request qualifier
    uint32_t flagsWord3;  // 0 in requests; the gateway's return code in a reply
    uint32_t serverProgramNameLength;
    const char* serverProgramName;
    uint8_t headerFlagByte;
    uint32_t dataLength;   // length of the body in bytes
    uint32_t bodyArrived;  // replies: bytes of the body that arrived; the rest of its block is zero
    KeptBlock* kept;       // the connection's block for the body of the reply, or null: a fresh one
};

constexpr uint32_t kAuthorisationStepInit = 0;
constexpr uint32_t kAuthorisationStepFinal = 1;

struct AuthorisationRecord {
    HeaderRecord header;
    uint32_t step;
    uint32_t returnCode;
    uint8_t credential[8];  // opaque, as received in the reply to the first step
    uint8_t qualifier[4];   // opaque, likewise
    uint8_t extraWord[4];   // 0
    uint8_t result[8];      // opaque, from the reply to the second step
};

constexpr uint32_t kCallTypeInitialise = 0;
constexpr uint32_t kCallTypeGetAttribute = 1;
constexpr uint32_t kCallTypeInvoke = 5;

struct AdminRequest {
    HeaderRecord header;
    uint32_t callType;
    uint32_t adminReturnCode;
    uint8_t adminHandle[4];  // opaque, as received
    uint32_t callLength;     // bytes of the body behind the call-length field
    const char* country;
    const char* language;
    const char* variant;
    const char* objectName;
    const char* attributeName;
    const char* operationName;
    const char* parameterValue;
    const char* parameterType;
    uint8_t exceptionFlag;
    // The reply's payload, header.dataLength bytes, or null. It lies in header.kept, or in a block of its own, which is
    // released by whoever made the call.
    uint8_t* callData;
    uint32_t callDataArrived;  // bytes of the payload that arrived; the rest is zero
};

// Sets every field of a request's header anew, whatever a reply has left in the record, but for kept.
void prepareHeader(HeaderRecord* header, uint32_t requestKind, uint32_t qualifier, const char* serverProgramName,
                   uint32_t dataLength);

}  // namespace stapi

#endif
