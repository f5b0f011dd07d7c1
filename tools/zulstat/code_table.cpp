#include "code_table.h"

#include <algorithm>
#include <array>

#include "zulstats64.h"

namespace zulstat {
namespace {

constexpr std::string_view kRunAgain = "Run the command again.";
constexpr std::string_view kReportDefect = "This points to a defect in zulstat: please report it.";
constexpr std::string_view kTraceIt = "If it recurs, trace it with --trace-level 5 --trace-file FILE.";

constexpr std::array kCodes{
    CodeEntry{STAPI_RC_OK, "STAPI_RC_OK", "success", ""},
    CodeEntry{STAPI_RC_ALREADY_INITIALISED, "STAPI_RC_ALREADY_INITIALISED",
              "another thread was starting the library at the same moment", kRunAgain},
    CodeEntry{STAPI_RC_NULL_TOKEN, "STAPI_RC_NULL_TOKEN", "there is no connection", kReportDefect},
    CodeEntry{STAPI_RC_TOKEN_NOT_FOUND, "STAPI_RC_TOKEN_NOT_FOUND", "the connection is no longer open", kRunAgain},
    CodeEntry{STAPI_RC_SOCKET_ERROR, "STAPI_RC_SOCKET_ERROR", "the connection was lost",
              "Is the gateway still running? Run the command again."},
    CodeEntry{STAPI_RC_NO_DATA, "STAPI_RC_NO_DATA", "a required buffer is missing", kReportDefect},
    CodeEntry{STAPI_RC_BAD_TRACE_LEVEL, "STAPI_RC_BAD_TRACE_LEVEL", "the trace level is not one of 0 to 5",
              "Give --trace-level a number from 0 to 5."},
    CodeEntry{STAPI_RC_NET_UNREACHABLE, "STAPI_RC_NET_UNREACHABLE",
              "there is nowhere to store the protocol version text", kReportDefect},
    CodeEntry{STAPI_RC_NOT_USER_RESULT_SET, "STAPI_RC_NOT_USER_RESULT_SET",
              "the result set belongs to a connection and cannot be freed", kReportDefect},
    CodeEntry{STAPI_RC_BAD_PORT, "STAPI_RC_BAD_PORT", "the port is not one of 1 to 65535",
              "Give --port a number from 1 to 65535."},
    CodeEntry{STAPI_RC_NULL_TOKEN_POINTER, "STAPI_RC_NULL_TOKEN_POINTER", "there is nowhere to store the connection",
              kReportDefect},
    CodeEntry{STAPI_RC_NULL_POINTER, "STAPI_RC_NULL_POINTER", "there is nowhere to store the answer", kReportDefect},
    CodeEntry{STAPI_RC_NO_RESULT_BUFFER, "STAPI_RC_NO_RESULT_BUFFER",
              "the result set has no buffer; its connection may have gone", kRunAgain},
    CodeEntry{STAPI_RC_NO_MEMORY, "STAPI_RC_NO_MEMORY", "not enough memory, or a list of ids that is too long",
              "Free some memory, or ask for fewer ids at a time."},
    CodeEntry{STAPI_RC_END_OF_DATA, "STAPI_RC_END_OF_DATA", "the end of the result set is reached", kReportDefect},
    CodeEntry{STAPI_RC_GTL_CORRUPT, "STAPI_RC_GTL_CORRUPT", "the library's list of connections is full or corrupt",
              kRunAgain},
    CodeEntry{STAPI_RC_BAD_OWNER, "STAPI_RC_BAD_OWNER", "a result set was to be made for an unknown kind of owner",
              kReportDefect},
    CodeEntry{STAPI_RC_CONNECT_FAILED, "STAPI_RC_CONNECT_FAILED",
              "the handshake or the authorisation failed, or connecting failed for another reason",
              "Is it a gateway, and no other service, that listens on that port? \"zulstat doctor\" tells."},
    CodeEntry{STAPI_RC_WRONG_CONTENT, "STAPI_RC_WRONG_CONTENT", "the answer does not hold the kind of data asked for",
              kTraceIt},
    CodeEntry{STAPI_RC_BAD_EYECATCHER, "STAPI_RC_BAD_EYECATCHER",
              "the gateway refused the request, or its reply was malformed or incomplete",
              "Look into the gateway's log, or trace it with --trace-level 5 --trace-file FILE."},
    CodeEntry{STAPI_RC_WRONG_PROCESS, "STAPI_RC_WRONG_PROCESS", "the connection belongs to another process",
              kReportDefect},
    CodeEntry{STAPI_RC_WRONG_THREAD, "STAPI_RC_WRONG_THREAD", "the connection belongs to another thread",
              kReportDefect},
    CodeEntry{STAPI_RC_NULL_RESULT_SET_POINTER, "STAPI_RC_NULL_RESULT_SET_POINTER",
              "there is nowhere to store the result set", kReportDefect},
    CodeEntry{STAPI_RC_NULL_ID, "STAPI_RC_NULL_ID", "the list of ids is missing", kReportDefect},
    CodeEntry{STAPI_RC_NULL_RESULT_SET, "STAPI_RC_NULL_RESULT_SET", "the result set is missing", kReportDefect},
    CodeEntry{STAPI_RC_NULL_ID_DATA, "STAPI_RC_NULL_ID_DATA", "there is nowhere to store an id", kReportDefect},
    CodeEntry{STAPI_RC_NULL_STAT_DATA, "STAPI_RC_NULL_STAT_DATA", "there is nowhere to store a statistic",
              kReportDefect},
    CodeEntry{STAPI_RC_TRACE_FILE_FAILED, "STAPI_RC_TRACE_FILE_FAILED",
              "the file could not be opened for appending, or its name is too long",
              "Check the name, its folder and your permissions there."},
    CodeEntry{STAPI_RC_QUERY_STRING_FAILED, "STAPI_RC_QUERY_STRING_FAILED",
              "the result set has no id from which a list could be built", kReportDefect},
    CodeEntry{STAPI_RC_HOST_UNKNOWN, "STAPI_RC_HOST_UNKNOWN", "the host name could not be resolved",
              "Check the spelling of --host and the name service of this machine."},
    CodeEntry{STAPI_RC_NULL_ARGUMENT, "STAPI_RC_NULL_ARGUMENT", "the host name is missing", kReportDefect},
    CodeEntry{STAPI_RC_CONNECT_TIMEOUT, "STAPI_RC_CONNECT_TIMEOUT", "no answer within 60 seconds",
              "Check --host and --port, and whether a firewall drops the traffic."},
    CodeEntry{STAPI_RC_CONNECT_REFUSED, "STAPI_RC_CONNECT_REFUSED", "connection refused",
              "Is the gateway running and listening on that port?"},
    CodeEntry{STAPI_RC_HOST_UNREACHABLE, "STAPI_RC_HOST_UNREACHABLE", "the network is unreachable",
              "Check --host and the network of this machine."},
};

}  // namespace

std::span<const CodeEntry> codeTable() {
    return kCodes;
}

const CodeEntry* findCode(const int32_t code) {
    const auto found =
        std::find_if(kCodes.begin(), kCodes.end(), [&](const CodeEntry& entry) { return entry.code == code; });
    return found == kCodes.end() ? nullptr : &*found;
}

}  // namespace zulstat
