#include "probe.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>
#include <utility>
#include <variant>

#include "probe_socket.h"
#include "text_escape.h"

namespace zulstat {
namespace {

using namespace std::string_view_literals;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr std::string_view kObjectName = "DefaultDomain:ProdId=com.oxa.zul,Activity=Control,type=Stats";
constexpr std::string_view kNoGateway = "Is it a gateway, and no other service, that listens on that port?";
constexpr std::string_view kReadItsLog = "Look into the gateway's log; it refused this client.";

constexpr std::array kStepNames{"resolve", "connect", "handshake", "authorisation", "version", "groups"};

// What failed, and what to do about it.
struct StepFault {
    std::string detail;
    std::string advice;
};

std::string word(const uint32_t number) {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8) {
        bytes.push_back(static_cast<char>((number >> shift) & 0xFF));
    }
    return bytes;
}

std::string text(const std::string_view characters) {
    return word(static_cast<uint32_t>(characters.size())).substr(2) + std::string(characters);
}

uint32_t wordAt(const std::string& bytes, const size_t place) {
    uint32_t number = 0;
    for (size_t index = 0; index < 4; ++index) {
        const size_t at = place + index;
        number = number << 8U | (at < bytes.size() ? static_cast<unsigned char>(bytes[at]) : 0U);
    }
    return number;
}

std::string request(const uint32_t kind, const std::string_view name, const std::string& body,
                    const uint32_t qualifier = 0) {
    return "Gate" + word(0x00700000) + word(kind) + word(0) + word(qualifier) +
           word(static_cast<uint32_t>(name.size())) + std::string(name) + std::string(1, '\0') +
           word(static_cast<uint32_t>(body.size())) + body;
}

constexpr uint32_t kKindHandshake = 5;
constexpr uint32_t kKindCall = 1;
constexpr uint32_t kKindClose = 10;

std::string locale() {
    return text("en") + text("GB") + std::string(10, '\0');
}

// Country, language, variant and object, with which every administration call begins.
std::string callStart() {
    return text("US") + text("en") + text("") + text(kObjectName);
}

std::string call(const uint32_t type, const std::string& handle, const std::string& rest) {
    return word(type) + handle + word(static_cast<uint32_t>(rest.size())) + rest;
}

std::string showStart(const std::string& bytes) {
    constexpr size_t kMost = 40;
    return quoteText(bytes.substr(0, kMost)) + (bytes.size() > kMost ? " and more" : "");
}

StepFault faultOf(const ProbeFault& fault, const std::string_view advice) {
    return {fault.reason, std::string(advice)};
}

// A conversation with what may be a gateway.
class Conversation {
  public:
    Conversation(ProbeSocket& socket, const ProbeDeadline deadline)
        : socket_(socket), end_(deadline), endOfSilence_(deadline) {}

    // Only the first byte of the next reply is waited for until then, and all else until the deadline.
    void setEndOfSilence(const ProbeDeadline end) {
        endOfSilence_ = end;
    }

    // The body of the reply, or why there is none.
    std::variant<std::string, StepFault> exchange(const std::string& frame) {
        if (const auto fault = socket_.send(frame, end_)) {
            return faultOf(*fault, "Is the gateway still running?");
        }
        constexpr size_t kUpToLengthOfName = 24;
        std::string reply;
        if (auto fault = receive(reply, kUpToLengthOfName)) {
            return std::move(*fault);
        }
        const uint32_t nameLength = wordAt(reply, 20);
        constexpr uint32_t kLongestName = 64;
        if (nameLength > kLongestName) {
            return senseless(reply);
        }
        if (auto fault = receive(reply, reply.size() + nameLength + 5)) {
            return std::move(*fault);
        }
        const uint32_t bodyLength = wordAt(reply, reply.size() - 4);
        constexpr uint32_t kLongestBody = 1U << 28U;
        const size_t header = reply.size();
        if (bodyLength > kLongestBody) {
            return senseless(reply);
        }
        if (auto fault = receive(reply, header + bodyLength)) {
            return std::move(*fault);
        }
        isGateway_ = true;
        if (const auto code = static_cast<int32_t>(wordAt(reply, 16)); code != 0) {
            return StepFault{"it answered with the code " + std::to_string(code), std::string(kReadItsLog)};
        }
        return reply.substr(header);
    }

  private:
    StepFault senseless(const std::string& header) const {
        return {"the header of its reply makes no sense: " + showStart(header),
                std::string(isGateway_ ? kReadItsLog : kNoGateway)};
    }

