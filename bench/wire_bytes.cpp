#include "wire_bytes.h"

#include <algorithm>
#include <initializer_list>
#include <string>
#include <string_view>

namespace bench {

namespace {

constexpr size_t kHeaderFixedLength = 29;
constexpr size_t kKindOffset = 8;
constexpr size_t kNameLengthOffset = 0x14;
constexpr size_t kNameOffset = 0x18;
constexpr uint32_t kMostNameBytes = 64;

constexpr uint32_t kKindCommon = 1;
constexpr uint32_t kKindHandshake = 5;
constexpr uint32_t kKindClose = 10;
constexpr uint32_t kCloseQualifier = 0xFFFFFFFF;

constexpr uint32_t kCallInitialise = 0;
constexpr uint32_t kCallAttribute = 1;
constexpr uint32_t kCallInvoke = 5;

constexpr const char* kObjectName = "DefaultDomain:ProdId=com.oxa.zul,Activity=Control,type=Stats";
constexpr const char* kGetStats = "GET_STATS";
constexpr const char* kStatIds = "STAT_IDS";
constexpr const char* kQueryElement = "benchmark";

constexpr size_t kShortBlock = 255;
constexpr size_t kLongBlock = 1024;

// Collects in a text, whose growth the compiler understands better than that of a vector.
class Writer {
  public:
    Writer& bytes(std::initializer_list<uint8_t> values) {
        for (const uint8_t value : values) {
            text_.push_back(static_cast<char>(value));
        }
        return *this;
    }

    Writer& append(std::string_view text) {
        text_.append(text);
        return *this;
    }

    Writer& append(const Bytes& more) {
        return append(std::string_view(reinterpret_cast<const char*>(more.data()), more.size()));
    }

    Writer& u16(size_t value) {
        return bytes({static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)});
    }

    Writer& u32(size_t value) {
        return u16(value >> 16 & 0xFFFF).u16(value & 0xFFFF);
    }

    Writer& text(std::string_view text) {
        return u16(text.size()).append(text);
    }

    Writer& zeros(size_t count) {
        text_.append(count, '\0');
        return *this;
    }

    Bytes written() const {
        return Bytes(text_.begin(), text_.end());
    }

  private:
    std::string text_;
};

class Reader {
  public:
    Reader(const uint8_t* bytes, size_t size) : bytes_(bytes), size_(size) {}

    uint32_t u16() {
        const auto text = take(2);
        return text.size() < 2 ? 0 : static_cast<uint32_t>(byte(text[0]) << 8 | byte(text[1]));
    }

    uint32_t u32() {
        const uint32_t high = u16();
        return high << 16 | u16();
    }

    std::string_view take(size_t count) {
        const size_t there = std::min(count, size_ - position_);
        const std::string_view text(reinterpret_cast<const char*>(bytes_) + position_, there);
        position_ += there;
        return text;
    }

    std::string_view text() {
        return take(u16());
    }

  private:
    static uint32_t byte(char character) {
        return static_cast<uint8_t>(character);
    }

