// The suite of the return codes, spread over a portable file and one of each system.
#ifndef ZULSTATS_TESTS_SYSTEM_RETURN_CODES_SUITE_H
#define ZULSTATS_TESTS_SYSTEM_RETURN_CODES_SUITE_H

#include <map>
#include <string>

#include "other_thread.h"
#include "system_fixture.h"

namespace system_test {

class ReturnCodes : public SystemTest {};

// Codes that cannot be provoked on this system, each with the reason.
const std::map<std::string, std::string>& codesWithoutTestOnThisSystem();

}  // namespace system_test

#endif