    // Until that many bytes have come in all.
    std::optional<StepFault> receive(std::string& bytes, const size_t wanted) {
        while (bytes.size() < wanted) {
            auto part = socket_.receive(wanted - bytes.size(), bytes.empty() ? endOfSilence_ : end_);
            if (const auto* const fault = std::get_if<ProbeFault>(&part)) {
                return describeEnd(bytes, fault->reason);
            }
            if (std::get<std::string>(part).empty()) {
                return describeEnd(bytes, "it ended the connection");
            }
            bytes += std::get<std::string>(part);
            constexpr std::string_view kEyecatcher = "Gate";
            if (!bytes.starts_with(kEyecatcher.substr(0, bytes.size()))) {
                return StepFault{"it answered something else: " + showStart(bytes) +
                                     (bytes.starts_with("HTTP/") ? ", which is an HTTP server" : ""),
                                 std::string(kNoGateway)};
            }
        }
        return std::nullopt;
    }

    static StepFault describeEnd(const std::string& bytes, const std::string& reason) {
        if (bytes.empty()) {
            return {reason + ", without a single byte", std::string(kNoGateway)};
        }
        return {reason + " after " + std::to_string(bytes.size()) + " bytes of a reply",
                "Is the gateway overloaded or ending? Look into its log."};
    }

    ProbeSocket& socket_;
    ProbeDeadline end_;
    ProbeDeadline endOfSilence_;
    bool isGateway_ = false;  // it has given a whole reply
};

// What failed is noted in the step, and how long it took.
class Probe {
  public:
    Probe(const Gateway& gateway, const ProbeDeadline deadline) : gateway_(gateway), deadline_(deadline) {}

    std::vector<ProbeStep> run() {
        step(kStepNames[0], [this] { return resolve(); });
        step(kStepNames[1], [this] { return connect(); });
        conversation_.emplace(socket_, deadline_);
        step(kStepNames[2], [this] { return handshake(); });
        step(kStepNames[3], [this] { return authorise(); });
        step(kStepNames[4], [this] { return askVersion(); });
        step(kStepNames[5], [this] { return askGroups(); });
        if (!hasFailed_) {
            socket_.send(request(kKindClose, "BASE", "", 0xFFFFFFFF), deadline_);
        }
        return std::move(steps_);
    }

  private:
    using Outcome = std::variant<std::string, StepFault>;

    template <class Work>
    void step(const char* const name, const Work& work) {
        ProbeStep& each = steps_.emplace_back();
        each.name = name;
        if (hasFailed_) {
            return;
        }
        const Clock::time_point begin = Clock::now();
        Outcome outcome = work();
        each.duration = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begin);
        if (auto* const fault = std::get_if<StepFault>(&outcome)) {
            hasFailed_ = true;
            each.result = ProbeStep::Result::failed;
            each.detail = std::move(fault->detail);
            each.advice = std::move(fault->advice);
        } else {
            each.result = ProbeStep::Result::good;
            each.detail = std::move(std::get<std::string>(outcome));
        }
    }

    Outcome resolve() {
        auto resolved = resolveForProbe(gateway_.host, gateway_.port);
        if (const auto* const fault = std::get_if<ProbeFault>(&resolved)) {
            return StepFault{fault->reason, "Check the spelling of the host and the name service of this machine."};
        }
        addresses_ = std::move(std::get<std::vector<ProbeAddress>>(resolved));
        std::string all;
        for (const ProbeAddress& address : addresses_) {
            all += (all.empty() ? "" : ", ") + escapeText(address.text);
        }
        return all + (addresses_.size() > 1 ? "; the first is used" : "");
    }

    Outcome connect() {
        const auto fault = socket_.connect(addresses_.front(), deadline_);
        const std::string place = formatAddress(addresses_.front().text, gateway_.port);
        if (!fault) {
            return place;
        }
        if (fault->isRefused) {
            return StepFault{place + ": " + fault->reason,
                             "Start the gateway, or correct the port: nothing listens there."};
        }
        return StepFault{place + ": " + fault->reason,
                         "Check the address, the network, and whether a firewall drops the traffic."};
    }

    Outcome handshake() {
        // The rest of the time is for the other question, for which there is no reason once something has come.
        constexpr milliseconds kLongestRest{1000};
        const auto rest = std::min<Clock::duration>((deadline_ - Clock::now()) / 4, kLongestRest);
        conversation_->setEndOfSilence(deadline_ - rest);
        auto reply = conversation_->exchange(request(kKindHandshake, "BASE", locale()));
        conversation_->setEndOfSilence(deadline_);
        if (auto* const fault = std::get_if<StepFault>(&reply)) {
            if (fault->detail.find("without a single byte") != std::string::npos && answersAsHttp()) {
                fault->detail += "; asked as a browser would, it answers as an HTTP server";
            }
            return std::move(*fault);
        }
        return std::string("it is a gateway");
    }

    // Some servers say nothing until they are asked in their own language.
    bool answersAsHttp() const {
        ProbeSocket socket;
        if (socket.connect(addresses_.front(), deadline_) || socket.send("GET / HTTP/1.0\r\n\r\n", deadline_)) {
            return false;
        }
        const auto reply = socket.receive(5, deadline_);
        return std::holds_alternative<std::string>(reply) && std::get<std::string>(reply).starts_with("HTTP");
    }

