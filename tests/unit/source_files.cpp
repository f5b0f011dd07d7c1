#include "source_files.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <filesystem>
#include <stdexcept>

#include "temporary_file.h"
#include "trace_text.h"

namespace {

const std::filesystem::path& projectFolder() {
    static const std::filesystem::path kFolder(PROJECT_FOLDER);
    return kFolder;
}

bool isSource(const std::filesystem::path& path) {
    const std::string extension = path.extension().string();
    return extension == ".h" || extension == ".hpp" || extension == ".c" || extension == ".cpp";
}

bool isWordCharacter(char character) {
    return std::isalnum(static_cast<unsigned char>(character)) != 0 || character == '_';
}

// Blanks what a scan has passed, but for the new-lines.
void blank(std::string* text, size_t from, size_t to) {
    for (size_t index = from; index < std::min(to, text->size()); ++index) {
        if ((*text)[index] != '\n') {
            (*text)[index] = ' ';
        }
    }
}

// Whether this is the "<" of an inclusion.
bool beginsInclusion(const std::string& text, size_t angle) {
    static const std::string kDirective = "#include ";
    return text[angle] == '<' && angle >= kDirective.size() &&
           text.compare(angle - kDirective.size(), kDirective.size(), kDirective) == 0;
}

size_t endOfLiteral(const std::string& text, size_t start) {
    size_t index = start + 1;
    while (index < text.size() && text[index] != text[start]) {
        index += text[index] == '\\' ? 2 : 1;
    }
    return index;
}

size_t endOfRawLiteral(const std::string& text, size_t quote) {
    const size_t bracket = text.find('(', quote);
    const std::string mark = ")" + text.substr(quote + 1, bracket - quote - 1) + "\"";
    const size_t end = text.find(mark, bracket);
    return end == std::string::npos ? text.size() : end + mark.size() - 1;
}

std::string lastTwoBefore(const std::string& code, size_t position) {
    std::string found;
    while (position > 0 && found.size() < 2) {
        --position;
        if (std::isspace(static_cast<unsigned char>(code[position])) == 0) {
            found.insert(found.begin(), code[position]);
        }
    }
    return found;
}

std::string firstBehind(const std::string& code, size_t position) {
    while (position < code.size() && std::isspace(static_cast<unsigned char>(code[position])) != 0) {
        ++position;
    }
    return position < code.size() ? code.substr(position, 1) : "";
}

}  // namespace

std::vector<SourceFile> sourcesBelow(const std::string& folder) {
    std::vector<SourceFile> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(projectFolder() / folder)) {
        if (entry.is_regular_file() && isSource(entry.path())) {
            files.push_back({entry.path().lexically_relative(projectFolder()).generic_string(),
                             test_support::readFile(entry.path())});
        }
    }
    std::sort(files.begin(), files.end(),
              [](const SourceFile& left, const SourceFile& right) { return left.path < right.path; });
    return files;
}

std::string projectFile(const std::string& path) {
    if (!std::filesystem::is_regular_file(projectFolder() / path)) {
        throw std::runtime_error("there is no file " + path + " in the project");
    }
    return test_support::readFile(projectFolder() / path);
}

std::string codeOf(const std::string& text) {
    std::string code = text;
    size_t index = 0;
    while (index < text.size()) {
        size_t end = index + 1;
        if (text.compare(index, 2, "//") == 0) {
            end = std::min(text.find('\n', index), text.size());
            blank(&code, index, end);
        } else if (text.compare(index, 2, "/*") == 0) {
            const size_t close = text.find("*/", index + 2);
            end = close == std::string::npos ? text.size() : close + 2;
            blank(&code, index, end);
        } else if (beginsInclusion(text, index)) {
            end = std::min(text.find('>', index), text.size());
            blank(&code, index + 1, end);
        } else if (text[index] == '"' && index > 0 && text[index - 1] == 'R') {
            end = endOfRawLiteral(text, index) + 1;
            blank(&code, index + 1, end - 1);
        } else if (text[index] == '"' || (text[index] == '\'' && (index == 0 || !isWordCharacter(text[index - 1])))) {
            end = endOfLiteral(text, index) + 1;
            blank(&code, index + 1, end - 1);
        }
        index = end;
    }
    return code;
}

std::vector<Identifier> identifiersOf(const SourceFile& file) {
    const std::string code = codeOf(file.text);
    std::vector<Identifier> found;
    int line = 1;
    size_t index = 0;
    while (index < code.size()) {
        size_t end = index + 1;
        if (isWordCharacter(code[index])) {
            while (end < code.size() && isWordCharacter(code[end])) {
                ++end;
            }
            found.push_back(
                {code.substr(index, end - index), lastTwoBefore(code, index), firstBehind(code, end), line});
        }
        line += code[index] == '\n' ? 1 : 0;
        index = end;
    }
    return found;
}

std::vector<Inclusion> inclusionsOf(const SourceFile& file) {
    std::vector<Inclusion> found;
    int line = 0;
    for (const std::string& text : test_support::splitLines(file.text)) {
        ++line;
        const size_t hash = text.find_first_not_of(" \t");
        const size_t word = hash == std::string::npos ? hash : text.find_first_not_of(" \t", hash + 1);
        if (word != std::string::npos && text[hash] == '#' && text.compare(word, 7, "include") == 0) {
            const size_t open = text.find_first_of("<\"", word);
            const size_t close = open == std::string::npos ? open : text.find_first_of(">\"", open + 1);
            if (close == std::string::npos) {
                throw std::runtime_error(placeOf(file, line) + " has an inclusion that cannot be read");
            }
            found.push_back({file.path, text.substr(open + 1, close - open - 1), text[open] == '<', line});
        }
    }
    return found;
}

std::string placeOf(const SourceFile& file, int line) {
    return file.path + ":" + std::to_string(line);
}
