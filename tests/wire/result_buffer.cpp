#include "result_buffer.h"

#include <cstddef>
#include <cstring>
#include <stdexcept>

#include "impl/stapi_zul_impl.h"
#include "library_block.h"
#include "resultset/stapi_zul_resultsetbuffer.h"

namespace wire_test {

namespace {

constexpr int kLongestWalk = 1000000;

bool isInside(const ResultBuffer& result, const char* text, uint32_t length) {
    const auto size = static_cast<size_t>(result.capacity) + sizeof test_support::kEndMark;
    const auto offset = static_cast<size_t>(text - result.buffer);
    return offset <= size && length <= size - offset;
}

std::string textOf(const ResultBuffer& result, const char* text, uint32_t length) {
    if (!isInside(result, text, length)) {
        throw std::runtime_error("the walk hands out a text outside the buffer");
    }
    return std::string(text, length);
}

// An element without ids hands out the word behind its count as the length of one, whatever that word is.
std::string idOf(const ResultBuffer& result, const ResultSetToken& token, const IdData& data) {
    const bool isBogus = token.elementResultCount <= 0 && !isInside(result, data.idPtr, data.idLen);
    return isBogus ? "(bogus)" : textOf(result, data.idPtr, data.idLen);
}

}  // namespace

ResultBuffer::ResultBuffer(int32_t initialCapacity)
    : buffer(static_cast<char*>(stapi::allocateMemory(stapi::resultSetAllocation(initialCapacity)))),
      capacity(initialCapacity) {
    std::memcpy(buffer, &test_support::kEndMark, sizeof test_support::kEndMark);
}

ResultBuffer::~ResultBuffer() {
    stapi::releaseMemory(buffer);
}

Bytes ResultBuffer::content() const {
    Bytes bytes = bytesAt(buffer, static_cast<size_t>(capacity) + sizeof test_support::kEndMark);
    while (!bytes.empty() && bytes.back() == 0) {
        bytes.pop_back();
    }
    return bytes;
}

VersionToken::VersionToken(int32_t socket) {
    token.socket = socket;
    token.protocolVersionSize = stapi::kProtocolVersionArea;
    token.protocolVersion = static_cast<char*>(stapi::allocateMemory(token.protocolVersionSize));
}

VersionToken::~VersionToken() {
    stapi::releaseMemory(token.protocolVersion);
}

int32_t parse(Parser parser, const Bytes& payload, ResultBuffer* result) {
    const stapi::MemoryHolder<uint8_t> block(libraryBlock(payload));
    return parser(block.get(), &result->buffer, &result->capacity, payload.size());
}

std::vector<std::string> walk(ResultBuffer* result, bool isStatistics) {
    ResultSetToken token = {};
    token.owner = stapi::OWNER_USER;
    token.resultSetBuf = result->buffer;
    token.resultSetBufLen = result->capacity;
    std::vector<std::string> entries;
    int32_t rc = 0;
    for (int step = 0; rc == 0; ++step) {
        if (step == kLongestWalk) {
            throw std::runtime_error("the walk does not end");
        }
        if (isStatistics) {
            StatData data = {};
            rc = step == 0 ? stapi::getFirstStatInternal(&token, &data) : stapi::getNextStatInternal(&token, &data);
            if (rc == 0) {
                entries.push_back(data.queryElementRC < 0 ? "(" + std::to_string(data.queryElementRC) + ")"
                                                          : textOf(*result, data.statIdPtr, data.statIdLen) + "=" +
                                                                textOf(*result, data.statValuePtr, data.statValueLen));
            }
        } else {
            IdData data = {};
            rc = step == 0 ? stapi::getFirstIdInternal(&token, &data) : stapi::getNextIdInternal(&token, &data);
            if (rc == 0) {
                entries.push_back(data.queryElementRC < 0 ? "(" + std::to_string(data.queryElementRC) + ")"
                                                          : idOf(*result, token, data));
            }
        }
    }
    if (rc != -113) {
        throw std::runtime_error("the walk ended with " + std::to_string(rc));
    }
    return entries;
}

}  // namespace wire_test
