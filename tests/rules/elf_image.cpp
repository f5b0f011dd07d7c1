#include "elf_image.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <stdexcept>

namespace rule_test {

namespace {

constexpr uint32_t kDynamicSection = 6;
constexpr uint32_t kDynamicSymbols = 11;
constexpr uint64_t kNeededEntry = 1;
constexpr uint64_t kSonameEntry = 14;
constexpr uint64_t kFlagsEntry = 30;
constexpr uint64_t kBindNow = 8;
constexpr uint32_t kStackSegment = 0x6474E551;
constexpr uint32_t kThreadLocalSegment = 7;
constexpr uint32_t kRelocatedSegment = 0x6474E552;
constexpr uint32_t kPropertySegment = 0x6474E553;
constexpr uint32_t kExecutable = 1;
constexpr uint32_t kProcessorFeatures = 0xC0000002;
constexpr uint32_t kBranchTracking = 1;
constexpr uint32_t kShadowStack = 2;
constexpr uint16_t kUndefinedSection = 0;
constexpr uint16_t kAbsoluteSection = 0xFFF1;
constexpr unsigned kLocalBinding = 0;
constexpr unsigned kFunctionType = 2;

class Bytes {
  public:
    explicit Bytes(const std::string& bytes) : bytes_(bytes) {}

    template <typename Number>
    Number at(uint64_t offset) const {
        Number number = 0;
        if (offset > bytes_.size() || bytes_.size() - offset < sizeof number) {
            throw std::runtime_error("the ELF file ends too early");
        }
        std::memcpy(&number, bytes_.data() + offset, sizeof number);
        return number;
    }

    std::string textAt(uint64_t offset) const {
        if (offset >= bytes_.size()) {
            throw std::runtime_error("the ELF file ends too early");
        }
        return bytes_.c_str() + offset;
    }

  private:
    const std::string& bytes_;
};

struct Section {
    uint32_t type;
    uint64_t offset;
    uint64_t size;
    uint32_t link;
};

std::vector<Section> sectionsOf(const Bytes& file) {
    const auto table = file.at<uint64_t>(0x28);
    const auto entrySize = file.at<uint16_t>(0x3A);
    const auto count = file.at<uint16_t>(0x3C);
    std::vector<Section> sections;
    for (uint64_t index = 0; index < count; ++index) {
        const uint64_t entry = table + index * entrySize;
        sections.push_back({file.at<uint32_t>(entry + 4), file.at<uint64_t>(entry + 0x18),
                            file.at<uint64_t>(entry + 0x20), file.at<uint32_t>(entry + 0x28)});
    }
    return sections;
}

void readSymbols(const Bytes& file, const Section& symbols, uint64_t names, ElfImage* image) {
    constexpr uint64_t kSymbolSize = 24;
    for (uint64_t offset = symbols.offset; offset < symbols.offset + symbols.size; offset += kSymbolSize) {
        const auto info = file.at<uint8_t>(offset + 4);
        const auto section = file.at<uint16_t>(offset + 6);
        const bool isExported =
            section != kUndefinedSection && section != kAbsoluteSection && (info >> 4U) != kLocalBinding;
        if (isExported) {
            const std::string name = file.textAt(names + file.at<uint32_t>(offset));
            ((info & 0xFU) == kFunctionType ? image->exportedFunctions : image->otherExports).push_back(name);
        } else if (section == kUndefinedSection) {
            image->imports.push_back(file.textAt(names + file.at<uint32_t>(offset)));
        }
    }
}

void readDynamicEntries(const Bytes& file, const Section& entries, uint64_t names, ElfImage* image) {
    constexpr uint64_t kEntrySize = 16;
    for (uint64_t offset = entries.offset; offset < entries.offset + entries.size; offset += kEntrySize) {
        const auto tag = file.at<uint64_t>(offset);
        if (tag == kNeededEntry) {
            image->neededLibraries.push_back(file.textAt(names + file.at<uint64_t>(offset + 8)));
        } else if (tag == kSonameEntry) {
            image->soname = file.textAt(names + file.at<uint64_t>(offset + 8));
        } else if (tag == kFlagsEntry) {
            image->isBoundAtOnce = (file.at<uint64_t>(offset + 8) & kBindNow) != 0;
        }
    }
}

// A note whose description is a list of properties: type, size, and a value padded to 8 bytes.
void readProperties(const Bytes& file, uint64_t note, ElfImage* image) {
    constexpr uint64_t kNoteHead = 16;
    const uint64_t end = note + kNoteHead + file.at<uint32_t>(note + 4);
    uint64_t property = note + kNoteHead;
    while (property + 8 <= end) {
        const auto size = file.at<uint32_t>(property + 4);
        if (file.at<uint32_t>(property) == kProcessorFeatures) {
            const auto features = file.at<uint32_t>(property + 8);
            image->checksBranchTargets = (features & kBranchTracking) != 0;
            image->checksReturnAddresses = (features & kShadowStack) != 0;
        }
        property += 8 + (size + 7) / 8 * 8;
    }
}

void readSegments(const Bytes& file, ElfImage* image) {
    const auto table = file.at<uint64_t>(0x20);
    const auto entrySize = file.at<uint16_t>(0x36);
    const auto count = file.at<uint16_t>(0x38);
    for (uint64_t index = 0; index < count; ++index) {
        const uint64_t entry = table + index * entrySize;
        const auto type = file.at<uint32_t>(entry);
        if (type == kStackSegment) {
            image->hasExecutableStack = (file.at<uint32_t>(entry + 4) & kExecutable) != 0;
        } else if (type == kRelocatedSegment) {
            image->isProtectedAfterRelocation = true;
        } else if (type == kThreadLocalSegment) {
            image->hasThreadLocalStorage = true;
        } else if (type == kPropertySegment) {
            readProperties(file, file.at<uint64_t>(entry + 8), image);
        }
    }
}

}  // namespace

ElfImage readElfImage(const std::string& bytes) {
    if (bytes.rfind("\x7F"
                    "ELF\x02\x01",
                    0) != 0) {
        throw std::runtime_error("this is not a 64-bit little-endian ELF file");
    }
    const Bytes file(bytes);
    const std::vector<Section> sections = sectionsOf(file);
    ElfImage image;
    for (const Section& section : sections) {
        if (section.type == kDynamicSymbols) {
            readSymbols(file, section, sections.at(section.link).offset, &image);
        } else if (section.type == kDynamicSection) {
            readDynamicEntries(file, section, sections.at(section.link).offset, &image);
        }
    }
    readSegments(file, &image);
    std::sort(image.exportedFunctions.begin(), image.exportedFunctions.end());
    return image;
}

}  // namespace rule_test
