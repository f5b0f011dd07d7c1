#ifndef ZULSTATS_SIM_PAYLOAD_H
#define ZULSTATS_SIM_PAYLOAD_H

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "bytes.h"

namespace gatewaysim {

// The length and count fields of a reply's payload.
enum class Field {
    responseCount,
    classNameLength,
    blockLength,
    elementLength,
    idCount,
    idLength,
    statisticCount,
    statisticIdLength,
    valueLength,
    chunkLength,
    versionLength
};

struct FieldPlace {
    Field field;
    size_t offset;
    size_t width;
};

// A payload that knows where its fields stand.
struct Payload {
    Bytes bytes;
    std::vector<FieldPlace> fields;
};

class PayloadWriter : public ByteWriter {
  public:
    // What is written next is this field.
    void mark(Field field, size_t width) {
        fields_.push_back({field, size(), width});
    }
    // The bytes written last are this field.
    void markBefore(Field field, size_t width) {
        fields_.push_back({field, size() - width, width});
    }
    // Marks a text's byte count and writes both.
    void markedText(Field lengthField, std::string_view characters);
    // Writes the first bytes of another payload, with the fields that lie in them.
    void append(const Payload& payload, size_t size);

    Payload takePayload() {
        return {take(), std::move(fields_)};
    }

  private:
    std::vector<FieldPlace> fields_;
};

// Writes the value, or as many of its low bits as fit, over the first field of this kind. A payload with one response
// has no response count: it gets one. Does nothing where the payload has no such field.
void overwriteField(Payload& payload, Field field, uint32_t value);

}  // namespace gatewaysim

#endif
