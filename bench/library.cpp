#include "library.h"

#include "bare_socket.h"

namespace bench {

namespace {

template <typename Function>
void find(const SharedObject& object, const char* name, Function* function) {
    *function = reinterpret_cast<Function>(object.function(name));
}

// What a monitoring program would do with an entry: look at each of its texts.
inline void look(const StatData& record, uint32_t* sum) {
    *sum += record.statIdLen + record.statValueLen;
}

inline void look(const IdData& record, uint32_t* sum) {
    *sum += record.idLen;
}

template <typename Record>
uint32_t walkAll(int32_t (*first)(ResultSetToken*, Record*), int32_t (*next)(ResultSetToken*, Record*),
                 ResultSetToken* resultSet) {
    Record record = {};
    uint32_t entries = 0;
    uint32_t bytes = 0;
    int32_t rc = first(resultSet, &record);
    while (rc == STAPI_RC_OK) {
        look(record, &bytes);
        ++entries;
        rc = next(resultSet, &record);
    }
    if (rc != STAPI_RC_END_OF_DATA || (entries > 0 && bytes == 0)) {
        failBenchmark("the walk", rc);
    }
    return entries;
}

}  // namespace

Library::Library(const std::string& path) {
    const SharedObject object(path);
    find(object, "openGatewayConnection", &openGatewayConnection);
    find(object, "closeGatewayConnection", &closeGatewayConnection);
    find(object, "getStatIdsByStatGroupId", &getStatIdsByStatGroupId);
    find(object, "getStatsByStatGroupId", &getStatsByStatGroupId);
    find(object, "getFirstId", &getFirstId);
    find(object, "getNextId", &getNextId);
    find(object, "getFirstStat", &getFirstStat);
    find(object, "getNextStat", &getNextStat);
    find(object, "getIdQuery", &getIdQuery);
    find(object, "copyResultSet", &copyResultSet);
    find(object, "freeResultSet", &freeResultSet);
    find(object, "dumpResultSet", &dumpResultSet);
    find(object, "setAPITraceLevel", &setAPITraceLevel);
    find(object, "setAPITraceFile", &setAPITraceFile);
}

Inside::Inside(const std::string& path) {
    const SharedObject object(path);
    find(object, "insideMakeBuffer", &makeBuffer);
    find(object, "insideReleaseBuffer", &releaseBuffer);
    find(object, "insideParseStats", &parseStats);
    find(object, "insideParseIds", &parseIds);
}

void require(int32_t rc, const char* call) {
    if (rc != STAPI_RC_OK) {
        failBenchmark(call, rc);
    }
}

void requireEntries(uint32_t entries, const Shape& shape) {
    if (entries != shape.count) {
        failBenchmark("the number of entries", static_cast<int32_t>(entries));
    }
}

Connection::Connection(const Library& library, int32_t port) : library_(library) {
    char* version = nullptr;
    require(library.openGatewayConnection(port, &token_, &version), "openGatewayConnection");
}

Connection::~Connection() {
    require(library_.closeGatewayConnection(&token_), "closeGatewayConnection");
}

ResultSetToken* Connection::query(const Shape& shape) {
    ResultSetToken* resultSet = nullptr;
    const std::string parameter = shapeText(shape);  // short enough to need no allocation
    if (shape.content == Content::stats) {
        require(library_.getStatsByStatGroupId(token_, parameter.c_str(), &resultSet), "getStatsByStatGroupId");
    } else {
        require(library_.getStatIdsByStatGroupId(token_, parameter.c_str(), &resultSet), "getStatIdsByStatGroupId");
    }
    return resultSet;
}

uint32_t Connection::queryAndWalk(const Shape& shape) {
    return walk(library_, shape.content, query(shape));
}

uint32_t walk(const Library& library, Content content, ResultSetToken* resultSet) {
    return content == Content::stats ? walkAll(library.getFirstStat, library.getNextStat, resultSet)
                                     : walkAll(library.getFirstId, library.getNextId, resultSet);
}

}  // namespace bench