    const uint8_t* bytes_;
    size_t size_;
    size_t position_ = 0;
};

Bytes frame(uint32_t kind, uint32_t qualifier, std::string_view name, const Bytes& body) {
    Writer writer;
    writer.append("Gate").u32(0x00700000).u32(kind).u32(0).u32(qualifier);
    writer.u32(name.size()).append(name).bytes({0}).u32(body.size()).append(body);
    return writer.written();
}

// ---- Replies ----

Bytes handshakeReplyBody() {
    return Writer().text("en").text("US").zeros(10).written();
}

Bytes authorisationReplyBody(uint32_t step) {
    Writer writer;
    writer.u32(step).u32(0).append("replayed");
    return step == 0 ? writer.append("good").written() : writer.written();
}

Bytes initialiseReplyBody() {
    return Writer().u32(kCallInitialise).u32(0).append("HNDL").written();
}

Bytes callReplyBody(uint32_t callType, const Bytes& payload) {
    return Writer().u32(callType).u32(0).bytes({0}).append(payload).written();
}

Bytes versionPayload() {
    return Writer().bytes({0x00, 0xAC, 0xED, 0x00, 0x05, 0x74}).text("1.0.0").written();
}

void writeClassEnd(Writer* writer) {
    writer->bytes({0x0C, 0x00, 0x00, 0x78, 0x70});
}

void writeSerialVersion(Writer* writer) {
    writer->bytes({0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x01});
}

void writeBlockHead(Writer* writer, size_t length) {
    if (length <= kShortBlock) {
        writer->bytes({0x77, static_cast<uint8_t>(length)});
    } else {
        writer->bytes({0x7A}).u32(length);
    }
}

// A single response: the descriptions, and the head of a block with this much in it.
void writeResponseHead(Writer* writer, std::string_view className, size_t blockLength) {
    writer->bytes({0x00, 0xAC, 0xED, 0x00, 0x05, 0x73, 0x72}).text(className);
    writeSerialVersion(writer);
    writer->bytes({0x0C, 0x00, 0x00, 0x78, 0x72}).text("com.example.replay.StatResponse");
    writeSerialVersion(writer);
    writeClassEnd(writer);
    writeBlockHead(writer, blockLength);
}

Bytes queryElementBytes(uint32_t count) {
    return Writer().text(kQueryElement).u32(0).u32(count).written();
}

Bytes idsPayload(const Shape& shape) {
    Writer block;
    block.append(queryElementBytes(shape.count));
    for (uint32_t index = 0; index < shape.count; ++index) {
        block.text(idText(index));
    }
    Writer writer;
    const Bytes content = block.written();
    writeResponseHead(&writer, "com.example.replay.StatIdsResponse", content.size());
    return writer.append(content).bytes({0x78}).written();
}

// The data of a statistic in blocks of at most 1,024 bytes.
void writeBlocks(Writer* writer, const Bytes& data) {
    for (size_t start = 0; start < data.size(); start += kLongBlock) {
        const size_t length = std::min(kLongBlock, data.size() - start);
        writeBlockHead(writer, length);
        const auto first = data.begin() + static_cast<ptrdiff_t>(start);
        writer->append(Bytes(first, first + static_cast<ptrdiff_t>(length)));
    }
}

void writeStatistic(Writer* writer, const Shape& shape, uint32_t index) {
    if (index == 0) {
        writeClassEnd(writer);
    } else {
        writer->bytes({0x71, 0x00, 0x7E, 0x00, 0x03});
    }
    writeBlocks(writer, Writer().text(idText(index)).text(valueText(index, shape.valueLength)).written());
    const bool isLast = index + 1 == shape.count;
    writer->bytes({0x78, static_cast<uint8_t>(isLast ? 0x78 : 0x73)});
}

Bytes statsPayload(const Shape& shape) {
    const Bytes element = queryElementBytes(shape.count);
    Writer writer;
    writeResponseHead(&writer, "com.example.replay.StatValuesResponse", element.size());
    writer.append(element);
    if (shape.count == 0) {
        return writer.bytes({0x78}).written();
    }
    writer.bytes({0x73, 0x72}).text("com.example.replay.Statistic");
    writeSerialVersion(&writer);
    for (uint32_t index = 0; index < shape.count; ++index) {
        writeStatistic(&writer, shape, index);
    }
    return writer.written();
}

// ---- Requests ----

Bytes commonCallBody(uint32_t callType, const Bytes& rest) {
    Writer call;
    call.text("US").text("en").text("").text(kObjectName).append(rest);
    return Writer().u32(callType).append("HNDL").u32(call.written().size()).append(call.written()).written();
}

Bytes attributeBody() {
    return commonCallBody(kCallAttribute, Writer().text("protocol").written());
}

Bytes invokeBody(const Shape& shape) {
    Writer rest;
    rest.text(shape.content == Content::stats ? kGetStats : kStatIds).u32(1).bytes({0xAC, 0xED, 0x00, 0x05, 0x74});
    rest.text(shapeText(shape)).u32(1).text("java.lang.String");
    return commonCallBody(kCallInvoke, rest.written());
}

Exchange exchange(uint32_t kind, uint32_t qualifier, std::string_view name, const Bytes& body, const Bytes& replyBody) {
    return {frame(kind, qualifier, name, body), kHeaderFixedLength + name.size(), replyBody.size()};
}

Exchange initialiseExchange() {
    return exchange(kKindCommon, 0, "Admin", Writer().u32(kCallInitialise).written(), initialiseReplyBody());
}

// ---- What the server reads ----

Request readAuthorisation(Reader* body) {
    return {true, {}, frame(kKindCommon, 0, "Auth", authorisationReplyBody(body->u32()))};
}

Request readInvoke(Reader* body) {
    const std::string_view operation = body->text();
    body->u32();    // number of parameters
    body->take(5);  // stream magic and version, tag of a text
    const Content content = operation == kGetStats ? Content::stats : Content::ids;
    const std::optional<Shape> shape = shapeFromText(content, body->text());
    return {shape.has_value() && (operation == kGetStats || operation == kStatIds), shape, {}};
}

Request readAdministration(Reader* body) {
    const uint32_t callType = body->u32();
    if (callType == kCallInitialise) {
        return {true, {}, frame(kKindCommon, 0, "Admin", initialiseReplyBody())};
    }
    body->take(8);  // handle and call length
    for (int32_t skipped = 0; skipped < 4; ++skipped) {
        body->text();  // country, language, variant, object name
    }
    if (callType == kCallAttribute) {
        return {true, {}, frame(kKindCommon, 0, "Admin", callReplyBody(kCallAttribute, versionPayload()))};
    }
    return callType == kCallInvoke ? readInvoke(body) : Request{false, {}, {}};
}

}  // namespace

