#include "payload_readers.h"

#include <algorithm>
#include <cstddef>
#include <stdexcept>

namespace sim_test {

namespace {

class Cursor {
  public:
    explicit Cursor(const Bytes& bytes) : bytes_(bytes) {}

    uint32_t number(size_t size) {
        uint32_t value = 0;
        for (const uint8_t byte : taken(size)) {
            value = value << 8 | byte;
        }
        return value;
    }

    Bytes taken(size_t size) {
        if (at_ > bytes_.size()) {
            throw std::runtime_error("a field begins behind the end");
        }
        Bytes result = part(bytes_, at_, size);
        at_ += size;
        return result;
    }

    std::string characters(size_t size) {
        const Bytes result = taken(size);
        return {result.begin(), result.end()};
    }

    std::string countedText() {
        return characters(number(2));
    }

    void skip(size_t size) {
        at_ += size;
    }

    // A count and its bytes; missing bytes count as zero.
    void skipCountedText() {
        const bool hasCount = at_ + 2 <= bytes_.size();
        const size_t count = hasCount ? number(2) : 0;
        skip(hasCount ? count : 2);
    }

    bool atEnd() const {
        return at_ >= bytes_.size();
    }

    void expectEnd() const {
        if (at_ < bytes_.size()) {
            throw std::runtime_error(std::to_string(bytes_.size() - at_) + " bytes left over");
        }
    }

    void expect(size_t size, uint32_t wanted, const char* what) {
        const uint32_t value = number(size);
        if (value != wanted) {
            throw std::runtime_error(std::string(what) + " expected at " + std::to_string(at_ - size) + ", found " +
                                     std::to_string(value));
        }
    }

  private:
    const Bytes& bytes_;
    size_t at_ = 0;
};

size_t responseCount(Cursor& cursor) {
    return cursor.number(1) == 1 ? cursor.number(4) : 1;
}

void walkToQueryId(Cursor& cursor) {
    cursor.skip(6);
    cursor.skipCountedText();
    cursor.skip(13);
    cursor.skipCountedText();
    cursor.skip(13);
    cursor.skip(cursor.number(1) == 0x77 ? 1 : 4);
}

std::string splitValue(Cursor& cursor, size_t size, size_t firstPart) {
    std::string value = cursor.characters(firstPart);
    uint32_t tag = cursor.number(1);
    while (tag == 0x7A && value.size() < size) {
        cursor.skip(2);
        value += cursor.characters(cursor.number(2));
        if (value.size() < size) {
            tag = cursor.number(1);
        }
    }
    if (tag == 0x77 && value.size() < size) {
        value += cursor.characters(cursor.number(1));
    }
    if (value.size() != size) {
        throw std::runtime_error("the blocks of a value have " + std::to_string(value.size()) + " bytes for " +
                                 std::to_string(size));
    }
    return value;
}

std::pair<std::string, std::string> statisticAt(Cursor& cursor) {
    cursor.skip(5);
    const uint32_t tag = cursor.number(1);
    size_t chunk = 0;
    if (tag == 0x7A) {
        cursor.skip(2);
        chunk = cursor.number(2);
    } else {
        cursor.skip(1);
    }
    std::string id = cursor.countedText();
    const size_t size = cursor.number(2);
    const bool isSplit = tag == 0x7A && size > chunk - id.size() - 4;
    std::string value = isSplit ? splitValue(cursor, size, chunk - id.size() - 4) : cursor.characters(size);
    cursor.skip(2);
    return {std::move(id), std::move(value)};
}

class StreamReader {
  public:
    explicit StreamReader(Cursor& cursor) : cursor_(cursor) {}

    StreamObject read() {
        cursor_.expect(4, 0xACED0005, "a stream header");
        cursor_.expect(1, 0x73, "an object");
        return object();
    }

  private:
    // Behind the object's tag.
    StreamObject object() {
        StreamObject result;
        const size_t description = classDescription();
        for (size_t index = description; index != kNone; index = described_.at(index).superclass) {
            result.classes.push_back(described_.at(index).name);
        }
        ++handles_;
        while (true) {
            const uint32_t tag = cursor_.number(1);
            if (tag == 0x78) {
                return result;
            }
            if (tag == 0x77 || tag == 0x7A) {
                const size_t size = cursor_.number(tag == 0x77 ? 1 : 4);
                if (tag == 0x7A && size < 256) {
                    throw std::runtime_error("a long block of " + std::to_string(size) + " bytes");
                }
                result.blocks.push_back(cursor_.taken(size));
            } else if (tag == 0x73) {
                result.objects.push_back(object());
            } else {
                throw std::runtime_error("tag " + std::to_string(tag) + " in the data of an object");
            }
        }
    }

