// What is done with a reply once it is there: parsing, walking, copying, dumping, building a query of its ids.
#include <cstdlib>
#include <cstring>

#include "benchmarks.h"
#include "limit_set.h"
#include "wire_bytes.h"

namespace bench {

namespace {

// A buffer of the library's that a parser fills, and enlarges when it has to.
class ParserBuffer {
  public:
    explicit ParserBuffer(const Inside& inside) : inside_(inside), bytes_(inside.makeBuffer(&capacity_)) {}
    ~ParserBuffer() {
        inside_.releaseBuffer(bytes_);
    }
    ParserBuffer(const ParserBuffer&) = delete;
    ParserBuffer& operator=(const ParserBuffer&) = delete;

    void parse(Content content, const Bytes& payload) {
        const auto parser = content == Content::stats ? inside_.parseStats : inside_.parseIds;
        require(parser(payload.data(), payload.size(), &bytes_, &capacity_), "the library's parser");
    }

    const char* bytes() const {
        return bytes_;
    }

  private:
    const Inside& inside_;
    int32_t capacity_ = 0;
    char* bytes_;
};

// Into a buffer that is large enough, as that of a connection is after its first query.
void parse(benchmark::State& state, const Spec& spec) {
    const Bytes payload = replyPayload(spec.shape);
    if (spec.contender == Contender::limit) {
        LimitResult result;
        for (auto _ : state) {
            result.parse(spec.shape.content, payload.data(), payload.size());
            benchmark::ClobberMemory();
        }
    } else {
        ParserBuffer buffer(insideOf(spec.contender));
        for (auto _ : state) {
            buffer.parse(spec.shape.content, payload);
            benchmark::ClobberMemory();
        }
    }
}

// Into a new buffer of the initial capacity, with all the doublings that the reply needs.
void parseGrowing(benchmark::State& state, const Spec& spec) {
    const Bytes payload = replyPayload(spec.shape);
    for (auto _ : state) {
        if (spec.contender == Contender::limit) {
            LimitResult result;
            result.parse(spec.shape.content, payload.data(), payload.size());
            benchmark::DoNotOptimize(result.set().buffer);
        } else {
            ParserBuffer buffer(insideOf(spec.contender));
            buffer.parse(spec.shape.content, payload);
            benchmark::DoNotOptimize(buffer.bytes());
        }
    }
}

void walkAlone(benchmark::State& state, const Spec& spec) {
    if (spec.contender == Contender::limit) {
        const Bytes payload = replyPayload(spec.shape);
        LimitResult result;
        result.parse(spec.shape.content, payload.data(), payload.size());
        for (auto _ : state) {
            benchmark::DoNotOptimize(result.walk(spec.shape.content));
        }
    } else {
        const Library& library = libraryOf(spec.contender);
        Connection connection(library, settings.port);
        ResultSetToken* const resultSet = connection.query(spec.shape);
        for (auto _ : state) {
            benchmark::DoNotOptimize(walk(library, spec.shape.content, resultSet));
        }
    }
}

// The ids of a limit's set, joined by ":".
size_t joinIds(LimitResult* result, char* text) {
    auto* const set = const_cast<LimitSet*>(&result->set());
    IdData record = {};
    char* end = text;
    for (int32_t rc = limitGetFirstId(set, &record); rc == STAPI_RC_OK; rc = limitGetNextId(set, &record)) {
        std::memcpy(end, record.idPtr, record.idLen);
        end += record.idLen;
        *end++ = ':';
    }
    return static_cast<size_t>(end - text);
}

void idQuery(benchmark::State& state, const Spec& spec) {
    if (spec.contender == Contender::limit) {
        const Bytes payload = replyPayload(spec.shape);
        LimitResult result;
        result.parse(spec.shape.content, payload.data(), payload.size());
        std::vector<char> text(payload.size());
        for (auto _ : state) {
            benchmark::DoNotOptimize(joinIds(&result, text.data()));
            benchmark::ClobberMemory();
        }
    } else {
        const Library& library = libraryOf(spec.contender);
        Connection connection(library, settings.port);
        ResultSetToken* const resultSet = connection.query(spec.shape);
        char* text = nullptr;
        for (auto _ : state) {
            require(library.getIdQuery(resultSet, &text), "getIdQuery");
            benchmark::ClobberMemory();
        }
    }
}

// Against an allocation and one copy of what the buffer holds.
void copy(benchmark::State& state, const Spec& spec) {
    if (spec.contender == Contender::limit) {
        const Bytes payload = replyPayload(spec.shape);
        LimitResult result;
        result.parse(spec.shape.content, payload.data(), payload.size());
        for (auto _ : state) {
            void* const block = std::malloc(result.set().capacity);
            std::memcpy(block, result.set().buffer, result.set().size);
            benchmark::DoNotOptimize(block);
            benchmark::ClobberMemory();
            std::free(block);
        }
    } else {
        const Library& library = libraryOf(spec.contender);
        Connection connection(library, settings.port);
        ResultSetToken* const resultSet = connection.query(spec.shape);
        for (auto _ : state) {
            ResultSetToken* copied = nullptr;
            require(library.copyResultSet(resultSet, &copied), "copyResultSet");
            require(library.freeResultSet(&copied), "freeResultSet");
        }
    }
}

}  // namespace

void addWorkInMemory(Kinds* kinds) {
    (*kinds)["parse"] = parse;
    (*kinds)["parse_growing"] = parseGrowing;
    (*kinds)["walk"] = walkAlone;
    (*kinds)["id_query"] = idQuery;
    (*kinds)["copy"] = copy;
}

}  // namespace bench
