#include "log.h"

#include <cstdio>

#include "clock.h"

namespace gatewaysim {

namespace {

void appendEscaped(std::string& target, char character) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    const auto value = static_cast<unsigned char>(character);
    target += "\\x";
    target += kDigits[value >> 4];
    target += kDigits[value & 0x0F];
}

void writeLine(const std::string& line) {
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
}

bool isPrintable(char character) {
    return character >= ' ' && character <= '~';
}

}  // namespace

std::string inQuotes(std::string_view bytes, size_t longest) {
    std::string text = "\"";
    for (const char character : bytes.substr(0, longest)) {
        if (!isPrintable(character)) {
            appendEscaped(text, character);
        } else {
            if (character == '"' || character == '\\') {
                text += '\\';
            }
            text += character;
        }
    }
    text += '"';
    if (bytes.size() > longest) {
        text += "... (" + std::to_string(bytes.size()) + " bytes)";
    }
    return text;
}

std::string onOneLine(std::string_view message) {
    std::string line;
    for (const char character : message) {
        if (isPrintable(character)) {
            line += character;
        } else {
            appendEscaped(line, character);
        }
    }
    return line;
}

void complain(std::string_view message) {
    writeLine("gatewaysim: " + onOneLine(message) + "\n");
}

void Log::always(std::string_view message) {
    const std::string text = onOneLine(message);
    // The time is taken under the lock, so that the lines stand in its order.
    const std::lock_guard lock(mutex_);
    writeLine("gatewaysim: " + isoTextWithMilliseconds(systemTime()) + " " + text + "\n");
}

void Log::whenVerbose(std::string_view message) {
    if (verbose_) {
        always(message);
    }
}

}  // namespace gatewaysim
