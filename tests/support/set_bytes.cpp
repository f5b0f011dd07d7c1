#include "set_bytes.h"

namespace test_support {

SetBytes::SetBytes(std::string_view eyecatcher, uint32_t blockCount) {
    raw(eyecatcher).word(blockCount);
}

SetBytes& SetBytes::raw(std::string_view bytes) {
    bytes_ += bytes;
    return *this;
}

SetBytes& SetBytes::word(uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8) {
        bytes_ += static_cast<char>(value >> shift & 0xFF);
    }
    return *this;
}

SetBytes& SetBytes::text(std::string_view text) {
    return word(static_cast<uint32_t>(text.size())).raw(text);
}

SetBytes& SetBytes::block(std::string_view queryElement, int32_t code, uint32_t entryCount) {
    return text(queryElement).word(static_cast<uint32_t>(code)).word(entryCount);
}

SetBytes& SetBytes::failedBlock(std::string_view queryElement, int32_t code) {
    return text(queryElement).word(static_cast<uint32_t>(code));
}

SetBytes& SetBytes::id(std::string_view id) {
    return text(id);
}

SetBytes& SetBytes::stat(std::string_view id, std::string_view value) {
    return text(id).text(value);
}

SetBytes& SetBytes::end() {
    return word(kEndMark);
}

Bytes SetBytes::terminated() const {
    return characters(SetBytes(*this).end().bytes());
}

SetBytes idSet(uint32_t blockCount) {
    return {"ZULIDSET", blockCount};
}

SetBytes statSet(uint32_t blockCount) {
    return {"ZULSTSET", blockCount};
}

}  // namespace test_support
