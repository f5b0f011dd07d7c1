// The project's own sources, read as text.
#ifndef ZULSTATS_TESTS_RULES_SOURCE_FILES_H
#define ZULSTATS_TESTS_RULES_SOURCE_FILES_H

#include <string>
#include <vector>

namespace rule_test {

struct SourceFile {
    std::string path;  // from the project's folder, with "/" between folders
    std::string text;

    bool isHeader() const;
};

// An identifier of a source, with the line that it stands in.
struct Identifier {
    std::string text;
    std::string before;  // the last two characters before it that are no blanks; a literal counts as its quotes
    std::string after;   // the first character behind it that is no blank
    int line = 0;
};

struct Inclusion {
    std::string file;  // path of the file that includes
    std::string target;
    bool isSystem = false;  // in angle brackets
    int line = 0;
};

// All C and C++ sources below a folder of the project, sorted by path.
std::vector<SourceFile> sourcesBelow(const std::string& folder);
// The same of all folders in which the project's own code stands.
std::vector<SourceFile> allSources();
// One file of the project, named from its folder; throws when there is none.
std::string projectFile(const std::string& path);

std::vector<Identifier> identifiersOf(const SourceFile& file);
std::vector<Inclusion> inclusionsOf(const SourceFile& file);

// "path:line", for messages.
std::string placeOf(const SourceFile& file, int line);

}  // namespace rule_test

#endif
