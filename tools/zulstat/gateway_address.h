// Where a gateway is, as users write it.
#ifndef ZULSTATS_TOOLS_ZULSTAT_GATEWAY_ADDRESS_H
#define ZULSTATS_TOOLS_ZULSTAT_GATEWAY_ADDRESS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "report.h"

namespace zulstat {

inline constexpr int32_t kDefaultPort = 2980;
inline constexpr const char* kDefaultHost = "127.0.0.1";
// The library finds no more connections than these at a time.
inline constexpr size_t kMostGateways = 256;

// What is wrong, as a whole sentence.
struct Fault {
    std::string message;
};

// A line of a file, without its end.
struct TextLine {
    size_t number = 0;  // from 1
    std::string_view text;
};

// "-" is standard input: "standard input" or the quoted name.
std::string nameOfInput(const std::string& fileName);

// Without a byte-order mark in front. A NUL byte, which no id and no host can hold, is a fault that names file and
// line. The lines point into the content.
std::variant<std::vector<TextLine>, Fault> linesOfFile(std::string_view content, const std::string& fileName);

std::optional<int32_t> parsePort(std::string_view text);

// "[NAME=]HOST[:PORT]"; an IPv6 address with a port needs brackets, as in "[::1]:2980".
struct ParsedAddress {
    std::string name;
    std::string host;
    std::optional<int32_t> port;
};
std::variant<ParsedAddress, Fault> parseAddress(std::string_view text);

// As parseAddress, with the usual port where none is given.
std::variant<Gateway, Fault> parseGateway(std::string_view text);

// A line for each gateway, "NAME = HOST[:PORT]"; empty lines and those that begin with "#" are skipped. A fault begins
// with the file's name and the number of the line.
std::variant<std::vector<Gateway>, Fault> parseConfiguration(std::string_view content, const std::string& fileName);

// Gives every gateway of several a name, its address where it has none; the names must differ.
std::optional<Fault> nameGateways(std::vector<Gateway>& gateways);

// "127.0.0.1:2980", "[::1]:2980"
std::string formatAddress(std::string_view host, int32_t port);

// "east (gateway1:2980)", or the address alone where that is the name.
std::string formatGateway(const Gateway& gateway);

}  // namespace zulstat

#endif
