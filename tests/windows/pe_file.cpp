#include "pe_file.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstring>
#include <stdexcept>

#include "temporary_file.h"

namespace dll_test {

namespace {

// Offsets within the file's headers.
constexpr size_t kPeOffsetField = 0x3C;
constexpr size_t kCoffHeader = 4;
constexpr size_t kOptionalHeader = 24;
constexpr size_t kDllCharacteristics = kOptionalHeader + 70;
constexpr size_t kDirectories = kOptionalHeader + 112;
constexpr uint16_t kOptionalMagic64 = 0x20B;

struct Section {
    uint32_t address;
    uint32_t size;
    uint32_t fileOffset;
};

class Reader {
  public:
    explicit Reader(std::string bytes) : bytes_(std::move(bytes)) {}

    template <typename Number>
    Number at(size_t offset) const {
        if (offset + sizeof(Number) > bytes_.size()) {
            throw std::runtime_error("the file ends before offset " + std::to_string(offset));
        }
        Number value = 0;
        std::memcpy(&value, bytes_.data() + offset, sizeof value);
        return value;
    }

    std::string textAt(size_t offset) const {
        const size_t end = bytes_.find('\0', offset);
        if (end == std::string::npos) {
            throw std::runtime_error("a text runs beyond the end of the file");
        }
        return bytes_.substr(offset, end - offset);
    }

  private:
    std::string bytes_;
};

size_t fileOffset(const std::vector<Section>& sections, uint32_t address) {
    for (const Section& section : sections) {
        if (address >= section.address && address - section.address < section.size) {
            return section.fileOffset + (address - section.address);
        }
    }
    throw std::runtime_error("an address lies in no section");
}

std::vector<Section> readSections(const Reader& reader, size_t pe) {
    const auto count = reader.at<uint16_t>(pe + kCoffHeader + 2);
    const auto optionalSize = reader.at<uint16_t>(pe + kCoffHeader + 16);
    std::vector<Section> sections;
    for (size_t index = 0; index < count; ++index) {
        const size_t header = pe + kOptionalHeader + optionalSize + index * 40;
        sections.push_back({reader.at<uint32_t>(header + 12),
                            std::max(reader.at<uint32_t>(header + 8), reader.at<uint32_t>(header + 16)),
                            reader.at<uint32_t>(header + 20)});
    }
    return sections;
}

std::string upperCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
    return text;
}

void readImports(const Reader& reader, const std::vector<Section>& sections, uint32_t table, PeFile* result) {
    size_t entry = fileOffset(sections, table);
    for (uint32_t name = reader.at<uint32_t>(entry + 12); name != 0; name = reader.at<uint32_t>(entry + 12)) {
        result->importedDlls.push_back(upperCase(reader.textAt(fileOffset(sections, name))));
        entry += 20;
    }
    std::sort(result->importedDlls.begin(), result->importedDlls.end());
}

void readExports(const Reader& reader, const std::vector<Section>& sections, uint32_t table, PeFile* result) {
    const size_t directory = fileOffset(sections, table);
    result->exportedFunctions = reader.at<uint32_t>(directory + 20);
    const auto names = reader.at<uint32_t>(directory + 24);
    const size_t nameTable = fileOffset(sections, reader.at<uint32_t>(directory + 32));
    for (size_t index = 0; index < names; ++index) {
        const auto name = reader.at<uint32_t>(nameTable + index * 4);
        result->exportedNames.push_back(reader.textAt(fileOffset(sections, name)));
    }
    std::sort(result->exportedNames.begin(), result->exportedNames.end());
}

}  // namespace

PeFile readPeFile(const std::string& path) {
    const Reader reader(test_support::readFile(path));
    const auto pe = reader.at<uint32_t>(kPeOffsetField);
    if (reader.at<uint32_t>(pe) != 0x4550 || reader.at<uint16_t>(pe + kOptionalHeader) != kOptionalMagic64) {
        throw std::runtime_error(path + " is not a 64-bit Windows program or DLL");
    }
    PeFile result;
    result.machine = reader.at<uint16_t>(pe + kCoffHeader);
    result.dllCharacteristics = reader.at<uint16_t>(pe + kDllCharacteristics);
    const std::vector<Section> sections = readSections(reader, pe);
    readExports(reader, sections, reader.at<uint32_t>(pe + kDirectories), &result);
    readImports(reader, sections, reader.at<uint32_t>(pe + kDirectories + 8), &result);
    return result;
}

}  // namespace dll_test
