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
    std::sort(image.exportedFunctions.begin(), image.exportedFunctions.end());
    return image;
}

}  // namespace rule_test
