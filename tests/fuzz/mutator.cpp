#include "mutator.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace fuzz_test {

namespace {

constexpr std::array<uint8_t, 4> kEyecatcher{0x47, 0x61, 0x74, 0x65};
constexpr size_t kNameAt = 24;
constexpr size_t kBehindName = 5;
constexpr size_t kReturnCodeAt = 16;
constexpr uint32_t kNowAndThen = 12;

// Passes over bytes in the daemon's order and makes what it passes fit.
class Repairer {
  public:
    Repairer(std::span<uint8_t> bytes, Dice* dice) : bytes_(bytes), dice_(dice) {}

    size_t left() const {
        return bytes_.size() - position_;
    }
    size_t position() const {
        return position_;
    }
    std::span<uint8_t> rest() const {
        return bytes_.subspan(position_);
    }
    Dice& dice() {
        return *dice_;
    }
    void skip(size_t count) {
        position_ += std::min(count, left());
    }
    uint32_t peek(size_t width) const {
        uint32_t value = 0;
        for (size_t index = 0; index < std::min(width, left()); ++index) {
            value = (value << 8) | bytes_[position_ + index];
        }
        return value;
    }
    void put(uint32_t value, size_t width) {
        for (size_t index = 0; index < std::min(width, left()); ++index) {
            bytes_[position_ + index] = static_cast<uint8_t>(value >> (8 * (width - 1 - index)));
        }
        skip(width);
    }
    // A field that is mostly to be this.
    void mostly(uint32_t value, size_t width) {
        if (dice_->oneIn(kNowAndThen)) {
            skip(width);
        } else {
            put(value, width);
        }
    }
    // A length whose bytes follow: one that reaches too far gets shorter. What it says then.
    uint32_t length(size_t width) {
        uint32_t value = peek(width);
        const size_t room = left() > width ? left() - width : 0;
        if (value > room && !dice_->oneIn(kNowAndThen)) {
            value = room == 0 ? 0 : dice_->below(static_cast<uint32_t>(std::min<size_t>(room, 16)) + 1);
            put(value, width);
        } else {
            skip(width);
        }
        return value;
    }
    void text(size_t width = 2) {
        skip(length(width));
    }
    // A number of things of which each takes some bytes.
    uint32_t count(size_t bytesEach) {
        uint32_t value = peek(4);
        const size_t most = left() / bytesEach + 1;
        if (value > most && !dice_->oneIn(kNowAndThen)) {
            value = dice_->below(static_cast<uint32_t>(std::min<size_t>(most, 4)) + 1);
            put(value, 4);
        } else {
            skip(4);
        }
        return value;
    }
    // The code of a query element: 0, or negative.
    bool code() {
        const uint32_t value = peek(4);
        if (value != 0 && value != 0xFFFFFFFB && !dice_->oneIn(kNowAndThen)) {
            put(dice_->oneIn(4) ? 0xFFFFFFFB : 0, 4);
        } else {
            skip(4);
        }
        return (value & 0x80000000U) == 0;
    }
    // One of the two tags of a block; whether it is that of a long one.
    bool blockTag() {
        const uint32_t value = peek(1);
        if (value != 0x77 && value != 0x7A && !dice_->oneIn(kNowAndThen)) {
            put(dice_->oneIn(2) ? 0x7A : 0x77, 1);
        } else {
            skip(1);
        }
        return value == 0x7A;
    }

