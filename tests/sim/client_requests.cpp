#include "client_requests.h"

#include <cstddef>
namespace sim_test {

namespace {

// "US", "en", "", and the object name.
Bytes adminTexts() {
    return hex("0002 5553 0002 656E 0000 003C") +
           characters("DefaultDomain:ProdId=com.oxa.zul,Activity=Control,type=Stats");
}

Bytes adminRequest(const Bytes& body) {
    return hex("47617465 00700000 00000001 00000000 00000000 00000005 41646D696E 00") + u32(body.size()) + body;
}

}  // namespace

Bytes handshakeRequest() {
    return hex(
        "47617465 00700000 00000005 00000000 00000000 00000004 42415345 00 00000012"
        "0002 656E 0002 4742 00000000000000000000");
}

Bytes firstAuthorisationRequest() {
    return hex("47617465 00700000 00000001 00000000 00000000 00000004 41757468 00 00000004 00000000");
}

Bytes secondAuthorisationRequest(const Bytes& credential, const Bytes& qualifier) {
    return hex("47617465 00700000 00000001 00000000 00000000 00000004 41757468 00 00000014 00000001") + credential +
           qualifier + hex("00000000");
}

Bytes initRequest() {
    return hex("47617465 00700000 00000001 00000000 00000000 00000005 41646D696E 00 00000004 00000000");
}

Bytes attributeRequest(const Bytes& handle) {
    return adminRequest(hex("00000001") + handle + hex("00000052") + adminTexts() + hex("0008 70726F746F636F6C"));
}

Bytes invokeRequest(const Bytes& handle, std::string_view operation, std::string_view argument) {
    const Bytes call = adminTexts() + u16(operation.size()) + characters(operation) + hex("00000001 ACED000574") +
                       u16(argument.size()) + characters(argument) +
                       hex("00000001 0010 6A6176612E6C616E672E537472696E67");
    return adminRequest(hex("00000005") + handle + u32(call.size()) + call);
}

Bytes closeRequest() {
    return hex("47617465 00700000 0000000A 00000000 FFFFFFFF 00000004 42415345 00 00000000");
}

}  // namespace sim_test
