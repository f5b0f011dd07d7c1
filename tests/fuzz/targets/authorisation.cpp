// Both authorisation steps. Behind the circumstances stand the replies.
#include <cstring>
#include <memory>

#include "comms/stapi_zul_socketcomms.h"
#include "target_list.h"
#include "world.h"

namespace fuzz_test {

namespace {

constexpr uint32_t kInitLength = 4;
constexpr uint32_t kFinalLength = 20;

int32_t runStep(uint32_t step, uint32_t bodyLength, stapi::AuthorisationRecord* record, stapi::ReasonsBlock* reasons) {
    stapi::prepareHeader(&record->header, stapi::kRequestKindCommon, 0, stapi::kServerAuth, bodyLength);
    record->step = step;
    const int32_t rc = stapi::flowAuthRequest(kSocket, record, reasons);
    require(rc != stapi::kAuthorisationRefused || reasons->authRc != 0 || reasons->gwyRc == rc,
            "a refusal without the daemon's code");
    touch(record, sizeof *record);
    return rc;
}

// The second request carries what the first reply brought.
void judgeSecondRequest(const std::vector<uint8_t>& request, const uint8_t* credential, const uint8_t* qualifier) {
    constexpr size_t kCredentialAt = stapi::frameLength(4, 4);
    if (!request.empty()) {
        require(request.size() == stapi::frameLength(4, kFinalLength), "the second request has another length");
        require(std::memcmp(request.data() + kCredentialAt, credential, 8) == 0, "the credential does not go back");
        require(std::memcmp(request.data() + kCredentialAt + 8, qualifier, 4) == 0, "the qualifier does not go back");
    }
}

}  // namespace

int fuzzAuthorisation(const uint8_t* data, size_t size) {
    FuzzInput input(data, size);
    World world(&input);
    const ExactBlock stream(input.rest(), input.restSize());
    world.serve(stream);
    const auto record = std::make_unique<stapi::AuthorisationRecord>();
    const auto reasons = std::make_unique<stapi::ReasonsBlock>();
    if (runStep(stapi::kAuthorisationStepInit, kInitLength, record.get(), reasons.get()) != 0) {
        return 0;
    }
    const stapi::AuthorisationRecord first = *record;
    const int32_t rc = runStep(stapi::kAuthorisationStepFinal, kFinalLength, record.get(), reasons.get());
    if (world.lastRequest().size() != stapi::frameLength(4, kInitLength)) {
        judgeSecondRequest(world.lastRequest(), first.credential, first.qualifier);
    }
    return rc == 0 ? 2 : 1;
}

}  // namespace fuzz_test
