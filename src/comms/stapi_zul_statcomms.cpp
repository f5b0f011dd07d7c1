#include "comms/stapi_zul_statcomms.h"

#include <cstring>

#include "api/zulstats64.h"
#include "comms/stapi_zul_socketcomms.h"
#include "diag/heap_blocks.h"
#include "diag/stapi_zul_diag.h"

namespace stapi {

namespace {

constexpr const char* kCountry = "US";
constexpr const char* kLanguage = "en";
constexpr const char* kVariant = "";
constexpr const char* kObjectName = "DefaultDomain:ProdId=com.oxa.zul,Activity=Control,type=Stats";
constexpr const char* kProtocolAttribute = "protocol";
constexpr const char* kStringType = "java.lang.String";

constexpr size_t kQueryTypeArea = 25;
constexpr uint32_t kInitialiseBodyLength = 4;
constexpr int32_t kCallPrefixLength = 12;  // call type, handle and the call-length field itself
constexpr size_t kVersionTextOffset = 6;   // of the length of the version text in the payload

// A text with its 16-bit length.
int32_t textLength(const char* text) {
    return static_cast<int32_t>(std::strlen(text)) + 2;
}

int32_t commonCallLength(const AdminRequest& admin) {
    return textLength(admin.country) + textLength(admin.language) + textLength(admin.variant) +
           textLength(admin.objectName);
}

void releaseCallData(AdminRequest* admin) {
    if (!isInKeptBlock(admin->header.kept, admin->callData)) {
        releaseMemory(admin->callData);
    }
    admin->callData = nullptr;
}

// What every real call sets after the initialisation has brought its handle.
void prepareCall(AdminRequest* admin, uint32_t callType) {
    releaseCallData(admin);  // an initialisation reply may have brought some
    admin->callType = callType;
    admin->adminReturnCode = 0;
    admin->exceptionFlag = 0;
    admin->country = kCountry;
    admin->language = kLanguage;
    admin->variant = kVariant;
    admin->objectName = kObjectName;
}

int32_t sendCall(int32_t socketDesc, int32_t callLength, AdminRequest* admin, ReasonsBlock* reasons) {
    admin->callLength = static_cast<uint32_t>(callLength);
    prepareHeader(&admin->header, kRequestKindCommon, 0, kServerAdmin,
                  static_cast<uint32_t>(callLength + kCallPrefixLength));
    int32_t rc = flowAdminRequest(socketDesc, admin, reasons);
    if (rc == STAPI_RC_OK && admin->callData == nullptr) {
        rc = STAPI_RC_BAD_EYECATCHER;  // answered as if it were an initialisation: there is no payload
    }
    return rc;
}

// Makes room for size bytes in the token's version area.
bool reserveVersionArea(GatewayToken* token, size_t size) {
    if (token->protocolVersion != nullptr && token->protocolVersionSize < size) {
        auto* const larger = static_cast<char*>(allocateMemory(size));
        releaseMemory(token->protocolVersion);
        token->protocolVersion = larger;
        token->protocolVersionSize = larger == nullptr ? 0 : size;
    }
    return token->protocolVersion != nullptr;
}

int32_t storeVersion(GatewayToken* token, const AdminRequest& admin) {
    int32_t rc = STAPI_RC_OK;
    WireReader reader = makeWireReader(admin.callData, admin.header.dataLength);
    skipBytes(&reader, kVersionTextOffset);
    const size_t length = readU16(&reader);
    const uint8_t* const text = readBytes(&reader, length);
    if (reader.overrun) {
        rc = STAPI_RC_BAD_EYECATCHER;
    } else {
        const auto size = static_cast<int32_t>(length) + 1;
        const bool reserved = reserveVersionArea(token, static_cast<size_t>(size));
        TRACE_DEBUG(2203, "stapi_zul_statcomms.statProtocolVer Called malloc for %d bytes. rc=%p\n", size,
                    at(token->protocolVersion));
        if (reserved) {
            std::memcpy(token->protocolVersion, text, length);
            token->protocolVersion[length] = '\0';
        } else {
            TRACE_EXC(2204, "stapi_zul_statcomms.statProtocolVerFailed to allocate %d bytes.\n", size);
            rc = STAPI_RC_NO_MEMORY;
        }
    }
    return rc;
}

int32_t parseReply(const char* queryType, const AdminRequest& admin, char** buffer, int32_t* bufferLen) {
    int32_t rc = STAPI_RC_OK;
    const auto dataLength = static_cast<int32_t>(admin.header.dataLength);
    const auto arrived = static_cast<int32_t>(admin.callDataArrived);
    const HexDumpArea payload = {admin.callData, arrived, 0, admin.callDataArrived};
    TRACE_DATA(2230, payload, "stapi_zul_statcomms.statCommsString data=%p len=%d stopword=%8.8X\n", at(admin.callData),
               dataLength, 0);
    if (std::strcmp(queryType, kQueryGetStats) == 0) {
        TRACE_DEBUG(2210, "stapi_zul_statcomms.statCommsString Successfully called the Gateway for Stats\n");
        rc = parseStatsData(admin.callData, buffer, bufferLen, admin.header.dataLength);
    } else {
        TRACE_DEBUG(2211, "stapi_zul_statcomms.statCommsString Successfully called the Gateway for IDs\n");
        rc = parseIdsData(admin.callData, buffer, bufferLen, admin.header.dataLength);
    }
    return rc;
}

}  // namespace

int32_t getInitAdminRequest(int32_t socketDesc, AdminRequest* admin, ReasonsBlock* reasons) {
    TRACE_ENTRY(2214, "stapi_zul_statcomms.getInitAdminRequest(socketDesc=%d, admin=%p, reasons=%p)\n", socketDesc,
                at(admin), at(reasons));
    prepareHeader(&admin->header, kRequestKindCommon, 0, kServerAdmin, kInitialiseBodyLength);
    admin->callType = kCallTypeInitialise;
    admin->callData = nullptr;
    const int32_t rc = flowAdminRequest(socketDesc, admin, reasons);
    TRACE_EXIT(2215, "stapi_zul_statcomms.getInitAdminRequest(socketDesc=%d, admin=%p, reasons=%p) rc=%d\n", socketDesc,
               at(admin), at(reasons), rc);
    return rc;
}

int32_t statProtocolVer(GatewayToken* gwTokPtr, ReasonsBlock* reasons) {
    TRACE_ENTRY(2200, "stapi_zul_statcomms.statProtocolVer(gwTokPtr=%p)\n", at(gwTokPtr));
    AdminRequest admin = {};
    int32_t rc = getInitAdminRequest(gwTokPtr->socket, &admin, reasons);
    if (rc == STAPI_RC_OK) {
        TRACE_DEBUG(2201, "stapi_zul_statcomms.statProtocolVer Successfully init'd admin request\n");
        prepareCall(&admin, kCallTypeGetAttribute);
        admin.attributeName = kProtocolAttribute;
        rc = sendCall(gwTokPtr->socket, calculateGetAttrCallLength(&admin), &admin, reasons);
    }
    if (rc == STAPI_RC_OK) {
        TRACE_DEBUG(2202,
                    "stapi_zul_statcomms.statProtocolVer Successfully got the protocol version from the Gateway\n");
        rc = storeVersion(gwTokPtr, admin);
    }
    if (admin.callData != nullptr) {
        TRACE_DEBUG(2242, "stapi_zul_statcomms.statProtocolVer Free request callData %p\n", at(admin.callData));
        releaseCallData(&admin);
    }
    TRACE_EXIT(2205, "stapi_zul_statcomms.statProtocolVer(gwTokPtr=%p) rc=%d\n", at(gwTokPtr), rc);
    return rc;
}

int32_t statComms(int32_t socketDesc, const char* queryType, char** buffer, int32_t* bufferLen, ReasonsBlock* reasons,
                  KeptBlock* kept) {
    TRACE_ENTRY(2206,
                "stapi_zul_statcomms.statComms(socketDesc=%d, queryType=%s, *buffer=%p, *bufferLen=%d, reasons=%p)\n",
                socketDesc, queryType, at(*buffer), *bufferLen, at(reasons));
    const int32_t rc = statCommsString(socketDesc, queryType, "", buffer, bufferLen, reasons, kept);
    TRACE_EXIT(
        2207,
        "stapi_zul_statcomms.statComms(socketDesc=%d, queryType=%s, *buffer=%p, *bufferLen=%d, reasons=%p) rc=%d\n",
        socketDesc, queryType, at(*buffer), *bufferLen, at(reasons), rc);
    return rc;
}

int32_t statCommsString(int32_t socketDesc, const char* queryType, const char* queryString, char** buffer,
                        int32_t* bufferLen, ReasonsBlock* reasons, KeptBlock* kept) {
    char tracedType[kQueryTypeArea] = {};
    std::memcpy(tracedType, queryType, boundedLength(queryType, sizeof tracedType - 1));
    TRACE_ENTRY(
        2208,
        "stapi_zul_statcomms.statCommsString(socketDesc=%d, queryType=%s, queryString=%p, *buffer=%p, *bufferLen=%d, reasons=%p)\n",
        socketDesc, tracedType, at(queryString), at(*buffer), *bufferLen, at(reasons));
    AdminRequest admin = {};
    admin.header.kept = kept;
    int32_t rc = getInitAdminRequest(socketDesc, &admin, reasons);
    if (rc == STAPI_RC_OK) {
        TRACE_DEBUG(2209, "stapi_zul_statcomms.statCommsString Successfully init'd the Admin Request\n");
        prepareCall(&admin, kCallTypeInvoke);
        admin.operationName = queryType;
        admin.parameterValue = queryString;
        admin.parameterType = kStringType;
        rc = sendCall(socketDesc, calculateCallLength(&admin), &admin, reasons);
    }
    if (rc == STAPI_RC_OK) {
        rc = parseReply(queryType, admin, buffer, bufferLen);
    }
    if (admin.callData != nullptr) {
        TRACE_DEBUG(2212, "stapi_zul_statcomms.statCommsString Free request callData %p\n", at(admin.callData));
        releaseCallData(&admin);
    }
    if (kept != nullptr) {
        reviewKeptBlock(kept, admin.callDataArrived);
    }
    TRACE_EXIT(
        2213,
        "stapi_zul_statcomms.statCommsString(socketDesc=%d, queryType=%s, queryString=%p, *buffer=%p, *bufferLen=%d, reasons=%p) rc=%d\n",
        socketDesc, tracedType, at(queryString), at(*buffer), *bufferLen, at(reasons), rc);
    return rc;
}

int32_t calculateCallLength(const AdminRequest* admin) {
    constexpr int32_t kCountField = 4;  // stands before the parameter value, and before its type
    constexpr int32_t kSerialisedTextStart = 5;
    TRACE_ENTRY(2216, "stapi_zul_statcomms.calculateCallLength(admin=%p)\n", at(admin));
    const int32_t size = commonCallLength(*admin) + textLength(admin->operationName) + kCountField +
                         kSerialisedTextStart + textLength(admin->parameterValue) + kCountField +
                         textLength(admin->parameterType);
    TRACE_EXIT(2217, "stapi_zul_statcomms.calculateCallLengthsize=%d\n", size);
    return size;
}

int32_t calculateGetAttrCallLength(const AdminRequest* admin) {
    TRACE_ENTRY(2218, "stapi_zul_statcomms.calculateGetAttrCallLength(admin=%p)\n", at(admin));
    const int32_t size = commonCallLength(*admin) + textLength(admin->attributeName);
    TRACE_EXIT(2219, "stapi_zul_statcomms.calculateGetAttrCallLengthsize=%d\n", size);
    return size;
}

}  // namespace stapi