    Outcome authorise() {
        constexpr size_t kCredentialAndQualifier = 12;
        auto reply = conversation_->exchange(request(kKindCall, "Auth", word(0)));
        if (std::holds_alternative<StepFault>(reply)) {
            return reply;
        }
        const std::string& first = std::get<std::string>(reply);
        if (const auto code = static_cast<int32_t>(wordAt(first, 4)); code != 0) {
            return StepFault{"it refused the authorisation with the code " + std::to_string(code),
                             std::string(kReadItsLog)};
        }
        if (first.size() < 8 + kCredentialAndQualifier) {
            return StepFault{"its answer is too short", std::string(kReadItsLog)};
        }
        const std::string credential = first.substr(8, kCredentialAndQualifier);
        reply = conversation_->exchange(request(kKindCall, "Auth", word(1) + credential + word(0)));
        if (std::holds_alternative<StepFault>(reply)) {
            return reply;
        }
        const std::string& second = std::get<std::string>(reply);
        const auto code = static_cast<int32_t>(wordAt(second, 4));
        if (wordAt(second, 0) == 0 && code != 0) {
            return StepFault{"it refused the authorisation with the code " + std::to_string(code),
                             std::string(kReadItsLog)};
        }
        return std::string("granted");
    }

    // What follows the fixed part of the reply.
    Outcome callGateway(const uint32_t type, const std::string& rest) {
        constexpr size_t kFixedPart = 9;
        auto reply = conversation_->exchange(request(kKindCall, "Admin", word(0)));
        if (std::holds_alternative<StepFault>(reply)) {
            return reply;
        }
        const std::string& handle = std::get<std::string>(reply);
        if (const auto code = static_cast<int32_t>(wordAt(handle, 4)); code != 0 || handle.size() < 12) {
            return StepFault{"it refused the call with the code " + std::to_string(code), std::string(kReadItsLog)};
        }
        reply = conversation_->exchange(request(kKindCall, "Admin", call(type, handle.substr(8, 4), rest)));
        if (std::holds_alternative<StepFault>(reply)) {
            return reply;
        }
        const std::string& answer = std::get<std::string>(reply);
        if (const auto code = static_cast<int32_t>(wordAt(answer, 4)); code != 0) {
            return StepFault{"it refused the call with the code " + std::to_string(code), std::string(kReadItsLog)};
        }
        if (answer.size() < kFixedPart || answer[8] != '\0') {
            return StepFault{
                "its call ended with an exception: " + showStart(answer.substr(std::min(answer.size(), kFixedPart))),
                std::string(kReadItsLog)};
        }
        return answer.substr(kFixedPart);
    }

    Outcome askVersion() {
        constexpr uint32_t kAttribute = 1;
        constexpr size_t kPlaceOfText = 6;
        Outcome outcome = callGateway(kAttribute, callStart() + text("protocol"));
        if (std::holds_alternative<StepFault>(outcome)) {
            return outcome;
        }
        const std::string& payload = std::get<std::string>(outcome);
        const size_t length =
            wordAt(std::string(2, '\0') + payload.substr(std::min(payload.size(), kPlaceOfText), 2), 0);
        const std::string version = payload.substr(std::min(payload.size(), kPlaceOfText + 2), length);
        return "protocol " + quoteText(version);
    }

    Outcome askGroups() {
        constexpr uint32_t kInvoke = 5;
        Outcome outcome = callGateway(kInvoke, callStart() + text("RESOURCE_GROUPS") + word(1) +
                                                   std::string("\xAC\xED\x00\x05\x74\x00\x00"sv) + word(1) +
                                                   text("java.lang.String"));
        if (std::holds_alternative<StepFault>(outcome)) {
            return outcome;
        }
        return "answered with " + std::to_string(std::get<std::string>(outcome).size()) + " bytes";
    }

    const Gateway& gateway_;
    ProbeDeadline deadline_;
    std::vector<ProbeStep> steps_;
    bool hasFailed_ = false;
    std::vector<ProbeAddress> addresses_;
    ProbeSocket socket_;
    std::optional<Conversation> conversation_;
};

}  // namespace

bool probeAccepts(const Gateway& gateway, const ProbeDeadline deadline) {
    auto resolved = resolveForProbe(gateway.host, gateway.port);
    if (std::holds_alternative<ProbeFault>(resolved) || std::get<std::vector<ProbeAddress>>(resolved).empty()) {
        return false;
    }
    ProbeSocket socket;
    return !socket.connect(std::get<std::vector<ProbeAddress>>(resolved).front(), deadline);
}

std::vector<ProbeStep> probeGateway(const Gateway& gateway, const ProbeDeadline deadline) {
    return Probe(gateway, deadline).run();
}

std::vector<ProbeStep> untriedSteps() {
    std::vector<ProbeStep> steps;
    for (const char* const name : kStepNames) {
        steps.emplace_back().name = name;
    }
    return steps;
}

}  // namespace zulstat
