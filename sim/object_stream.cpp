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

void writeStreamHeader(PayloadWriter& writer) {
    writer.u16(kStreamMagic);
    writer.u16(kStreamVersion);
}

void writeClassStart(PayloadWriter& writer, const JavaClass& described) {
    writer.u8(kClassDescription);
    writer.markedText(Field::classNameLength, described.name);
    writer.u64(described.serialVersion);
}

void writeClassRest(PayloadWriter& writer) {
    writer.u8(kExternalizableInBlocks);
    writer.u16(0);
    writer.u8(kEndOfBlockData);
}

void writeResponseStart(PayloadWriter& writer, const JavaClass& described) {
    writeStreamHeader(writer);
    writer.u8(kObject);
    writeClassStart(writer, described);
    writeClassRest(writer);
    writeClassStart(writer, kResponse);
    writeClassRest(writer);
    writer.u8(kNull);
}

void writeBlockStart(PayloadWriter& writer, size_t size) {
    if (size <= kLongestShortBlock) {
        writer.u8(kBlockData);
        writer.mark(Field::blockLength, 1);
        writer.u8(static_cast<uint8_t>(size));
    } else {
        writer.u8(kBlockDataLong);
        writer.mark(Field::blockLength, 4);
        writer.u32(countOf(size));
    }
}

void writeBlock(PayloadWriter& writer, const Payload& data) {
    writeBlockStart(writer, data.bytes.size());
    writer.append(data, data.bytes.size());
}

void writeResponseCount(PayloadWriter& writer, size_t count) {
    writer.u8(count == 1 ? 0 : 1);
    if (count != 1) {
        writer.mark(Field::responseCount, 4);
        writer.u32(countOf(count));
    }
}

void writeIdResponse(PayloadWriter& writer, const IdResponse& response) {
    writeResponseStart(writer, kIdResponse);
    PayloadWriter block;
    block.markedText(Field::elementLength, response.queryId);
    block.u32(static_cast<uint32_t>(response.code));
    if (response.code >= 0) {
        block.mark(Field::idCount, 4);
        block.u32(countOf(response.ids.size()));
        for (const std::string& id : response.ids) {
            block.markedText(Field::idLength, id);
        }
    }
    writeBlock(writer, block.takePayload());
    writer.u8(kEndOfBlockData);
}

void writeStatistic(PayloadWriter& writer, const StatisticValue& statistic) {
    PayloadWriter content;
    content.markedText(Field::statisticIdLength, statistic.id);
    content.mark(Field::valueLength, 2);
    content.u16(static_cast<uint16_t>(statistic.value.size()));
    const size_t unsplittable = content.size();
    content.text(statistic.value);
    Payload rest = content.takePayload();
    size_t longest = std::max(kFullBlock, unsplittable);
    while (!rest.bytes.empty()) {
        const size_t size = std::min(rest.bytes.size(), longest);
        writeBlockStart(writer, size);
        if (size > kLongestShortBlock) {
            writer.markBefore(Field::chunkLength, 2);
        }
        writer.append(rest, size);
        rest.bytes.erase(rest.bytes.begin(), rest.bytes.begin() + static_cast<ptrdiff_t>(size));
        rest.fields.clear();
        longest = kFullBlock;
    }
}

void writeStatistics(PayloadWriter& writer, const std::vector<StatisticValue>& statistics) {
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

void writeFiller(PayloadWriter& writer) {
    PayloadWriter filler;
    filler.countedText("no");
    filler.u32(0);
    filler.u16(0);
    filler.u8(0);
    writeBlock(writer, filler.takePayload());
}

void writeStatisticsResponse(PayloadWriter& writer, const StatisticsResponse& response, bool isLast) {
    writeResponseStart(writer, kStatisticsResponse);
    PayloadWriter block;
    block.markedText(Field::elementLength, response.queryId);
    block.u32(static_cast<uint32_t>(response.code));
    if (response.code >= 0) {
        block.mark(Field::statisticCount, 4);
        block.u32(countOf(response.statistics.size()));
    }
    writeBlock(writer, block.takePayload());
    if (!response.statistics.empty()) {
        writeStatistics(writer, response.statistics);
    } else if (response.code >= 0 && !isLast) {
        writeFiller(writer);
    }
    writer.u8(kEndOfBlockData);
}

}  // namespace

Payload attributePayload(std::string_view value) {
    PayloadWriter writer;
    writer.u8(0);
    writeStreamHeader(writer);
    writer.u8(kString);
    writer.markedText(Field::versionLength, value);
    return writer.takePayload();
}

Bytes exceptionPayload(std::string_view message) {
    PayloadWriter writer;
    writeStreamHeader(writer);
    writer.u8(kString);
    writer.countedText(message);
    return writer.take();
}

Payload idPayload(const std::vector<IdResponse>& responses) {
    PayloadWriter writer;
    writeResponseCount(writer, responses.size());
    for (const IdResponse& response : responses) {
        writeIdResponse(writer, response);
    }
    return writer.takePayload();
}

Payload statisticsPayload(const std::vector<StatisticsResponse>& responses) {
    PayloadWriter writer;
    writeResponseCount(writer, responses.size());
    for (size_t index = 0; index < responses.size(); ++index) {
        writeStatisticsResponse(writer, responses[index], index + 1 == responses.size());
    }
    return writer.takePayload();
}

}  // namespace gatewaysim
