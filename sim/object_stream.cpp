#include "object_stream.h"

#include <algorithm>
#include <cstddef>
#include <span>

namespace gatewaysim {

namespace {

constexpr uint16_t kStreamMagic = 0xACED;
constexpr uint16_t kStreamVersion = 5;
constexpr uint8_t kNull = 0x70;
constexpr uint8_t kReference = 0x71;
constexpr uint8_t kClassDescription = 0x72;
constexpr uint8_t kObject = 0x73;
constexpr uint8_t kString = 0x74;
constexpr uint8_t kBlockData = 0x77;
constexpr uint8_t kEndOfBlockData = 0x78;
constexpr uint8_t kBlockDataLong = 0x7A;
constexpr uint8_t kExternalizableInBlocks = 0x0C;
constexpr uint32_t kStatisticClassHandle = 0x007E0003;

constexpr size_t kLongestShortBlock = 255;
constexpr size_t kFullBlock = 1024;

struct JavaClass {
    std::string_view name;
    uint64_t serialVersion;
};

constexpr JavaClass kResponse{"com.oxa.zul.stats.StatResponse", 0x1F0E2D3C4B5A6978};
constexpr JavaClass kIdResponse{"com.oxa.zul.stats.StatIdResponse", 0x52A11C0FF34D8E07};
constexpr JavaClass kStatisticsResponse{"com.oxa.zul.stats.StatDataResponse", 0x0BADF00D7EE7C0DE};
constexpr JavaClass kStatistic{"com.oxa.zul.stats.StatData", 0x6C8FDE4A3B21907F};

uint32_t countOf(size_t size) {
    return static_cast<uint32_t>(size);
}

void writeStreamHeader(ByteWriter& writer) {
    writer.u16(kStreamMagic);
    writer.u16(kStreamVersion);
}

void writeClassStart(ByteWriter& writer, const JavaClass& described) {
    writer.u8(kClassDescription);
    writer.countedText(described.name);
    writer.u64(described.serialVersion);
}

void writeClassRest(ByteWriter& writer) {
    writer.u8(kExternalizableInBlocks);
    writer.u16(0);
    writer.u8(kEndOfBlockData);
}

void writeResponseStart(ByteWriter& writer, const JavaClass& described) {
    writeStreamHeader(writer);
    writer.u8(kObject);
    writeClassStart(writer, described);
    writeClassRest(writer);
    writeClassStart(writer, kResponse);
    writeClassRest(writer);
    writer.u8(kNull);
}

void writeBlock(ByteWriter& writer, std::span<const uint8_t> data) {
    if (data.size() <= kLongestShortBlock) {
        writer.u8(kBlockData);
        writer.u8(static_cast<uint8_t>(data.size()));
    } else {
        writer.u8(kBlockDataLong);
        writer.u32(countOf(data.size()));
    }
    writer.raw(data);
}

void writeResponseCount(ByteWriter& writer, size_t count) {
    writer.u8(count == 1 ? 0 : 1);
    if (count != 1) {
        writer.u32(countOf(count));
    }
}

void writeIdResponse(ByteWriter& writer, const IdResponse& response) {
    writeResponseStart(writer, kIdResponse);
    ByteWriter block;
    block.countedText(response.queryId);
    block.u32(static_cast<uint32_t>(response.code));
    if (response.code >= 0) {
        block.u32(countOf(response.ids.size()));
        for (const std::string& id : response.ids) {
            block.countedText(id);
        }
    }
    writeBlock(writer, block.take());
    writer.u8(kEndOfBlockData);
}

void writeStatistic(ByteWriter& writer, const StatisticValue& statistic) {
    ByteWriter content;
    content.countedText(statistic.id);
    content.u16(static_cast<uint16_t>(statistic.value.size()));
    const size_t unsplittable = content.size();
    content.text(statistic.value);
    const Bytes bytes = content.take();
    std::span<const uint8_t> rest(bytes);
    size_t longest = std::max(kFullBlock, unsplittable);
    while (!rest.empty()) {
        const size_t size = std::min(rest.size(), longest);
        writeBlock(writer, rest.first(size));
        rest = rest.subspan(size);
        longest = kFullBlock;
    }
}

void writeStatistics(ByteWriter& writer, const std::vector<StatisticValue>& statistics) {
    writer.u8(kObject);
    writeClassStart(writer, kStatistic);
    for (size_t index = 0; index < statistics.size(); ++index) {
        if (index == 0) {
            writeClassRest(writer);
            writer.u8(kNull);
        } else {
            writer.u8(kObject);
            writer.u8(kReference);
            writer.u32(kStatisticClassHandle);
        }
        writeStatistic(writer, statistics[index]);
        writer.u8(kEndOfBlockData);
    }
}

void writeFiller(ByteWriter& writer) {
    ByteWriter filler;
    filler.countedText("no");
    filler.u32(0);
    filler.u16(0);
    filler.u8(0);
    writeBlock(writer, filler.take());
}

void writeStatisticsResponse(ByteWriter& writer, const StatisticsResponse& response, bool isLast) {
    writeResponseStart(writer, kStatisticsResponse);
    ByteWriter block;
    block.countedText(response.queryId);
    block.u32(static_cast<uint32_t>(response.code));
    if (response.code >= 0) {
        block.u32(countOf(response.statistics.size()));
    }
    writeBlock(writer, block.take());
    if (!response.statistics.empty()) {
        writeStatistics(writer, response.statistics);
    } else if (response.code >= 0 && !isLast) {
        writeFiller(writer);
    }
    writer.u8(kEndOfBlockData);
}

}  // namespace

Bytes attributePayload(std::string_view value) {
    ByteWriter writer;
    writer.u8(0);
    writeStreamHeader(writer);
    writer.u8(kString);
    writer.countedText(value);
    return writer.take();
}

Bytes exceptionPayload(std::string_view message) {
    ByteWriter writer;
    writeStreamHeader(writer);
    writer.u8(kString);
    writer.countedText(message);
    return writer.take();
}

Bytes idPayload(const std::vector<IdResponse>& responses) {
    ByteWriter writer;
    writeResponseCount(writer, responses.size());
    for (const IdResponse& response : responses) {
        writeIdResponse(writer, response);
    }
    return writer.take();
}

Bytes statisticsPayload(const std::vector<StatisticsResponse>& responses) {
    ByteWriter writer;
    writeResponseCount(writer, responses.size());
    for (size_t index = 0; index < responses.size(); ++index) {
        writeStatisticsResponse(writer, responses[index], index + 1 == responses.size());
    }
    return writer.take();
}

}  // namespace gatewaysim
