#ifndef ZULSTATS_SIM_OBJECT_STREAM_H
#define ZULSTATS_SIM_OBJECT_STREAM_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "bytes.h"
#include "payload.h"

// The reply payloads: one byte of the daemon's own, then Java object serialisation streams.
//
// The client walks a stream by position, so the shape of the objects behind it is fixed. This is how each position that
// the client skips is filled; what it reads is marked with an arrow. Numbers are big-endian, a "text" is a 16-bit byte
// count and its bytes.
//
// Attribute:
//      1  00                          single value
//      5  AC ED 00 05 74              stream magic and version, string object
//   -> text                           the attribute's value
//
// Ids and statistics begin with
//   -> 1  01 or 00                    several responses or one
//   -> 4                              number of responses, after 01 alone
// and each response is a stream of its own, so that its handles start again at 0x007E0000:
//      6  AC ED 00 05 73 72           stream magic and version, object, class description
//         text                        the class's name                                             (handle 0x007E0000)
//     13  8                           serial version
//         1  0C                       flags: externalizable, data in blocks
//         2  00 00                    no fields
//         1  78                       end of the class's annotations
//         1  72                       class description of the superclass
//         text                        the superclass's name                                        (handle 0x007E0001)
//     13  8                           serial version
//         1  0C  2  00 00  1  78      flags, no fields, end of annotations
//         1  70                       no superclass above                            (handle of the object 0x007E0002)
//   -> block                          query id, code and, with a code of 0 or above, a count (and the ids themselves)
//
// A block is 77 and a length byte up to 255 bytes, 7A and four length bytes above. This block is never split.
// An id response, and any response with a negative code, ends there:
//      1  78                          end of the object's data
//
// A statistics response goes on with one object for each statistic, all of one class:
//      2  73 72                       object, class description
//         text                        the class's name                                             (handle 0x007E0003)
//      8  8                           serial version
// and for each statistic
//      5  first one:  0C 00 00 78 70  flags, no fields, end of annotations, no superclass
//         later ones: 71 00 7E 00 03  reference to the class description
//   -> blocks                         id, length of the value and value, in blocks of at most 1,024 bytes: full blocks
//                                     and a last one. Only an id that does not fit makes the first block longer.
//      2  78 73                       end of the statistic's data, object (the next statistic)
//         78 78                       the last one: end of its data, end of the response's data
//
// A response of no statistics has no class description to skip. As the last one it ends with 78, like any other; before
// another response the positions are kept in step by a block that nobody reads:
//      2  77 0B                       block of the 11 bytes that follow
//         text 00 02 "no"             in the place of the class's name
//      8  7 zero bytes, 78            the rest of the block, end of the response's data
namespace gatewaysim {

struct IdResponse {
    std::string queryId;
    int32_t code;
    std::vector<std::string> ids;
};

struct StatisticValue {
    std::string id;
    std::string value;
};

struct StatisticsResponse {
    std::string queryId;
    int32_t code;
    std::vector<StatisticValue> statistics;
};

Payload attributePayload(std::string_view value);
Bytes exceptionPayload(std::string_view message);
Payload idPayload(const std::vector<IdResponse>& responses);
Payload statisticsPayload(const std::vector<StatisticsResponse>& responses);

}  // namespace gatewaysim

#endif
