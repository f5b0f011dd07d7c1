// The library under measurement, loaded from a file, so that several builds of it can be measured in one process.
#ifndef ZULSTATS_BENCH_LIBRARY_H
#define ZULSTATS_BENCH_LIBRARY_H

#include <cstdint>
#include <string>

#include "inside.h"
#include "shape.h"
#include "zulstats64.h"

namespace bench {

// Loads a shared object for the whole life of the process and hands out its functions; what is missing ends the
// program.
class SharedObject {
  public:
    explicit SharedObject(const std::string& path);
    void* function(const char* name) const;

  private:
    void* handle_;
};

// Loads a shared object, makes its first call, and unloads it.
void loadAndUnload(const std::string& path, const char* firstCall);

struct Library {
    explicit Library(const std::string& path);

    decltype(&::openGatewayConnection) openGatewayConnection;
    decltype(&::closeGatewayConnection) closeGatewayConnection;
    decltype(&::getStatIdsByStatGroupId) getStatIdsByStatGroupId;
    decltype(&::getStatsByStatGroupId) getStatsByStatGroupId;
    decltype(&::getFirstId) getFirstId;
    decltype(&::getNextId) getNextId;
    decltype(&::getFirstStat) getFirstStat;
    decltype(&::getNextStat) getNextStat;
    decltype(&::getIdQuery) getIdQuery;
    decltype(&::copyResultSet) copyResultSet;
    decltype(&::freeResultSet) freeResultSet;
    decltype(&::dumpResultSet) dumpResultSet;
    decltype(&::setAPITraceLevel) setAPITraceLevel;
    decltype(&::setAPITraceFile) setAPITraceFile;
};

// The module with the library's parsers.
struct Inside {
    explicit Inside(const std::string& path);

    decltype(&::insideMakeBuffer) makeBuffer;
    decltype(&::insideReleaseBuffer) releaseBuffer;
    decltype(&::insideParseStats) parseStats;
    decltype(&::insideParseIds) parseIds;
};

// Ends the program unless the code of a call is 0.
void require(int32_t rc, const char* call);

// Ends the program unless a walk has met as many entries as the shape has.
void requireEntries(uint32_t entries, const Shape& shape);

// An open connection of the calling thread.
class Connection {
  public:
    Connection(const Library& library, int32_t port);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    ResultSetToken* query(const Shape& shape);
    // A query and a walk over all that it brought; the number of entries.
    uint32_t queryAndWalk(const Shape& shape);

  private:
    const Library& library_;
    GatewayToken* token_ = nullptr;
};

// Walks a whole result set; the number of entries.
uint32_t walk(const Library& library, Content content, ResultSetToken* resultSet);

}  // namespace bench

#endif
