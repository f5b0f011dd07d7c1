#ifndef ZULSTATS_TESTS_SIM_TEMPORARY_FILE_H
#define ZULSTATS_TESTS_SIM_TEMPORARY_FILE_H

#include <filesystem>
#include <string>
#include <string_view>

namespace sim_test {

// A file of this content under a name of its own; gone at the end of the scope.
class TemporaryFile {
  public:
    explicit TemporaryFile(std::string_view content);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    std::string path() const {
        return path_.string();
    }

  private:
    std::filesystem::path path_;
};

}  // namespace sim_test

#endif
