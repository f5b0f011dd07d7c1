// The project's own sources, read as text for rules that no compiler knows.
#ifndef ZULSTATS_TESTS_UNIT_SOURCE_FILES_H
#define ZULSTATS_TESTS_UNIT_SOURCE_FILES_H

#include <string>
#include <vector>

struct SourceFile {
    std::string path;  // from the project's folder, with "/" between folders
    std::string text;
};

// An identifier of a source, with the line that it stands in.
struct Identifier {
    std::string text;
    std::string before;  // the last two characters before it that are no blanks
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
std::string projectFile(const std::string& path);

// The text with comments, the insides of literals and the targets of inclusions blanked, so that what is left is code;
// lines stay where they are.
std::string codeOf(const std::string& text);

std::vector<Identifier> identifiersOf(const SourceFile& file);
std::vector<Inclusion> inclusionsOf(const SourceFile& file);

// "path:line", for messages.
std::string placeOf(const SourceFile& file, int line);

#endif
