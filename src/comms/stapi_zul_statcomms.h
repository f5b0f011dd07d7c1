// The statistics requests, and the parsers that flatten their replies into result-set buffers.
#ifndef ZULSTATS_COMMS_STAPI_ZUL_STATCOMMS_H
#define ZULSTATS_COMMS_STAPI_ZUL_STATCOMMS_H

#include <cstddef>
#include <cstdint>

#include "comms/exchange_records.h"
#include "comms/gateway_token.h"
#include "wire/wire_reader.h"

namespace stapi {

constexpr const char* kQueryGetStats = "GET_STATS";
constexpr const char* kQueryStatIds = "STAT_IDS";
constexpr const char* kQueryResourceGroups = "RESOURCE_GROUPS";

// Asks the daemon for its protocol version and stores it in the token. 0; -111; -122 the reply holds no version; a code
// of flowAdminRequest.
int32_t statProtocolVer(GatewayToken* gwTokPtr, ReasonsBlock* reasons);

// Obtains an administration handle for the record's next call. A code of flowAdminRequest.
int32_t getInitAdminRequest(int32_t socketDesc, AdminRequest* admin, ReasonsBlock* reasons);

// Runs a query and parses its reply into *buffer, a result-set buffer of capacity *bufferLen; both change when the
// buffer grows, and *buffer is null after a failed growth. queryString is null-terminated. 0; -111; -122 malformed
// reply or reply without a payload; a code of flowAdminRequest. The reply is received into kept, unless that is null.
int32_t statCommsString(int32_t socketDesc, const char* queryType, const char* queryString, char** buffer,
                        int32_t* bufferLen, ReasonsBlock* reasons, KeptBlock* kept = nullptr);
// The same with an empty query string.
int32_t statComms(int32_t socketDesc, const char* queryType, char** buffer, int32_t* bufferLen, ReasonsBlock* reasons,
                  KeptBlock* kept = nullptr);

// Bytes of the body that follow the call-length field of an invocation, and of a request for an attribute.
int32_t calculateCallLength(const AdminRequest* admin);
int32_t calculateGetAttrCallLength(const AdminRequest* admin);

// Parse a reply payload of rawDataSize bytes into *resultSetBuffer, as statCommsString. 0; -111 the buffer could not
// grow; -122 the payload is malformed or ends too early (the buffer then holds what was read, terminated).
int32_t parseIdsData(const uint8_t* rawData, char** resultSetBuffer, int32_t* resultSetBufferLen,
                     size_t rawDataSize = kUnboundedPayload);
int32_t parseStatsData(const uint8_t* rawData, char** resultSetBuffer, int32_t* resultSetBufferLen,
                       size_t rawDataSize = kUnboundedPayload);

// Doubles a buffer and moves the write cursor along. 0; -111: *resultSetBuffer is null, the old buffer is released,
// capacity and cursor are unchanged.
int32_t reallocResultsSetBuffer(char** resultSetBuffer, int32_t* resultSetBufferLen, char** buffer,
                                int32_t totaldatawritten);

}  // namespace stapi

#endif
