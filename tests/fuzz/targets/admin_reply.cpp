// One administration call. Behind the circumstances one byte chooses the call; the rest is the replies.
#include <cstring>
#include <memory>
#include <string>

#include "comms/stapi_zul_socketcomms.h"
#include "comms/stapi_zul_statcomms.h"
#include "diag/heap_blocks.h"
#include "target_list.h"
#include "world.h"

namespace fuzz_test {

namespace {

// A token with what asking for the version needs.
class VersionToken {
  public:
    explicit VersionToken(size_t areaSize) {
        token_.socket = kSocket;
        token_.protocolVersion = static_cast<char*>(stapi::allocateMemory(areaSize));
        token_.protocolVersionSize = token_.protocolVersion == nullptr ? 0 : areaSize;
    }
    ~VersionToken() {
        stapi::releaseMemory(token_.protocolVersion);
    }
    VersionToken(const VersionToken&) = delete;
    VersionToken& operator=(const VersionToken&) = delete;

    GatewayToken* get() {
        return &token_;
    }

  private:
    GatewayToken token_ = {};
};

int fuzzVersion(size_t areaSize) {
    VersionToken token(areaSize);
    stapi::ReasonsBlock reasons = {};
    const int32_t rc = stapi::statProtocolVer(token.get(), &reasons);
    const char* const text = token.get()->protocolVersion;
    if (text != nullptr) {
        const size_t area = token.get()->protocolVersionSize;
        require(std::memchr(text, 0, area) != nullptr, "the version text does not end inside its area");
        touch(text, area);
    }
    return rc == 0 ? 2 : 0;
}

// The call data that a successful call leaves: its whole length is there, and what did not arrive is zero.
int judgeCallData(const stapi::AdminRequest& admin) {
    touch(admin.callData, admin.header.dataLength);
    require(admin.callDataArrived <= admin.header.dataLength, "more call data than there is room for");
    require(isZero(admin.callData + admin.callDataArrived, admin.header.dataLength - admin.callDataArrived),
            "what did not arrive is not zero");
    return 2;
}

void fillInvocation(stapi::AdminRequest* admin, const char* parameter) {
    admin->callType = stapi::kCallTypeInvoke;
    admin->country = "US";
    admin->language = "en";
    admin->variant = "";
    admin->objectName = "Domain:type=Stats";
    admin->operationName = stapi::kQueryGetStats;
    admin->parameterValue = parameter;
    admin->parameterType = "java.lang.String";
    const int32_t length = stapi::calculateCallLength(admin);
    admin->callLength = static_cast<uint32_t>(length);
    stapi::prepareHeader(&admin->header, stapi::kRequestKindCommon, 0, stapi::kServerAdmin,
                         static_cast<uint32_t>(length) + 12);
}

int fuzzCall(bool isInitialisation, const char* parameter) {
    const auto admin = std::make_unique<stapi::AdminRequest>();
    stapi::ReasonsBlock reasons = {};
    int32_t rc = 0;
    if (isInitialisation) {
        rc = stapi::getInitAdminRequest(kSocket, admin.get(), &reasons);
    } else {
        fillInvocation(admin.get(), parameter);
        rc = stapi::flowAdminRequest(kSocket, admin.get(), &reasons);
    }
    const stapi::MemoryHolder<uint8_t> callData(admin->callData);
    require(rc != stapi::kAdminRefused || reasons.adminRc != 0 || admin->exceptionFlag != 0 || reasons.gwyRc == rc,
            "a refusal without a reason");
    if (rc == 0 && admin->callData != nullptr) {
        return judgeCallData(*admin);
    }
    return rc == 0 ? 1 : 0;
}

}  // namespace

int fuzzAdminReply(const uint8_t* data, size_t size) {
    FuzzInput input(data, size);
    World world(&input);
    const uint8_t choice = input.next();
    const ExactBlock stream(input.rest(), input.restSize());
    world.serve(stream);
    switch (choice % 4) {
        case 0:
            return fuzzVersion(size_t{1} + choice / 4);
        case 1:
            return fuzzCall(true, "");
        default:
            return fuzzCall(false, std::string(choice / 4, 'i').c_str());
    }
}

}  // namespace fuzz_test
