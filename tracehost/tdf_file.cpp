#include "tracehost/tdf_file.h"

#include <algorithm>
#include <array>
#include <fstream>

#include "tracehost/errors.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr char kMagic[] = "KTDF";
constexpr uint32_t kHeaderVersion = 1;

void Append(std::string& bytes, uint32_t number) {
    for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(number >> shift & 0xFF);
}

uint32_t Number(const char* bytes) {
    uint32_t number = 0;
    for (int i = 3; i >= 0; --i) number = number << 8 | static_cast<uint8_t>(bytes[i]);
    return number;
}

bool ReadAt(std::istream& file, uint64_t offset, char* bytes, std::size_t count) {
    file.clear();
    file.seekg(static_cast<std::streamoff>(offset));
    file.read(bytes, static_cast<std::streamsize>(count));
    return static_cast<std::size_t>(file.gcount()) == count;
}

/// Reads one section. \return what is wrong with it, empty when it is whole
std::string ReadSection(std::istream& file, uint64_t size, TdfSection& section) {
    std::array<char, kTdfSectionHeaderSize> header{};
    const uint64_t room = size - section.offset;
    if (room < kTdfSectionHeaderSize || !ReadAt(file, section.offset, header.data(), header.size())) {
        return "the file ends within a section header";
    }
    section.length = Number(header.data());
    section.version = Number(header.data() + 4);
    section.nameLength = Number(header.data() + 8);
    if (section.length < kTdfSectionHeaderSize) return "the section length is below its header's";
    if (section.length > room) return "the section is longer than the rest of the file";
    if (section.nameLength > section.length - kTdfSectionHeaderSize) {
        return "the name is longer than the section";
    }
    section.name.resize(std::min(section.nameLength, kLongestTdfName));
    if (!ReadAt(file, section.offset + kTdfSectionHeaderSize, section.name.data(), section.name.size())) {
        return "the section name cannot be read";
    }
    return "";
}

}  // namespace

std::string TdfHeader() {
    std::string header = kMagic;
    Append(header, kHeaderVersion);
    Append(header, static_cast<uint32_t>(kTdfHeaderSize));
    Append(header, 0);
    return header;
}

std::string TdfSectionHeader(const std::string& name, uint32_t version, uint32_t dataSize) {
    std::string header;
    Append(header, kTdfSectionHeaderSize + static_cast<uint32_t>(name.size()) + dataSize);
    Append(header, version);
    Append(header, static_cast<uint32_t>(name.size()));
    return header + name;
}

bool IsTdfFile(std::istream& file) {
    std::string header(kTdfHeaderSize, '\0');
    return ReadAt(file, 0, header.data(), header.size()) && header == TdfHeader();
}

TdfContents ReadTdfSections(std::istream& file, uint64_t size) {
    TdfContents contents;
    uint64_t offset = kTdfHeaderSize;
    while (offset < size && contents.damage.empty()) {
        const std::string place = "at offset " + std::to_string(offset) + ": ";
        if (contents.sections.size() == kMostTdfSections) {
            contents.damage = place + "more than " + std::to_string(kMostTdfSections) + " sections";
            break;
        }
        TdfSection section;
        section.offset = offset;
        const std::string problem = ReadSection(file, size, section);
        if (!problem.empty()) {
            contents.damage = place + problem;
            break;
        }
        offset += section.length;
        contents.sections.push_back(std::move(section));
    }
    return contents;
}

void PrepareTdfFile(const std::string& name) {
    std::ifstream existing(name, std::ios::binary);
    if (existing && existing.peek() != std::ifstream::traits_type::eof()) {
        if (IsTdfFile(existing)) return;
        throw UsageError("\"" + name + "\" exists and is no TDF file of this host: give another --output");
    }
    existing.close();
    std::ofstream file(name, std::ios::binary | std::ios::trunc);
    file << TdfHeader();
    file.flush();
    if (!file) throw HostError("\"" + name + "\" cannot be written: is the folder there, and is there room?");
}

bool SetTdfSectionLength(const std::string& name, uint64_t offset, uint64_t length) {
    if (length > UINT32_MAX) return false;
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<char>((length >> shift) & 0xFF));
    std::fstream file(name, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(static_cast<std::streamoff>(offset));
    file << bytes;
    return static_cast<bool>(file.flush());
}

}  // namespace Korr::Plim::Trace::Tracehost
