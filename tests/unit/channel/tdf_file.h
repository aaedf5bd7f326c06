#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/log_lines.h"

namespace channel_tests {

/// One section of a TDF file, read by the layout alone: length, version, length of the name, name, data.
struct TdfSection {
    std::size_t offset = 0;
    uint32_t length = 0;
    uint32_t version = 0;
    std::string name;
    std::string data;
};

inline uint32_t FieldAt(const std::string& bytes, std::size_t offset) {
    uint32_t value = 0;
    for (std::size_t index = 4; index-- > 0;) {
        value = value << 8 | static_cast<unsigned char>(bytes.at(offset + index));
    }
    return value;
}

/// Sections from the end of the host's header on; each must end where the next one or the file does.
inline std::vector<TdfSection> SectionsOf(const std::string& bytes, std::size_t headerSize) {
    std::vector<TdfSection> sections;
    for (std::size_t offset = headerSize; offset < bytes.size();) {
        TdfSection section;
        section.offset = offset;
        section.length = FieldAt(bytes, offset);
        section.version = FieldAt(bytes, offset + 4);
        const std::size_t nameLength = FieldAt(bytes, offset + 8);
        section.name = bytes.substr(offset + 12, nameLength);
        section.data = bytes.substr(offset + 12 + nameLength, section.length - 12 - nameLength);
        EXPECT_LE(offset + section.length, bytes.size());
        if (section.length < 12) break;
        offset += section.length;
        sections.push_back(section);
    }
    return sections;
}

/// 16 bytes a line, two hexadecimal digits a byte.
inline std::string HexDump(const std::string& bytes) {
    std::string dump;
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        char text[4];
        std::snprintf(text, sizeof text, "%02x", static_cast<unsigned char>(bytes[index]));
        dump += text;
        dump += index % 16 == 15 || index + 1 == bytes.size() ? '\n' : ' ';
    }
    return dump;
}

}  // namespace channel_tests
