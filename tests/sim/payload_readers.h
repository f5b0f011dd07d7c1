#ifndef ZULSTATS_TESTS_SIM_PAYLOAD_READERS_H
#define ZULSTATS_TESTS_SIM_PAYLOAD_READERS_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "client_requests.h"

namespace sim_test {

struct Response {
    std::string queryId;
    int32_t code = 0;
    std::vector<std::string> ids;
    std::vector<std::pair<std::string, std::string>> statistics;

    bool operator==(const Response&) const = default;
};

// Read a payload by fixed positions, as a client does that knows nothing of object streams. What is skipped may be
// missing at the very end; any other lack of bytes, and bytes left over, throw std::runtime_error.
std::vector<Response> idsByPosition(const Bytes& payload);
std::vector<Response> statisticsByPosition(const Bytes& payload);

// One object of a stream: its classes from the most derived one up, its blocks of data, the objects among them.
struct StreamObject {
    std::vector<std::string> classes;
    std::vector<Bytes> blocks;
    std::vector<StreamObject> objects;
};

// Reads a payload as the serialisation format has it, tag by tag, and throws std::runtime_error at anything that does
// not belong: one object stream after the flag and the count for each response.
std::vector<StreamObject> streamObjects(const Bytes& payload);

// What the objects say: a response in its first block, a statistic in all of its blocks, which must be used up.
std::vector<Response> idsOfObjects(const std::vector<StreamObject>& objects);
std::vector<Response> statisticsOfObjects(const std::vector<StreamObject>& objects);

}  // namespace sim_test

#endif
