#include "payload.h"

#include <algorithm>

namespace gatewaysim {

namespace {

constexpr uint8_t kSeveralResponses = 1;
constexpr size_t kResponseCountOffset = 1;
constexpr size_t kResponseCountWidth = 4;

auto placeOf(Payload& payload, Field field) {
    return std::find_if(payload.fields.begin(), payload.fields.end(),
                        [&](const FieldPlace& place) { return place.field == field; });
}

void insertResponseCount(Payload& payload) {
    payload.bytes.front() = kSeveralResponses;
    payload.bytes.insert(payload.bytes.begin() + kResponseCountOffset, kResponseCountWidth, 0);
    for (FieldPlace& place : payload.fields) {
        place.offset += kResponseCountWidth;
    }
    payload.fields.push_back({Field::responseCount, kResponseCountOffset, kResponseCountWidth});
}

}  // namespace

void PayloadWriter::markedText(Field lengthField, std::string_view characters) {
    mark(lengthField, 2);
    countedText(characters);
}

void PayloadWriter::append(const Payload& payload, size_t size) {
    const size_t start = this->size();
    for (const FieldPlace& place : payload.fields) {
        if (place.offset + place.width <= size) {
            fields_.push_back({place.field, start + place.offset, place.width});
        }
    }
    raw(std::span(payload.bytes).first(size));
}

void overwriteField(Payload& payload, Field field, uint32_t value) {
    if (field == Field::responseCount && placeOf(payload, field) == payload.fields.end()) {
        insertResponseCount(payload);
    }
    const auto place = placeOf(payload, field);
    if (place == payload.fields.end()) {
        return;
    }
    for (size_t index = 0; index < place->width; ++index) {
        const size_t shift = 8 * (place->width - 1 - index);
        payload.bytes[place->offset + index] = static_cast<uint8_t>(value >> shift & 0xFF);
    }
}

}  // namespace gatewaysim
