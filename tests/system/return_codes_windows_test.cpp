#include "return_codes_suite.h"

namespace system_test {

const std::map<std::string, std::string>& codesWithoutTestOnThisSystem() {
    static const std::map<std::string, std::string> kReasons{
        {"STAPI_RC_WRONG_PROCESS", "a process is never copied with its memory here"},
        {"STAPI_RC_SOCKET_ERROR", "the relay that resets a connection between two queries exists for POSIX only"},
    };
    return kReasons;
}

}  // namespace system_test
