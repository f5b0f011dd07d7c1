#include "recording.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>
#include <limits>
#include <nlohmann/json.hpp>
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
constexpr std::array<std::string_view, 3> kEndings{"none", "closed", "reset"};

std::string lineOf(const Json& object) {
    return object.dump(-1, ' ', true, Json::error_handler_t::replace) + "\n";
}

std::string lineOf(const RecordedExchange& exchange) {
    return lineOf(Json{{"connection", exchange.connection},
                       {"asks", titleOf(exchange)},
                       {"milliseconds", exchange.milliseconds},
                       {"end", kEndings[static_cast<size_t>(exchange.ending)]},
                       {"request", hexText(exchange.request)},
                       {"reply", hexText(exchange.reply)}});
}

Json objectOf(const std::string& line) {
    Json object = Json::parse(line, nullptr, false);
    if (!object.is_object()) {
        throw BadRecording("no JSON object; was the recording cut off here? Without this line it can be replayed");
    }
    return object;
}

const Json& field(const Json& object, const char* name) {
    const auto found = object.find(name);
    if (found == object.end()) {
        throw BadRecording("field " + inQuotes(name) + " is missing");
    }
    return *found;
}

int64_t number(const Json& object, const char* name, int64_t lowest) {
    const Json& value = field(object, name);
    if (!value.is_number_integer() || value.get<int64_t>() < lowest) {
        throw BadRecording("field " + inQuotes(name) + " is no whole number from " + std::to_string(lowest) + " on");
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
        throw BadRecording("field \"end\" is not one of \"none\", \"closed\" and \"reset\"");
    }
    return static_cast<Ending>(found - kEndings.begin());
}

void checkFirstLine(const std::string& line) {
    const Json object = Json::parse(line, nullptr, false);
    if (!object.is_object() || object.value("recording", Json()) != "gatewaysim") {
        throw BadRecording("this is no recording: gatewaysim record makes one");
    }
    if (object.value("format", Json()) != kFormat) {
        throw BadRecording("the recording has another format than " + std::to_string(kFormat) +
                           ", the one that this gatewaysim knows");
    }
}

// "asks" is for those who read the file: the request says the same.
RecordedExchange exchangeOf(const std::string& line) {
    const Json object = objectOf(line);
    return {static_cast<uint64_t>(number(object, "connection", 1)), number(object, "milliseconds", 0), ending(object),
            bytes(object, "request"), bytes(object, "reply")};
}

std::FILE* newFile(const std::string& path) {
    try {
        return native::createFile(path);
    } catch (const std::runtime_error& error) {
        throw BadRecording("recording " + inQuotes(path) + ": cannot be made: " + error.what() +
                           "; --output takes the name of a new file in a folder that can be written");
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

RecordingWriter::RecordingWriter(const std::string& path, const std::string& gateway,
                                 std::function<void(const std::string& reason)> onFailure)
    : file_(newFile(path)), onFailure_(std::move(onFailure)) {
    const bool isWritten = writeLine(lineOf(Json{{"recording", "gatewaysim"},
                                                 {"format", kFormat},
                                                 {"gateway", gateway},
                                                 {"started", isoTextWithMilliseconds(systemTime())}}));
    if (!isWritten) {
        const int error = errno;
        std::remove(path.c_str());
        throw BadRecording("recording " + inQuotes(path) +
                           ": cannot be written: " + std::generic_category().message(error));
    }
}

bool RecordingWriter::writeLine(const std::string& line) {
    return std::fwrite(line.data(), 1, line.size(), file_.get()) == line.size() && std::fflush(file_.get()) == 0;
}

void RecordingWriter::write(const RecordedExchange& exchange) {
    const std::string line = lineOf(exchange);
    std::string reason;
    {
        const std::lock_guard lock(mutex_);
        if (hasFailed_) {
            return;
        }
        errno = 0;
        if (writeLine(line)) {
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
        throw BadRecording("cannot open the file for reading");
    }
    std::vector<RecordedExchange> exchanges;
    size_t lineNumber = 0;
    try {
        for (std::string line; std::getline(file, line);) {
            ++lineNumber;
            if (lineNumber == 1) {
                checkFirstLine(line);
            } else {
                exchanges.push_back(exchangeOf(line));
            }
        }
        if (file.bad()) {
            throw BadRecording("cannot read the file");
        }
        if (lineNumber == 0) {
            throw BadRecording("the file is empty");
        }
    } catch (const BadRecording& error) {
        throw BadRecording("line " + std::to_string(std::max<size_t>(lineNumber, 1)) + ": " + error.what());
    }
    return exchanges;
}

}  // namespace gatewaysim
