// The library as a C++17 program of somebody else uses it. Prints the library's version.
#include <zulstats64.h>

#include <iostream>
#include <string_view>

namespace {

int failures = 0;

void expect(std::string_view what, int32_t expected, int32_t actual) {
    if (expected != actual) {
        std::cerr << what << ": expected " << expected << ", got " << actual << '\n';
        ++failures;
    }
}

}  // namespace

int main() {
    char* version = nullptr;
    IdData id{};
    StatData stat{};
    expect("getStatsAPIVersion", STAPI_RC_OK, getStatsAPIVersion(&version));
    expect("getFirstId", STAPI_RC_NULL_RESULT_SET, getFirstId(nullptr, &id));
    expect("getNextStat", STAPI_RC_NULL_RESULT_SET, getNextStat(nullptr, &stat));
    expect("closeAllGatewayConnections", STAPI_RC_OK, closeAllGatewayConnections());
    if (const std::string_view text = version == nullptr ? "" : version; !text.empty()) {
        std::cout << text << '\n';
    }
    return failures == 0 ? 0 : 1;
}