std::vector<Exchange> openingExchanges() {
    return {
        exchange(kKindHandshake, 0, "BASE", Writer().text("en").text("GB").zeros(10).written(), handshakeReplyBody()),
        exchange(kKindCommon, 0, "Auth", Writer().u32(0).written(), authorisationReplyBody(0)),
        exchange(kKindCommon, 0, "Auth", Writer().u32(1).append("replayedgood").u32(0).written(),
                 authorisationReplyBody(1)),
        initialiseExchange(),
        exchange(kKindCommon, 0, "Admin", attributeBody(), callReplyBody(kCallAttribute, versionPayload()))};
}

std::vector<Exchange> queryExchanges(const Shape& shape) {
    return {initialiseExchange(),
            exchange(kKindCommon, 0, "Admin", invokeBody(shape), callReplyBody(kCallInvoke, replyPayload(shape)))};
}

Exchange closingExchange() {
    return exchange(kKindClose, kCloseQualifier, "BASE", {}, {});
}

Bytes replyPayload(const Shape& shape) {
    return shape.content == Content::stats ? statsPayload(shape) : idsPayload(shape);
}

std::optional<size_t> requestLength(const uint8_t* received, size_t size) {
    Reader reader(received, size);
    reader.take(kNameLengthOffset);
    const uint32_t nameLength = reader.u32();
    if (size < kNameOffset || nameLength > kMostNameBytes || size < kHeaderFixedLength + nameLength) {
        return std::nullopt;
    }
    reader.take(nameLength + 1);
    return kHeaderFixedLength + nameLength + reader.u32();
}

Request readRequest(const uint8_t* request, size_t size) {
    Reader reader(request, size);
    reader.take(kKindOffset);
    const uint32_t kind = reader.u32();
    reader.take(kNameLengthOffset - kKindOffset - sizeof kind);
    const std::string_view name = reader.take(reader.u32());
    reader.take(5);  // flag byte and length of the body
    if (kind == kKindHandshake) {
        return {true, {}, frame(kKindHandshake, 0, "BASE", handshakeReplyBody())};
    }
    if (kind == kKindClose) {
        return {true, {}, frame(kKindClose, 0, "BASE", {})};
    }
    return name == "Auth" ? readAuthorisation(&reader) : readAdministration(&reader);
}

Bytes queryReply(const Shape& shape) {
    return frame(kKindCommon, 0, "Admin", callReplyBody(kCallInvoke, replyPayload(shape)));
}

}  // namespace bench
