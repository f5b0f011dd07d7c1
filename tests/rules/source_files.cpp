#include "source_files.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <stdexcept>

#include "source_tokens.h"
#include "temporary_file.h"

namespace rule_test {

namespace {

const std::filesystem::path& projectFolder() {
    static const std::filesystem::path kFolder(PROJECT_FOLDER);
    return kFolder;
}

bool isSource(const std::filesystem::path& path) {
    const std::string extension = path.extension().string();
    return extension == ".h" || extension == ".hpp" || extension == ".c" || extension == ".cpp";
}

// The token as the source writes it, with the inside of a literal left out.
std::string spellingOf(const Token& token) {
    switch (token.kind) {
        case TokenKind::string:
            return "\"\"";
        case TokenKind::otherLiteral:
            return "''";
        case TokenKind::headerName:
            return "<>";
        default:
            return token.text;
    }
}

std::string lastTwoBefore(const Tokens& tokens, size_t index) {
    std::string before;
    for (size_t back = 1; back <= std::min<size_t>(index, 2); ++back) {
        before.insert(0, spellingOf(tokens[index - back]));
    }
    return before.substr(before.size() - std::min<size_t>(before.size(), 2));
}

}  // namespace

bool SourceFile::isHeader() const {
    return path.ends_with(".h") || path.ends_with(".hpp");
}

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

std::vector<SourceFile> allSources() {
    std::vector<SourceFile> files;
    for (const char* const folder : {"bench", "sim", "src", "tests", "tools"}) {
        const std::vector<SourceFile> ofFolder = sourcesBelow(folder);
        files.insert(files.end(), ofFolder.begin(), ofFolder.end());
    }
    return files;
}

std::string projectFile(const std::string& path) {
    if (!std::filesystem::is_regular_file(projectFolder() / path)) {
        throw std::runtime_error("there is no file " + path + " in the project");
    }
    return test_support::readFile(projectFolder() / path);
}

std::vector<Identifier> identifiersOf(const SourceFile& file) {
    const Tokens tokens = tokensOf(file.text);
    std::vector<Identifier> found;
    for (size_t index = 0; index < tokens.size(); ++index) {
        if (tokens[index].kind == TokenKind::word) {
            const std::string behind = index + 1 < tokens.size() ? spellingOf(tokens[index + 1]) : "";
            found.push_back(
                {tokens[index].text, lastTwoBefore(tokens, index), behind.substr(0, 1), tokens[index].line});
        }
    }
    return found;
}

std::vector<Inclusion> inclusionsOf(const SourceFile& file) {
    const Tokens tokens = tokensOf(file.text);
    std::vector<Inclusion> found;
    for (size_t index = 0; index + 1 < tokens.size(); ++index) {
        if (tokens[index].isInDirective && tokens[index].isMark("#") && tokens[index + 1].isWord("include")) {
            const Token target = index + 2 < tokens.size() ? tokens[index + 2] : Token{};
            if (target.kind != TokenKind::string && target.kind != TokenKind::headerName) {
                throw std::runtime_error(placeOf(file, tokens[index].line) + " has an inclusion that cannot be read");
            }
            found.push_back({file.path, target.text, target.kind == TokenKind::headerName, target.line});
        }
    }
    return found;
}

std::string placeOf(const SourceFile& file, int line) {
    return file.path + ":" + std::to_string(line);
}

}  // namespace rule_test
