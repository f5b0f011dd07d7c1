#include "conversation.h"

#include <regex>
#include <sstream>
#include <stdexcept>

namespace sim_test {

Bytes Conversation::exchange(const Bytes& request, size_t nameLength) {
    client_.send(request);
    const Bytes header = client_.receive(29 + nameLength);
    return header + client_.receive(u32At(header, 25 + nameLength));
}

Bytes Conversation::handshake() {
    return exchange(handshakeRequest(), 4);
}

Bytes Conversation::firstAuthorisation() {
    const Bytes reply = exchange(firstAuthorisationRequest(), 4);
    credential_ = part(reply, 33 + 8, 8);
    qualifier_ = part(reply, 33 + 16, 4);
    return reply;
}

Bytes Conversation::secondAuthorisation() {
    return exchange(secondAuthorisationRequest(credential_, qualifier_), 4);
}

Bytes Conversation::init() {
    const Bytes reply = exchange(initRequest(), 5);
    handle_ = part(reply, 34 + 8, 4);
    return reply;
}

Bytes Conversation::attribute() {
    return exchange(attributeRequest(handle_), 5);
}

Bytes Conversation::invoke(std::string_view operation, std::string_view argument) {
    return exchange(invokeRequest(handle_, operation, argument), 5);
}

Bytes Conversation::close() {
    return exchange(closeRequest(), 4);
}

void Conversation::open() {
    handshake();
    firstAuthorisation();
    secondAuthorisation();
}

Bytes Conversation::query(std::string_view operation, std::string_view argument) {
    init();
    const Bytes reply = invoke(operation, argument);
    const Bytes start = part(reply, 34, 9);
    if (start != hex("00000005 00000000 00")) {
        throw std::runtime_error("the invoke failed: " + shown(start));
    }
    return part(reply, 43, reply.size() - 43);
}

std::string withoutBlanks(const Bytes& bytes) {
    std::string text = shown(bytes);
    std::erase(text, ' ');
    return text;
}

std::string withoutTimes(const std::string& log) {
    static const std::regex kLine(R"(gatewaysim: \d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z (.*))");
    std::string texts;
    std::istringstream lines(log);
    for (std::string text; std::getline(lines, text);) {
        std::smatch parts;
        texts += std::regex_match(text, parts, kLine) ? "gatewaysim: " + parts[1].str() : "NO TIME: " + text;
        texts += "\n";
    }
    return texts;
}

std::vector<std::string> withCatalogue(const std::string& path, std::vector<std::string> more) {
    more.emplace_back("--catalogue");
    more.push_back(path);
    return more;
}

}  // namespace sim_test
