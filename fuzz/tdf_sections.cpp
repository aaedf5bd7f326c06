// Any bytes as a recorded file for `tracehost info`. What is listed stands in the file, section after section
// from the header on; the list ends with the file, or where damage is. The file may be shorter or longer than
// the size that was asked for before.
#include <algorithm>
#include <sstream>

#include "fuzz/targets.h"
#include "tracehost/tdf_file.h"

namespace fuzz {
namespace {

using namespace Korr::Plim::Trace::Tracehost;

constexpr uint64_t kSectionHeaderSize = 12;

/// A 32-bit number that is there.
uint32_t NumberAt(std::string_view file, uint64_t offset) {
    uint32_t number = 0;
    for (std::size_t i = 4; i-- > 0;) {
        number = number << 8 | static_cast<unsigned char>(file[static_cast<std::size_t>(offset) + i]);
    }
    return number;
}

/// Whether there is a section that can be listed.
bool IsSection(std::string_view file, uint64_t size, uint64_t offset) {
    const uint64_t name = offset + kSectionHeaderSize;
    if (name > size || name > file.size()) return false;
    const uint32_t length = NumberAt(file, offset);
    const uint32_t nameLength = NumberAt(file, offset + 8);
    return length <= size - offset && kSectionHeaderSize + nameLength <= length &&
           std::min(nameLength, kLongestTdfName) <= file.size() - name;
}

void CheckSection(std::string_view file, const TdfSection& section) {
    Require(section.length == NumberAt(file, section.offset), "section length");
    Require(section.version == NumberAt(file, section.offset + 4), "section version");
    Require(section.nameLength == NumberAt(file, section.offset + 8), "length of the name");
    const auto name = static_cast<std::size_t>(section.offset + kSectionHeaderSize);
    Require(section.name == file.substr(name, std::min(section.nameLength, kLongestTdfName)), "section name");
}

void CheckContents(std::string_view file, uint64_t size, const TdfContents& contents) {
    Require(contents.sections.size() <= kMostTdfSections, "too many sections");
    uint64_t end = kTdfHeaderSize;
    for (const TdfSection& section : contents.sections) {
        Require(section.offset == end && IsSection(file, size, end), "an invented section");
        CheckSection(file, section);
        end += section.length;
    }
    Require(contents.damage.empty() == (end >= size), "damage, or none: " + contents.damage);
    if (contents.damage.empty()) return;
    Require(contents.damage.starts_with("at offset " + std::to_string(end) + ": "), contents.damage);
    Require(contents.sections.size() == kMostTdfSections || !IsSection(file, size, end), contents.damage);
}

}  // namespace

void FuzzTdfSections(std::string_view input) {
    std::istringstream stream{std::string(input)};
    Require(IsTdfFile(stream) == input.starts_with(TdfHeader()), "whether it is a TDF file");
    for (const std::size_t size : {input.size(), input.size() / 2, input.size() + 1000}) {
        CheckContents(input, size, ReadTdfSections(stream, size));
    }
}

}  // namespace fuzz
