// Files that are gone at the end of a test.
#ifndef ZULSTATS_TESTS_SUPPORT_TEMPORARY_FILE_H
#define ZULSTATS_TESTS_SUPPORT_TEMPORARY_FILE_H

#include <filesystem>
#include <string>
#include <string_view>

namespace test_support {

// A file under a name that no other test, in this program or another, has.
class TemporaryFile {
  public:
    // The name only: there is no such file yet.
    TemporaryFile();
    explicit TemporaryFile(std::string_view content);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    std::string path() const {
        return path_.string();
    }
    // As text: lines end with LF alone.
    std::string content() const;

  private:
    std::filesystem::path path_;
};

// The file's bytes as they are.
std::string readFile(const std::filesystem::path& path);

}  // namespace test_support

#endif