    // The index of the description, new or referred to; kNone for null.
    size_t classDescription() {
        const uint32_t tag = cursor_.number(1);
        if (tag == 0x70) {
            return kNone;
        }
        if (tag == 0x71) {
            const uint32_t handle = cursor_.number(4);
            const auto found = std::find_if(described_.begin(), described_.end(),
                                            [&](const Description& entry) { return entry.handle == handle; });
            if (found == described_.end()) {
                throw std::runtime_error("a reference to handle " + std::to_string(handle) + ", which is no class");
            }
            return static_cast<size_t>(found - described_.begin());
        }
        if (tag != 0x72) {
            throw std::runtime_error("tag " + std::to_string(tag) + " where a class description belongs");
        }
        const size_t index = described_.size();
        described_.push_back({cursor_.countedText(), handles_++, kNone});
        cursor_.skip(8);
        cursor_.expect(1, 0x0C, "the flags of an externalizable class with block data");
        cursor_.expect(2, 0, "no fields");
        cursor_.expect(1, 0x78, "the end of the annotations");
        const size_t superclass = classDescription();
        described_.at(index).superclass = superclass;
        return index;
    }

    static constexpr size_t kNone = static_cast<size_t>(-1);

    struct Description {
        std::string name;
        uint32_t handle;
        size_t superclass;
    };

    Cursor& cursor_;
    uint32_t handles_ = 0x007E0000;
    std::vector<Description> described_;
};

// Reads the query id and the code, and gives the count behind them, which a failed response has not.
size_t readHead(Cursor& cursor, Response& response) {
    response.queryId = cursor.countedText();
    response.code = static_cast<int32_t>(cursor.number(4));
    return response.code < 0 ? 0 : cursor.number(4);
}

void readIdResponse(Cursor& cursor, Response& response) {
    const size_t count = readHead(cursor, response);
    for (size_t index = 0; index < count; ++index) {
        response.ids.push_back(cursor.countedText());
    }
}

}  // namespace

std::vector<Response> idsByPosition(const Bytes& payload) {
    Cursor cursor(payload);
    std::vector<Response> responses(responseCount(cursor));
    for (Response& response : responses) {
        walkToQueryId(cursor);
        readIdResponse(cursor, response);
        cursor.skip(1);
    }
    cursor.expectEnd();
    return responses;
}

std::vector<Response> statisticsByPosition(const Bytes& payload) {
    Cursor cursor(payload);
    std::vector<Response> responses(responseCount(cursor));
    for (Response& response : responses) {
        walkToQueryId(cursor);
        const size_t count = readHead(cursor, response);
        if (response.code < 0) {
            cursor.skip(1);
            continue;
        }
        cursor.skip(2);
        cursor.skipCountedText();
        cursor.skip(8);
        for (size_t index = 0; index < count; ++index) {
            response.statistics.push_back(statisticAt(cursor));
        }
    }
    cursor.expectEnd();
    return responses;
}

std::vector<StreamObject> streamObjects(const Bytes& payload) {
    Cursor cursor(payload);
    std::vector<StreamObject> objects(responseCount(cursor));
    for (StreamObject& object : objects) {
        object = StreamReader(cursor).read();
    }
    cursor.expectEnd();
    return objects;
}

std::vector<Response> idsOfObjects(const std::vector<StreamObject>& objects) {
    std::vector<Response> responses(objects.size());
    for (size_t index = 0; index < objects.size(); ++index) {
        Cursor cursor(objects[index].blocks.at(0));
        readIdResponse(cursor, responses[index]);
        cursor.expectEnd();
    }
    return responses;
}

std::vector<Response> statisticsOfObjects(const std::vector<StreamObject>& objects) {
    std::vector<Response> responses;
    for (const StreamObject& object : objects) {
        Cursor cursor(object.blocks.at(0));
        Response response;
        const size_t count = readHead(cursor, response);
        for (const StreamObject& statistic : object.objects) {
            Bytes joined;
            for (const Bytes& block : statistic.blocks) {
                joined = std::move(joined) + block;
            }
            Cursor content(joined);
            std::string id = content.countedText();
            std::string value = content.countedText();
            content.expectEnd();
            response.statistics.emplace_back(std::move(id), std::move(value));
        }
        if (response.statistics.size() != count) {
            throw std::runtime_error("a response announces " + std::to_string(count) + " statistics and has " +
                                     std::to_string(response.statistics.size()));
        }
        responses.push_back(std::move(response));
    }
    return responses;
}

}  // namespace sim_test
