// What the system tests share: the library through its public header, against a gatewaysim of each test's own.
#ifndef ZULSTATS_TESTS_SYSTEM_SYSTEM_FIXTURE_H
#define ZULSTATS_TESTS_SYSTEM_SYSTEM_FIXTURE_H

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "gatewaysim_process.h"
#include "temporary_file.h"
#include "trace_capture.h"
#include "zulstats64.h"

namespace system_test {

using test_support::TraceCapture;

// Leaves the process as the first test found it: no connection, trace level 0, trace to standard error.
class SystemTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;
};

void resetLibrary();

// A connection that the calling thread opens, and that is closed at the end of the scope if it is still there.
class Connection {
  public:
    explicit Connection(const test_support::GatewaySim& sim, const char* host = "127.0.0.1");
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    GatewayToken* token() const {
        return token_;
    }
    int32_t openCode() const {
        return openCode_;
    }
    const char* protocol() const {
        return protocol_;
    }
    int32_t close();

  private:
    GatewayToken* token_ = nullptr;
    char* protocol_ = nullptr;
    int32_t openCode_;
};

// The six queries in one shape.
struct QueryFunction {
    const char* name;
    bool takesIds;
    bool givesIds;
    int32_t (*call)(GatewayToken* token, const char* ids, ResultSetToken** resultSet);
};
extern const std::array<QueryFunction, 6> kQueries;
const QueryFunction& queryNamed(const std::string& name);

// An argument that the built-in catalogue knows, or null for a query without ids.
const char* usualIds(const QueryFunction& query);

struct IdEntry {
    std::string element;
    int32_t elementCode = 0;
    std::string id;
    bool operator==(const IdEntry&) const = default;
};

struct StatEntry {
    std::string element;
    int32_t elementCode = 0;
    std::string id;
    std::string value;
    bool operator==(const StatEntry&) const = default;
};

// A whole walk by a first call and next calls. An entry of a failed element has no id. lastCode is what ended the walk.
struct IdWalk {
    int32_t lastCode = 0;
    std::vector<IdEntry> entries;
};
struct StatWalk {
    int32_t lastCode = 0;
    std::vector<StatEntry> entries;
};
IdWalk walkIds(ResultSetToken* resultSet);
StatWalk walkStats(ResultSetToken* resultSet);
// As above, begun by a next call.
IdWalk walkIdsByNext(ResultSetToken* resultSet);
StatWalk walkStatsByNext(ResultSetToken* resultSet);

std::vector<std::string> idsOf(const IdWalk& walk);
std::string valueOf(const StatWalk& walk, const std::string& id);

// A catalogue for gatewaysim in a file of its own. All values are constant texts.
class Catalogue {
  public:
    Catalogue& group(const std::string& id);
    Catalogue& statistic(const std::string& group, const std::string& id, const std::string& value);
    Catalogue& protocol(const std::string& text);
    // The option that names the file; the file lives as long as the catalogue.
    std::vector<std::string> options();

  private:
    std::string protocol_ = "1.0.0";
    std::vector<std::string> groups_;
    std::vector<std::array<std::string, 3>> statistics_;
    std::unique_ptr<test_support::TemporaryFile> file_;
};

// A text in which every place can be told from its neighbours, and texts of different seeds from each other.
std::string patternText(size_t length, unsigned seed = 0);

}  // namespace system_test

#endif
