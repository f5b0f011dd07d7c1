#include "recording.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <string_view>
#include <system_error>

#include "clock.h"
#include "log.h"
#include "request.h"
#include "system.h"

namespace gatewaysim {

namespace {

// Keeps the fields in the order in which a reader wants them: the long ones last.
using Json = nlohmann::ordered_json;

constexpr int kFormat = 1;
constexpr std::array<std::string_view, 4> kEndings{"none", "closed", "reset", "stopped"};
constexpr std::array<std::string_view, 7> kFields{"connection",      "asks",    "milliseconds", "end",
                                                  "endMilliseconds", "request", "reply"};
constexpr int64_t kLongestPause = 86'400'000;

std::string lineOf(const Json& object) {
    return object.dump(-1, ' ', true, Json::error_handler_t::replace) + "\n";
}

const Json& field(const Json& object, const char* name) {
    const auto found = object.find(name);
    if (found == object.end()) {
        throw BadRecording("field " + inQuotes(name) + " is missing");
    }
    return *found;
}

int64_t number(const Json& object, const char* name, int64_t lowest, int64_t highest) {
    const Json& value = field(object, name);
    const bool isTooLarge = value.is_number_unsigned() && value.get<uint64_t>() > INT64_MAX;
    if (!value.is_number_integer() || isTooLarge || value.get<int64_t>() < lowest || value.get<int64_t>() > highest) {
        throw BadRecording("field " + inQuotes(name) + " is not a whole number from " + std::to_string(lowest) +
                           " to " + std::to_string(highest));
    }
    return value.get<int64_t>();
}

Bytes bytes(const Json& object, const char* name) {
    const Json& value = field(object, name);
    const auto decoded = value.is_string() ? bytesFromHex(value.get<std::string>()) : std::nullopt;
    if (!decoded.has_value()) {
        throw BadRecording("field " + inQuotes(name) + " is no text of two hexadecimal digits for each byte");
    }
    return *decoded;
}

Ending ending(const Json& object) {
    const Json& value = field(object, "end");
    const auto found =
        std::find(kEndings.begin(), kEndings.end(), value.is_string() ? value.get<std::string>() : std::string());
    if (found == kEndings.end()) {
        throw BadRecording("field \"end\" is not one of \"none\", \"closed\", \"reset\" and \"stopped\"");
    }
    return static_cast<Ending>(found - kEndings.begin());
}

bool isFirstLine(const Json& object) {
    return object.is_object() && object.value("recording", Json()) == "gatewaysim";
}

void checkFormat(const Json& object) {
    const Json format = object.value("format", Json());
    if (!format.is_number_integer() || format != kFormat) {
        throw BadRecording("the recording has another format than " + std::to_string(kFormat) +
                           ", the one that this gatewaysim knows");
    }
}

// "asks" is for those who read the file: the request says the same.
RecordedExchange exchangeOf(const Json& object) {
    for (const auto& [name, value] : object.items()) {
        if (std::find(kFields.begin(), kFields.end(), name) == kFields.end()) {
            throw BadRecording("unknown field " + inQuotes(name));
        }
    }
    const int64_t endMilliseconds =
        object.contains("endMilliseconds") ? number(object, "endMilliseconds", 0, kLongestPause) : 0;
    return {static_cast<uint64_t>(number(object, "connection", 1, INT32_MAX)),
            number(object, "milliseconds", 0, kLongestPause),
            ending(object),
            endMilliseconds,
            bytes(object, "request"),
            bytes(object, "reply")};
}

bool isBlank(const std::string& line) {
    return line.find_first_not_of(" \t\r") == std::string::npos;
}

// Takes the lines of a file, one after the other.
class LineReader {
  public:
    void take(const std::string& line) {
        if (isBlank(line)) {
            return;
        }
        Json object = Json::parse(line, nullptr, false);
        if (isFirstLine(object)) {
            checkFormat(object);
            hasBegun_ = true;
            connectionsBefore_ = connections_;
        } else if (!hasBegun_) {
            throw BadRecording("this is no recording: gatewaysim record makes one");
        } else if (!object.is_object()) {
            throw BadRecording("no JSON object; was the recording cut off here? Without this line it can be replayed");
        } else {
            RecordedExchange exchange = exchangeOf(object);
            exchange.connection += connectionsBefore_;
            connections_ = std::max(connections_, exchange.connection);
            exchanges_.push_back(std::move(exchange));
        }
    }