  private:
    std::span<uint8_t> bytes_;
    Dice* dice_;
    size_t position_ = 0;
};

void repairResponseHead(Repairer* payload) {
    payload->skip(6);
    payload->text();
    payload->skip(13);
    payload->text();
    payload->skip(13);
    payload->skip(payload->blockTag() ? 4 : 1);
}

// The number of responses, where the flag says that it is there.
uint32_t repairResponseCount(Repairer* payload) {
    const bool hasCount = payload->peek(1) == 1;
    payload->skip(1);
    return hasCount ? payload->count(50) : 1;
}

void repairIds(Repairer* payload) {
    const uint32_t responses = repairResponseCount(payload);
    for (uint32_t response = 0; response < responses && payload->left() > 0; ++response) {
        repairResponseHead(payload);
        payload->text();
        if (payload->code()) {
            const uint32_t ids = payload->count(2);
            for (uint32_t id = 0; id < ids && payload->left() > 0; ++id) {
                payload->text();
            }
        }
        payload->skip(1);
    }
}

// The blocks behind the first part of a split value.
void repairContinuation(Repairer* payload, uint32_t missing) {
    while (missing > 0 && payload->left() > 0) {
        const bool isLong = payload->blockTag();
        if (isLong) {
            payload->mostly(0, 2);
        }
        const uint32_t part = payload->length(isLong ? 2 : 1);
        payload->skip(part);
        missing -= std::min(missing, std::max<uint32_t>(part, 1));
    }
}

void repairStatistic(Repairer* payload) {
    payload->skip(5);
    const bool isLong = payload->blockTag();
    uint32_t chunk = 0;
    if (isLong) {
        payload->mostly(0, 2);
        chunk = payload->peek(2);
        payload->skip(2);
    } else {
        payload->skip(1);
    }
    const uint32_t idLength = payload->length(2);
    payload->skip(idLength);
    const uint32_t value = payload->peek(2);
    const bool isSplit = isLong && chunk >= idLength + 4 && value > chunk - idLength - 4;
    if (isSplit) {
        const uint32_t part = chunk - idLength - 4;
        payload->skip(2);
        payload->skip(part);
        repairContinuation(payload, value - part);
    } else {
        payload->text();
    }
    payload->skip(2);
}

void repairStatistics(Repairer* payload) {
    const uint32_t responses = repairResponseCount(payload);
    for (uint32_t response = 0; response < responses && payload->left() > 0; ++response) {
        repairResponseHead(payload);
        payload->text();
        if (payload->code()) {
            const uint32_t statistics = payload->count(12);
            payload->skip(2);
            payload->text();
            payload->skip(8);
            for (uint32_t each = 0; each < statistics && payload->left() > 0; ++each) {
                repairStatistic(payload);
            }
        } else {
            payload->skip(1);
        }
    }
}

// Where the next frame begins behind an offset, or the end.
size_t nextFrame(std::span<const uint8_t> bytes, size_t from) {
    const auto start = bytes.begin() + static_cast<ptrdiff_t>(std::min(from, bytes.size()));
    return static_cast<size_t>(std::search(start, bytes.end(), kEyecatcher.begin(), kEyecatcher.end()) - bytes.begin());
}

// A header; its body, as far as it is there.
std::span<uint8_t> repairHeader(std::span<uint8_t> frame, bool isRequest, Dice* dice) {
    Repairer header(frame, dice);
    header.mostly(0x47617465, 4);
    header.mostly(0x00700000, 4);
    header.skip(kReturnCodeAt - header.position());
    if (isRequest) {
        header.skip(4);
    } else {
        header.mostly(0, 4);
    }
    const uint32_t told = header.peek(4);
    const uint32_t nameLength = told == 4 || told == 5 ? told : 4 + dice->below(2);
    header.mostly(nameLength, 4);
    header.skip(nameLength + 1);
    const size_t body = kNameAt + nameLength + kBehindName;
    const size_t next = nextFrame(frame, body);
    const size_t room = next > body ? next - body : 0;
    if (header.peek(4) != room) {
        header.mostly(static_cast<uint32_t>(room), 4);
    }
    return body < frame.size() ? frame.subspan(body, std::min(room, frame.size() - body)) : std::span<uint8_t>{};
}

void repairPayload(std::span<uint8_t> payload, Dice* dice) {
    Repairer repairer(payload, dice);
    // A description of a class that follows the first element tells statistics from ids, roughly.
    if (dice->oneIn(2)) {
        repairIds(&repairer);
    } else {
        repairStatistics(&repairer);
    }
}

bool isNamed(std::span<const uint8_t> frame, const char* name) {
    const size_t length = std::strlen(name);
    return frame.size() >= kNameAt + length && std::memcmp(frame.data() + kNameAt, name, length) == 0;
}

// An authorisation: step and code. A call of the administration: type, code and, unless a handle follows, a flag.
void repairReplyBody(std::span<uint8_t> body, bool isAdmin, Dice* dice) {
    Repairer repairer(body, dice);
    const uint32_t kind = repairer.peek(4);
    if (kind > 5) {
        repairer.put(dice->oneIn(2) ? 0 : 1, 4);
    } else {
        repairer.skip(4);
    }
    repairer.mostly(0, 4);
    if (isAdmin && kind != 0) {
        repairer.mostly(0, 1);
        if (!dice->oneIn(3)) {
            repairPayload(repairer.rest(), dice);
        }
    }
}

void repairReplies(std::span<uint8_t> bytes, Dice* dice) {
    size_t position = 0;
    while (position < bytes.size()) {
        const std::span<uint8_t> frame = bytes.subspan(position);
        const std::span<uint8_t> body = repairHeader(frame, false, dice);
        if (!body.empty() && !isNamed(frame, "BASE")) {
            repairReplyBody(body, isNamed(frame, "Admin"), dice);
        }
        position += std::max<size_t>(nextFrame(frame, 4), 4);
    }
}

void repairRequestBody(std::span<uint8_t> body, Dice* dice) {
    Repairer repairer(body, dice);
    const uint32_t callType = repairer.peek(4);
    repairer.skip(8);
    if (callType == 1 || callType == 5) {
        repairer.mostly(static_cast<uint32_t>(body.size() - std::min<size_t>(body.size(), 12)), 4);
        for (int text = 0; text < 5; ++text) {
            repairer.text();
        }
        if (callType == 5) {
            repairer.mostly(1, 4);
            repairer.skip(5);
            repairer.text();
            repairer.mostly(1, 4);
            repairer.text();
        }
    }
}

void repairRequests(std::span<uint8_t> bytes, Dice* dice) {
    size_t position = 0;
    while (position < bytes.size()) {
        const std::span<uint8_t> frame = bytes.subspan(position);
        const std::span<uint8_t> body = repairHeader(frame, true, dice);
        if (!body.empty() && isNamed(frame, "Admin")) {
            repairRequestBody(body, dice);
        }
        position += std::max<size_t>(nextFrame(frame, 4), 4);
    }
}

// A result set has its numbers in the host's order.
class SetRepairer {
  public:
    SetRepairer(std::span<uint8_t> bytes, Dice* dice) : bytes_(bytes), dice_(dice) {}

