// The requests of a faultless client, byte by byte: what gatewaysim must understand.
#ifndef ZULSTATS_TESTS_SIM_CLIENT_REQUESTS_H
#define ZULSTATS_TESTS_SIM_CLIENT_REQUESTS_H

#include <string_view>

#include "bytes.h"

namespace sim_test {

using test_support::Bytes;
using test_support::characters;
using test_support::hex;
using test_support::operator+;
using test_support::part;
using test_support::shown;
using test_support::u16;
using test_support::u32;
using test_support::u32At;

Bytes handshakeRequest();
Bytes firstAuthorisationRequest();
Bytes secondAuthorisationRequest(const Bytes& credential, const Bytes& qualifier);
Bytes initRequest();
Bytes attributeRequest(const Bytes& handle);
Bytes invokeRequest(const Bytes& handle, std::string_view operation, std::string_view argument);
Bytes closeRequest();

}  // namespace sim_test

#endif