    std::vector<RecordedExchange> finish() {
        if (exchanges_.empty()) {
            throw BadRecording("there is no exchange in it that could be replayed");
        }
        return std::move(exchanges_);
    }

  private:
    bool hasBegun_ = false;
    uint64_t connections_ = 0;
    uint64_t connectionsBefore_ = 0;
    std::vector<RecordedExchange> exchanges_;
};

std::FILE* newFile(const std::string& path) {
    try {
        return native::createFile(path);
    } catch (const std::runtime_error& error) {
        throw BadRecording("recording " + inQuotes(path) + ": cannot be made: " + error.what() +
                           "; give --output the name of a new file, in a folder that can be written");
    }
}

}  // namespace

std::string titleOf(const RecordedExchange& exchange) {
    if (exchange.request.empty()) {
        return std::string(nameOf(Exchange::accept));
    }
    try {
        return titleOf(decodeRequest(exchange.request));
    } catch (const Deviation& deviation) {
        return std::string("no request of the protocol: ") + deviation.what();
    }
}

bool isWhole(const RecordedExchange& exchange) {
    const std::optional<size_t> announced = messageSize(exchange.reply);
    return announced.has_value() && *announced <= exchange.reply.size();
}

RecordingWriter::RecordingWriter(const std::string& path, const std::string& gateway,
                                 std::function<void(const std::string& reason)> onFailure)
    : file_(newFile(path)), onFailure_(std::move(onFailure)) {
    const bool isWritten = writeText(lineOf(Json{{"recording", "gatewaysim"},
                                                 {"format", kFormat},
                                                 {"gateway", gateway},
                                                 {"started", isoTextWithMilliseconds(systemTime())}}));
    if (!isWritten) {
        const int error = errno;
        std::remove(path.c_str());
        throw BadRecording("recording " + inQuotes(path) + ": cannot be written: " +
                           std::generic_category().message(error) + "; look whether the disk is full");
    }
}

bool RecordingWriter::writeText(const std::string& text) {
    return std::fwrite(text.data(), 1, text.size(), file_.get()) == text.size() && std::fflush(file_.get()) == 0;
}

// A long reply is not held in memory a second time.
bool RecordingWriter::writeHex(const Bytes& bytes) {
    constexpr size_t kPiece = 64U << 10;
    bool isWritten = true;
    for (size_t at = 0; at < bytes.size() && isWritten; at += kPiece) {
        const std::string text = hexText(std::span(bytes).subspan(at, std::min(kPiece, bytes.size() - at)));
        isWritten = std::fwrite(text.data(), 1, text.size(), file_.get()) == text.size();
    }
    return isWritten;
}

bool RecordingWriter::writeExchange(const RecordedExchange& exchange) {
    std::string start = lineOf(Json{{"connection", exchange.connection},
                                    {"asks", titleOf(exchange)},
                                    {"milliseconds", exchange.milliseconds},
                                    {"end", kEndings[static_cast<size_t>(exchange.ending)]},
                                    {"endMilliseconds", exchange.endMilliseconds}});
    // Goes on where the object ends.
    start.resize(start.size() - std::string_view("}\n").size());
    return writeText(start + ",\"request\":\"") && writeHex(exchange.request) && writeText("\",\"reply\":\"") &&
           writeHex(exchange.reply) && writeText("\"}\n");
}

void RecordingWriter::write(const RecordedExchange& exchange) {
    std::string reason;
    {
        const std::lock_guard lock(mutex_);
        if (hasFailed_) {
            return;
        }
        errno = 0;
        if (writeExchange(exchange)) {
            ++exchanges_;
            return;
        }
        reason = std::generic_category().message(errno);
        hasFailed_ = true;
    }
    onFailure_(reason);
}

size_t RecordingWriter::exchanges() const {
    const std::lock_guard lock(mutex_);
    return exchanges_;
}

bool RecordingWriter::hasFailed() const {
    const std::lock_guard lock(mutex_);
    return hasFailed_;
}

std::vector<RecordedExchange> readRecording(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw BadRecording("cannot open the file for reading: is it there, and may it be read?");
    }
    LineReader reader;
    size_t lineNumber = 0;
    try {
        for (std::string line; std::getline(file, line);) {
            ++lineNumber;
            reader.take(line);
        }
        if (file.bad()) {
            throw BadRecording("cannot read the file");
        }
        return reader.finish();
    } catch (const BadRecording& error) {
        throw BadRecording("line " + std::to_string(std::max<size_t>(lineNumber, 1)) + ": " + error.what());
    }
}

}  // namespace gatewaysim