    bool hasWord() const {
        return bytes_.size() - position_ >= sizeof(uint32_t);
    }
    uint32_t word() {
        uint32_t value = 0;
        if (hasWord()) {
            std::memcpy(&value, bytes_.data() + position_, sizeof value);
            position_ += sizeof value;
        }
        return value;
    }
    uint32_t wordUpTo(size_t most, size_t smallest) {
        const size_t start = position_;
        uint32_t value = word();
        if (position_ > start && value > most && !dice_->oneIn(kNowAndThen)) {
            value = dice_->below(static_cast<uint32_t>(std::min(most, smallest)) + 1);
            std::memcpy(bytes_.data() + start, &value, sizeof value);
        }
        return value;
    }
    void text() {
        const size_t room = bytes_.size() - position_;
        const size_t length = wordUpTo(room > 4 ? room - 4 : 0, 12);
        position_ += std::min(length, bytes_.size() - position_);
    }
    void eyecatcher() {
        if (bytes_.size() >= 8 && !dice_->oneIn(kNowAndThen)) {
            std::memcpy(bytes_.data(), bytes_[3] == 'I' ? "ZULIDSET" : "ZULSTSET", 8);
        }
        position_ = std::min<size_t>(8, bytes_.size());
    }

  private:
    std::span<uint8_t> bytes_;
    Dice* dice_;
    size_t position_ = 0;
};

void repairResultSet(std::span<uint8_t> bytes, Dice* dice) {
    SetRepairer set(bytes, dice);
    const bool hasIds = bytes.size() > 3 && bytes[3] == 'I';
    set.eyecatcher();
    const uint32_t elements = set.wordUpTo(bytes.size(), 4);
    for (uint32_t element = 0; element < elements && set.hasWord(); ++element) {
        set.text();
        if ((set.word() & 0x80000000U) == 0) {
            const uint32_t entries = set.wordUpTo(bytes.size(), 4);
            for (uint32_t entry = 0; entry < entries && set.hasWord(); ++entry) {
                set.text();
                if (!hasIds) {
                    set.text();
                }
            }
        }
    }
}

}  // namespace

uint32_t Dice::below(uint32_t count) {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 7;
    state_ ^= state_ << 17;
    return static_cast<uint32_t>((state_ >> 32) % count);
}

void repair(InputShape shape, std::span<uint8_t> bytes, Dice* dice) {
    Repairer payload(bytes, dice);
    switch (shape) {
        case InputShape::replies:
            repairReplies(bytes, dice);
            break;
        case InputShape::idsPayload:
            repairIds(&payload);
            break;
        case InputShape::statsPayload:
            repairStatistics(&payload);
            break;
        case InputShape::resultSet:
            repairResultSet(bytes, dice);
            break;
        case InputShape::requests:
            repairRequests(bytes, dice);
            break;
    }
}

void spoil(std::span<uint8_t> bytes, Dice* dice) {
    static constexpr uint32_t kNumbers[] = {0,          1,      0x7F,   0x80,      0xFF,       0x100,
                                            0x7FFF,     0x8000, 0xFFFF, 0x10000,   0x7FFFFFFF, 0x80000000,
                                            0xFFFFFFFF, 4,      16,     0x0E0F0E0F};
    const size_t width = dice->oneIn(2) ? 2 : 4;
    if (bytes.size() >= width) {
        const uint32_t number = kNumbers[dice->below(static_cast<uint32_t>(std::size(kNumbers)))];
        const size_t at = dice->below(static_cast<uint32_t>(bytes.size() - width + 1));
        for (size_t index = 0; index < width; ++index) {
            bytes[at + index] = static_cast<uint8_t>(number >> (8 * (width - 1 - index)));
        }
    }
}

}  // namespace fuzz_test
