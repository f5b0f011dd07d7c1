#include "comms/stapi_zul_socketcomms.h"

#include <algorithm>
#include <cstring>

#include "api/zulstats64.h"
#include "diag/heap_blocks.h"
#include "diag/trace_point.h"
#include "platform/platform.h"
#include "wire/wire_writer.h"

namespace stapi {

namespace {

constexpr size_t kRequestNameArea = 25;
constexpr size_t kHeaderNameLengthOffset = 20;

constexpr const char* kHandshakeLanguage = "en";
constexpr const char* kHandshakeCountry = "GB";
constexpr uint8_t kHandshakeReserved[10] = {};
constexpr uint32_t kHandshakeBodyLength = 18;

// A serialised text follows: the object stream's magic and version, and the tag of a string.
constexpr uint8_t kSerialisedTextStart[] = {0xAC, 0xED, 0x00, 0x05, 0x74};

// Fields of the replies, by offset.
constexpr size_t kAuthReplyStepAndCode = 8;
constexpr size_t kAuthReplyWithResult = 16;
constexpr size_t kAuthReplyWithCredential = 20;
constexpr size_t kAdminReplyTypeAndCode = 8;
constexpr size_t kAdminReplyWithFlag = 9;
constexpr size_t kAdminReplyWithHandle = 12;

HexDumpArea lengthDump(const void* address, int32_t length) {
    return {address, length, 0, static_cast<size_t>(length < 0 ? 0 : length)};
}

// Sends the request; -1 when nothing could be sent.
int32_t sendRequest(int32_t socketDesc, int32_t datalen, const uint8_t* data, ReasonsBlock* reasons) {
    int32_t rc = STAPI_RC_OK;
    TRACE_DATA(3226, lengthDump(data, datalen), "stapi_zul_socketcomms.flow data=%p len=%d stopword=%8.8X\n", at(data),
               datalen, 0);
    const platform::SocketResult sent = platform::sendBytes(socketDesc, data, static_cast<size_t>(datalen));
    if (sent.value < 1) {
        TRACE_EXC(3228, "stapi_zul_socketcomms.flow Unable to write data to socket rc=%d\n", sent.value);
        reasons->errno_ = sent.error;
        TRACE_EXC(3229, "stapi_zul_socketcomms.flow Unable to send data to Gateway: errno=%d\n", sent.error);
        rc = kExchangeNotSent;
    }
    return rc;
}

uint32_t wordAt(const uint8_t* block, size_t size, size_t offset) {
    WireReader reader = makeWireReader(block, size);
    skipBytes(&reader, offset);
    return readU32(&reader);
}

// Holds a received header against what a gateway sends; a name longer than the request's has no room in the block.
int32_t checkReplyHeader(const uint8_t* block, size_t size, size_t nameLength) {
    int32_t rc = STAPI_RC_OK;
    const uint32_t eyecatcher = wordAt(block, size, 0);
    if (eyecatcher != kEyecatcherGate) {
        TRACE_EXC(3251, "stapi_zul_socketcomms.flow Bad eyecatcher! Expected=0x%x, actual=0x%x\n", kEyecatcherGate,
                  eyecatcher);
        rc = STAPI_RC_BAD_EYECATCHER;
    } else if (wordAt(block, size, kHeaderNameLengthOffset) > nameLength) {
        rc = STAPI_RC_BAD_EYECATCHER;
    }
    return rc;
}

// Receives size bytes into a block of zeros; -122 with the reason when that fails.
int32_t receiveBlock(int32_t socketDesc, size_t size, uint8_t* block, int32_t* arrived, ReasonsBlock* reasons) {
    const int32_t readRc = readFromSocket(socketDesc, static_cast<int32_t>(size), block, arrived);
    if (readRc != 0) {
        reasons->errno_ = readRc;
    }
    return readRc == 0 ? STAPI_RC_OK : STAPI_RC_BAD_EYECATCHER;
}

int32_t receiveHeader(int32_t socketDesc, size_t nameLength, HeaderRecord* header, ReasonsBlock* reasons) {
    int32_t rc = STAPI_RC_OK;
    const size_t size = frameLength(nameLength, 0);
    const MemoryHolder<uint8_t> block(static_cast<uint8_t*>(allocateMemory(size)));
    TRACE_DEBUG(3230, "stapi_zul_socketcomms.flow Called malloc for %d bytes. rc=%p\n", static_cast<int32_t>(size),
                at(block.get()));
    if (block == nullptr) {
        TRACE_EXC(3231, "stapi_zul_socketcomms.flowFailed to allocate %d bytes.\n", static_cast<int32_t>(size));
        rc = STAPI_RC_NO_MEMORY;
    }
    if (rc == STAPI_RC_OK) {
        rc = receiveBlock(socketDesc, size, block.get(), nullptr, reasons);
    }
    if (rc == STAPI_RC_OK) {
        rc = checkReplyHeader(block.get(), size, nameLength);
    }
    if (rc == STAPI_RC_OK) {
        populateHeader(block.get(), header, size);
        TRACE_DEBUG(3232, "stapi_zul_socketcomms.flow Free header data %p\n", at(block.get()));
    }
    return rc;
}

// Puts the reply's body in the place of the request.
int32_t receiveBody(int32_t socketDesc, int32_t bodyLength, uint8_t** data, HeaderRecord* header,
                    ReasonsBlock* reasons) {
    int32_t rc = STAPI_RC_OK;
    const void* const released = *data;
    releaseMemory(*data);
    *data = nullptr;
    TRACE_DEBUG(3233, "stapi_zul_socketcomms.flow Free call data %p\n", released);
    TRACE_DEBUG(3234, "stapi_zul_socketcomms.flow (re-)malloc call &data %p\n", at(data));
    KeptBlock* const kept = static_cast<size_t>(bodyLength) < kLeastKeptBody ? nullptr : header->kept;
    *data = kept == nullptr ? static_cast<uint8_t*>(allocateMemory(static_cast<size_t>(bodyLength)))
                            : takeKeptBlock(kept, static_cast<size_t>(bodyLength));
    TRACE_DEBUG(3235, "stapi_zul_socketcomms.flow Called malloc for %d bytes. rc=%p\n", bodyLength, at(*data));
    if (*data == nullptr) {
        TRACE_EXC(3236, "stapi_zul_socketcomms.flow Failed to allocate %d bytes.\n", bodyLength);
        rc = STAPI_RC_NO_MEMORY;
    } else {
        int32_t arrived = 0;
        rc = receiveBlock(socketDesc, static_cast<size_t>(bodyLength), *data, &arrived, reasons);
        header->bodyArrived = static_cast<uint32_t>(arrived);
        if (kept != nullptr) {
            noteReceived(kept, static_cast<size_t>(arrived));
        }
    }
    return rc;
}

int32_t receiveReply(int32_t socketDesc, uint8_t** data, const char* requestName, HeaderRecord* header,
                     ReasonsBlock* reasons) {
    int32_t rc = receiveHeader(socketDesc, std::strlen(requestName), header, reasons);
    if (rc == STAPI_RC_OK) {
        const auto bodyLength = static_cast<int32_t>(header->dataLength);
        if (bodyLength > 0) {
            rc = receiveBody(socketDesc, bodyLength, data, header, reasons);
        } else {
            TRACE_DEBUG(3237, "stapi_zul_socketcomms.flow Managed to read in whole response in one go. data=0x%p\n",
                        at(*data));
        }
    }
    if (rc == STAPI_RC_OK) {
        rc = static_cast<int32_t>(header->flagsWord3);
        if (rc != STAPI_RC_OK) {
            reasons->gwyRc = rc;
        }
    }
    return rc;
}

void writeHandshakeBody(WireWriter* writer) {
    writeText(writer, kHandshakeLanguage);
    writeText(writer, kHandshakeCountry);
    writeBytes(writer, kHandshakeReserved, sizeof kHandshakeReserved);
}

void writeAuthorisationBody(WireWriter* writer, const AuthorisationRecord& request) {
    writeU32(writer, request.step);
    if (request.step == kAuthorisationStepFinal) {
        writeBytes(writer, request.credential, sizeof request.credential);
        writeBytes(writer, request.qualifier, sizeof request.qualifier);
        writeBytes(writer, request.extraWord, sizeof request.extraWord);
    }
}

void writeInvocation(WireWriter* writer, const AdminRequest& request) {
    constexpr uint32_t kParameterCount = 1;
    constexpr uint32_t kSignatureCount = 1;
    writeText(writer, request.operationName);
    writeU32(writer, kParameterCount);
    writeBytes(writer, kSerialisedTextStart, sizeof kSerialisedTextStart);
    writeText(writer, request.parameterValue);
    writeU32(writer, kSignatureCount);
    writeText(writer, request.parameterType);
}

void writeAdminBody(WireWriter* writer, const AdminRequest& request) {
    writeU32(writer, request.callType);
    if (request.callType > kCallTypeInitialise) {
        writeBytes(writer, request.adminHandle, sizeof request.adminHandle);
        writeU32(writer, request.callLength);
        writeText(writer, request.country);
        writeText(writer, request.language);
        writeText(writer, request.variant);
        writeText(writer, request.objectName);
        if (request.callType == kCallTypeInvoke) {
            writeInvocation(writer, request);
        } else if (request.callType == kCallTypeGetAttribute) {
            writeText(writer, request.attributeName);
        }
    }
}

// The body of a request being built, behind its header.
WireWriter bodyWriter(uint8_t* block, const HeaderRecord& header) {
    return makeWireWriter(block + frameLength(header.serverProgramNameLength, 0), header.dataLength);
}

// What stands behind step and code in the reply of size bytes to an authorisation step.
int32_t takeAuthorisation(WireReader* reader, size_t size, AuthorisationRecord* request, ReasonsBlock* reasons) {
    int32_t rc = STAPI_RC_OK;
    if (request->step != kAuthorisationStepInit) {
        if (size < kAuthReplyWithResult) {
            rc = STAPI_RC_BAD_EYECATCHER;
        } else {
            copyBytes(reader, request->result, sizeof request->result);
        }
    } else if (request->returnCode != 0) {
        reasons->authRc = static_cast<int32_t>(request->returnCode);
        TRACE_EXC(3212, "stapi_zul_socketcomms.flowAuthRequestAuth_Init request failed rc=%d\n", reasons->authRc);
        rc = kAuthorisationRefused;
    } else if (size < kAuthReplyWithCredential) {
        rc = STAPI_RC_BAD_EYECATCHER;
    } else {
        copyBytes(reader, request->credential, sizeof request->credential);
        copyBytes(reader, request->qualifier, sizeof request->qualifier);
    }
    return rc;
}

int32_t readAuthorisationReply(const HeldBlock& reply, AuthorisationRecord* request, ReasonsBlock* reasons) {
    int32_t rc = STAPI_RC_BAD_EYECATCHER;
    WireReader reader = makeWireReader(reply.bytes, reply.size);
    if (reply.size >= kAuthReplyStepAndCode) {
        request->step = readU32(&reader);
        request->returnCode = readU32(&reader);
        rc = takeAuthorisation(&reader, reply.size, request, reasons);
    }
    return rc;
}

// A payload of which the first bytes arrived, where the connection keeps it; else in a block of its own, without what
// did not arrive: that is zero there, too. Null when there is no memory for it.
uint8_t* payloadBlock(WireReader* reader, const HeldBlock& reply, KeptBlock* kept, size_t size, size_t arrived) {
    uint8_t* block = nullptr;
    if (isInKeptBlock(kept, reply.bytes)) {
        block = const_cast<uint8_t*>(readBytes(reader, size));
    } else {
        block = static_cast<uint8_t*>(allocateMemory(size));
        if (block != nullptr) {
            copyBytes(reader, block, arrived);
        }
    }
    return block;
}

// Hands the payload of an administration reply over as call data; the reader stands behind the exception flag.
int32_t takeCallData(WireReader* reader, const HeldBlock& reply, AdminRequest* request) {
    int32_t rc = STAPI_RC_OK;
    const size_t payloadSize = reply.size - kAdminReplyWithFlag;
    const size_t payloadArrived = std::max(reply.arrived, kAdminReplyWithFlag) - kAdminReplyWithFlag;
    request->callData = payloadBlock(reader, reply, request->header.kept, payloadSize, payloadArrived);
    TRACE_DEBUG(3203, "stapi_zul_socketcomms.flowAdminRequest Called malloc for %d bytes. rc=%p\n",
                static_cast<int32_t>(payloadSize), at(request->callData));
    if (request->callData == nullptr) {
        TRACE_EXC(3204, "stapi_zul_socketcomms.flowAdminRequestFailed to allocate %d bytes.\n",
                  static_cast<int32_t>(reply.size));
        rc = STAPI_RC_NO_MEMORY;
    } else {
        request->header.dataLength = static_cast<uint32_t>(payloadSize);
        request->callDataArrived = static_cast<uint32_t>(payloadArrived);
    }
    return rc;
}

// What stands behind call type and code in the reply to an administration call.
int32_t takeAdminResult(WireReader* reader, const HeldBlock& reply, AdminRequest* request, ReasonsBlock* reasons) {
    int32_t rc = STAPI_RC_OK;
    if (request->adminReturnCode != 0) {
        reasons->adminRc = static_cast<int32_t>(request->adminReturnCode);
        TRACE_EXC(3206, "stapi_zul_socketcomms.flowAdminRequest Auth Request returned an error AuthRc=%d\n",
                  reasons->adminRc);
        rc = kAdminRefused;
    } else if (request->callType == kCallTypeInitialise) {
        if (reply.size < kAdminReplyWithHandle) {
            rc = STAPI_RC_BAD_EYECATCHER;
        } else {
            copyBytes(reader, request->adminHandle, sizeof request->adminHandle);
        }
    } else if (reply.size < kAdminReplyWithFlag) {
        rc = STAPI_RC_BAD_EYECATCHER;
    } else {
        request->exceptionFlag = readU8(reader);
        if (request->exceptionFlag != 0) {
            TRACE_EXC(3205, "stapi_zul_socketcomms.flowAdminRequest Exception occured during request execution\n");
            rc = kAdminRefused;
        } else {
            rc = takeCallData(reader, reply, request);
        }
    }
    return rc;
}

int32_t readAdminReply(const HeldBlock& reply, AdminRequest* request, ReasonsBlock* reasons) {
    int32_t rc = STAPI_RC_BAD_EYECATCHER;
    WireReader reader = makeWireReader(reply.bytes, reply.size);
    if (reply.size >= kAdminReplyTypeAndCode) {
        request->callType = readU32(&reader);
        request->adminReturnCode = readU32(&reader);
        rc = takeAdminResult(&reader, reply, request, reasons);
    }
    return rc;
}

int32_t takeNothingFromReply(const HeldBlock&) {
    return STAPI_RC_OK;
}

// What one of the requests writes to the trace about its block.
struct RequestPoints {
    TracePoint<int32_t, const void*> allocated;
    TracePoint<int32_t> notAllocated;
    TracePoint<const void*> release;
};

constexpr RequestPoints kHandshakePoints = {
    .allocated = {TraceWord::debug, 3216,
                  "stapi_zul_socketcomms.flowHandshakeRequest Called malloc for %d bytes. rc=%p\n"},
    .notAllocated = {TraceWord::exception, 3217,
                     "stapi_zul_socketcomms.flowHandshakeRequestFailed to allocate %d bytes.\n"},
    .release = {TraceWord::debug, 3218, "stapi_zul_socketcomms.flowHandshakeRequest Free handshake data %p\n"},
};

constexpr RequestPoints kAuthorisationPoints = {
    .allocated = {TraceWord::debug, 3210, "stapi_zul_socketcomms.flowAuthRequest Called malloc for %d bytes. rc=%p\n"},
    .notAllocated = {TraceWord::exception, 3211, "stapi_zul_socketcomms.flowAuthRequestFailed to allocate %d bytes.\n"},
    .release = {TraceWord::debug, 3213, "stapi_zul_socketcomms.flowAuthRequest Free request data %p\n"},
};

constexpr RequestPoints kClosePoints = {
    .allocated = {TraceWord::debug, 3221, "stapi_zul_socketcomms.flowCloseRequest Called malloc for %d bytes. rc=%p\n"},
    .notAllocated = {TraceWord::exception, 3222,
                     "stapi_zul_socketcomms.flowCloseRequest Failed to allocate %d bytes.\n"},
    .release = {TraceWord::debug, 3223, "stapi_zul_socketcomms.flowCloseRequest Free close request data %p\n"},
};

constexpr RequestPoints kAdminPoints = {
    .allocated = {TraceWord::debug, 3201, "stapi_zul_socketcomms.flowAdminRequest Called malloc for %d bytes. rc=%p\n"},
    .notAllocated = {TraceWord::exception, 3202,
                     "stapi_zul_socketcomms.flowAdminRequestFailed to allocate %d bytes.\n"},
    .release = {TraceWord::debug, 3207, "stapi_zul_socketcomms.flowAdminRequest Free request data %p\n"},
};

// The exchange of a request whose block stands ready in *data: body and reply are the request's own affair.
template <typename WriteBody, typename ReadReply>
int32_t exchangeRequest(int32_t socketDesc, size_t size, uint8_t** data, HeaderRecord* header, ReasonsBlock* reasons,
                        WriteBody writeBody, ReadReply readReply) {
    const char* const requestName = header->serverProgramName;
    writeHeader(header, *data);
    WireWriter body = bodyWriter(*data, *header);
    writeBody(&body);
    // A body that does not fill its announced length would put the daemon out of step, so it is not sent.
    int32_t rc = isFilled(body) ? flow(socketDesc, static_cast<int32_t>(size), data, requestName, header, reasons)
                                : kExchangeNotSent;
    if (rc == STAPI_RC_OK) {
        rc = readReply(heldBlock(*data, *header, size));
    }
    return rc;
}

// Every request but its entry and exit: its block, the exchange, and the release of the block that holds the reply
// then.
template <typename WriteBody, typename ReadReply>
int32_t flowRequest(const RequestPoints& points, int32_t socketDesc, HeaderRecord* header, ReasonsBlock* reasons,
                    WriteBody writeBody, ReadReply readReply) {
    int32_t rc = STAPI_RC_OK;
    const size_t size = frameLength(header->serverProgramNameLength, header->dataLength);
    auto* data = static_cast<uint8_t*>(allocateMemory(size));
    TRACE_POINT(points.allocated, static_cast<int32_t>(size), at(data));
    if (data == nullptr) {
        TRACE_POINT(points.notAllocated, static_cast<int32_t>(size));
        rc = STAPI_RC_NO_MEMORY;
    } else {
        rc = exchangeRequest(socketDesc, size, &data, header, reasons, writeBody, readReply);
        TRACE_POINT(points.release, at(data));
        if (!isInKeptBlock(header->kept, data)) {
            releaseMemory(data);
        }
    }
    return rc;
}

}  // namespace

void prepareHeader(HeaderRecord* header, uint32_t requestKind, uint32_t qualifier, const char* serverProgramName,
                   uint32_t dataLength) {
    header->eyecatcher = kEyecatcherGate;
    header->version = kHeaderVersion;
    header->flagsWord1 = requestKind;
    header->flagsWord2 = qualifier;
    header->flagsWord3 = 0;
    header->serverProgramNameLength = static_cast<uint32_t>(std::strlen(serverProgramName));
    header->serverProgramName = serverProgramName;
    header->headerFlagByte = 0;
    header->dataLength = dataLength;
}

// The writer and the reader take the two words at offsets 12 and 16 crosswise: a request's qualifier stands where a
// reply has its return code.
void writeHeader(const HeaderRecord* req, uint8_t* data) {
    TRACE_ENTRY(3248, "stapi_zul_socketcomms.writeHeader(req=%p, data=%p)\n", at(req), at(data));
    WireWriter writer = makeWireWriter(data, frameLength(req->serverProgramNameLength, 0));
    writeU32(&writer, req->eyecatcher);
    writeU32(&writer, req->version);
    writeU32(&writer, req->flagsWord1);
    writeU32(&writer, req->flagsWord3);
    writeU32(&writer, req->flagsWord2);
    writeU32(&writer, req->serverProgramNameLength);
    writeBytes(&writer, req->serverProgramName, req->serverProgramNameLength);
    writeU8(&writer, req->headerFlagByte);
    writeU32(&writer, req->dataLength);
    TRACE_EXIT(3249, "stapi_zul_socketcomms.writeHeader(req=%p, data=%p)\n", at(req), at(data));
}

void populateHeader(const uint8_t* data, HeaderRecord* req, size_t size) {
    TRACE_ENTRY(3246, "stapi_zul_socketcomms.populateHeader(data=%p, req=%p)\n", at(data), at(req));
    WireReader reader = makeWireReader(data, size);
    req->eyecatcher = readU32(&reader);
    req->version = readU32(&reader);
    req->flagsWord1 = readU32(&reader);
    req->flagsWord2 = readU32(&reader);
    req->flagsWord3 = readU32(&reader);
    req->serverProgramNameLength = readU32(&reader);
    skipBytes(&reader, req->serverProgramNameLength);
    req->headerFlagByte = readU8(&reader);
    req->dataLength = readU32(&reader);
    TRACE_EXIT(3247, "stapi_zul_socketcomms.populateHeader(data=%p, req=%p)\n", at(data), at(req));
}

int32_t readFromSocket(int32_t socketDesc, int32_t dataSize, uint8_t* dataBuf, int32_t* arrived) {
    int32_t rc = 0;
    int32_t total = 0;
    TRACE_ENTRY(3239, "stapi_zul_socketcomms.readFromSocket(socketDesc=%d, dataSize=%d, dataBuf=%p)\n", socketDesc,
                dataSize, at(dataBuf));
    platform::SocketResult piece = platform::receiveBytes(socketDesc, dataBuf, static_cast<size_t>(dataSize));
    TRACE_DEBUG(3240,
                "stapi_zul_socketcomms.readFromSocket recv(socketDesc=%d, dataSize=%d, dataBuf=%p) readData=%d)\n",
                socketDesc, dataSize, at(dataBuf), piece.value);
    if (piece.value == 0) {
        rc = -1;
    } else if (piece.value < 0) {
        rc = piece.error;
        TRACE_EXC(3244, "stapi_zul_socketcomms.readFromSocket read returned an error code: errno=%d\n", rc);
    } else {
        total = piece.value;
    }
    while (piece.value > 0 && total < dataSize) {
        piece = platform::receiveBytes(socketDesc, dataBuf + total, static_cast<size_t>(dataSize - total));
        TRACE_DEBUG(
            3241,
            "stapi_zul_socketcomms.readFromSocket recv(socketDesc=%d, dataSize=%d, dataBuf=%p) readData=%d, totaldata=%d)\n",
            socketDesc, dataSize, at(dataBuf), piece.value, total);
        if (piece.value > 0) {
            total += piece.value;
        } else {
            rc = piece.error;  // 0 when the peer closed: the caller goes on, and what is missing reads as zero
            TRACE_EXC(3242, "stapi_zul_socketcomms.readFromSocket read returned an error code: errno=%d\n", rc);
        }
    }
    if (arrived != nullptr) {
        *arrived = total;
    }
    if (total > 0) {
        TRACE_DATA(3243, lengthDump(dataBuf, total),
                   "stapi_zul_socketcomms.readFromSocket data=%p len=%d stopword=%8.8X\n", at(dataBuf), total, 0);
    }
    TRACE_EXIT(3245, "stapi_zul_socketcomms.readFromSocket(socketDesc=%d, dataSize=%d, dataBuf=%p) rc=%d\n", socketDesc,
               dataSize, at(dataBuf), rc);
    return rc;
}

int32_t flow(int32_t socketDesc, int32_t datalen, uint8_t** data, const char* requestName, HeaderRecord* header,
             ReasonsBlock* reasons) {
    int32_t rc = STAPI_RC_OK;
    char name[kRequestNameArea] = {};
    std::memcpy(name, requestName, boundedLength(requestName, sizeof name - 1));
    TRACE_ENTRY(
        3225,
        "stapi_zul_socketcomms.flow(socketDesc=%d, datalen=%d, &data=%p, requestName=%s, header=%p, reasons=%p)\n",
        socketDesc, datalen, at(data), name, at(header), at(reasons));
    if (datalen < 1 || data == nullptr || *data == nullptr) {
        TRACE_EXC(3227, "stapi_zul_socketcomms.flow No data to flow!!\n");
        rc = kExchangeNotSent;
    }
    if (rc == STAPI_RC_OK) {
        rc = sendRequest(socketDesc, datalen, *data, reasons);
    }
    if (rc == STAPI_RC_OK) {
        const platform::SocketResult readable = platform::waitReadable(socketDesc);
        rc = readable.value < 0 ? readable.value : STAPI_RC_OK;
    }
    if (rc == STAPI_RC_OK) {
        rc = receiveReply(socketDesc, data, name, header, reasons);
    }
    if (rc == STAPI_RC_OK) {
        TRACE_EVENT(3250, "stapi_zul_socketcomms.flow Successfully sent and received data with Gateway on socket %d\n",
                    socketDesc);
    }
    TRACE_EXIT(
        3238,
        "stapi_zul_socketcomms.flow(socketDesc=%d, datalen=%d, data=%p, requestName=%s, header=%p, reasons=%p) rc=%d\n",
        socketDesc, datalen, at(data == nullptr ? nullptr : *data), name, at(header), at(reasons), rc);
    return rc;
}

HeldBlock heldBlock(const uint8_t* data, const HeaderRecord& replyHeader, size_t requestLength) {
    HeldBlock held = {data, requestLength, requestLength};
    if (static_cast<int32_t>(replyHeader.dataLength) > 0) {
        held = {data, replyHeader.dataLength, replyHeader.bodyArrived};
    }
    return held;
}

int32_t flowHandshakeRequest(int32_t socketDesc, ReasonsBlock* reasons) {
    TRACE_ENTRY(3215, "stapi_zul_socketcomms.flowHandshakeRequest(socketDesc=%d, *reasons=%p)\n", socketDesc,
                at(reasons));
    HeaderRecord header = {};
    prepareHeader(&header, kRequestKindHandshake, 0, kServerBase, kHandshakeBodyLength);
    const int32_t rc =
        flowRequest(kHandshakePoints, socketDesc, &header, reasons, writeHandshakeBody, takeNothingFromReply);
    TRACE_EXIT(3219, "stapi_zul_socketcomms.flowHandshakeRequest(socketDesc=%d, *reasons=%p) rc=%d\n", socketDesc,
               at(reasons), rc);
    return rc;
}

int32_t flowAuthRequest(int32_t socketDesc, AuthorisationRecord* request, ReasonsBlock* reasons) {
    TRACE_ENTRY(3209, "stapi_zul_socketcomms.flowAuthRequest(socketDesc=%d, *request=%p, *reasons=%p)\n", socketDesc,
                at(request), at(reasons));
    const int32_t rc = flowRequest(
        kAuthorisationPoints, socketDesc, &request->header, reasons,
        [request](WireWriter* writer) { writeAuthorisationBody(writer, *request); },
        [request, reasons](const HeldBlock& reply) { return readAuthorisationReply(reply, request, reasons); });
    TRACE_EXIT(3214, "stapi_zul_socketcomms.flowAuthRequest(socketDesc=%d, *request=%p, *reasons=%p) rc=%d\n",
               socketDesc, at(request), at(reasons), rc);
    return rc;
}

int32_t flowCloseRequest(int32_t socketDesc, ReasonsBlock* reasons) {
    TRACE_ENTRY(3220, "stapi_zul_socketcomms.flowCloseRequest(socketDesc=%d, *reasons=%p)\n", socketDesc, at(reasons));
    HeaderRecord header = {};
    prepareHeader(&header, kRequestKindClose, kCloseQualifier, kServerBase, 0);
    const int32_t rc = flowRequest(
        kClosePoints, socketDesc, &header, reasons, [](WireWriter*) {}, takeNothingFromReply);
    TRACE_EXIT(3224, "stapi_zul_socketcomms.flowCloseRequest(socketDesc=%d, *reasons=%p) rc=%d\n", socketDesc,
               at(reasons), rc);
    return rc;
}

int32_t flowAdminRequest(int32_t socketDesc, AdminRequest* request, ReasonsBlock* reasons) {
    TRACE_ENTRY(3200, "stapi_zul_socketcomms.flowAdminRequest(socketDesc=%d, *request=%p, *reasons=%p)\n", socketDesc,
                at(request), at(reasons));
    const int32_t rc = flowRequest(
        kAdminPoints, socketDesc, &request->header, reasons,
        [request](WireWriter* writer) { writeAdminBody(writer, *request); },
        [request, reasons](const HeldBlock& reply) { return readAdminReply(reply, request, reasons); });
    TRACE_EXIT(3208, "stapi_zul_socketcomms.flowAdminRequest(socketDesc=%d, *request=%p, *reasons=%p) rc=%d\n",
               socketDesc, at(request), at(reasons), rc);
    return rc;
}

int32_t mapExchangeCode(int32_t exchangeRc, const ReasonsBlock& reasons) {
    int32_t rc = STAPI_RC_OK;
    if (exchangeRc == kExchangeNotSent ||
        (exchangeRc == kGatewayCommsFailure && reasons.gwyRc == kGatewayConnectionGone)) {
        rc = STAPI_RC_SOCKET_ERROR;
    } else if (exchangeRc != STAPI_RC_OK) {
        rc = STAPI_RC_BAD_EYECATCHER;
    }
    return rc;
}

}  // namespace stapi
