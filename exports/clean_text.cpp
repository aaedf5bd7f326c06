#include "exports/clean_text.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "exports/utf8.h"

namespace Korr::Plim::Trace::Exports {

namespace {

constexpr uint64_t kTopBits = 0x8080808080808080;
constexpr uint64_t kOnes = 0x0101010101010101;

uint64_t EightAt(const char* place) {
    uint64_t eight = 0;
    std::memcpy(&eight, place, sizeof eight);
    return eight;
}

/// What is written for a byte with which no longer character begins.
struct Alone {
    std::array<char, 3> bytes{};
    uint8_t count = 0;  ///< of them; 0: a longer character may begin with it
};
using AloneTable = std::array<Alone, 256>;

constexpr AloneTable TableOf(std::string_view zero) {
    AloneTable table{};
    for (std::size_t byte = 0; byte < table.size(); ++byte) {
        const char itself = static_cast<char>(byte);
        std::string_view written(&itself, 1);
        if (byte == 0) written = zero;
        if (byte >= 0x80) written = kReplacement;
        if (byte >= 0xC2 && byte <= 0xF4) written = {};
        std::copy(written.begin(), written.end(), table[byte].bytes.begin());
        table[byte].count = static_cast<uint8_t>(written.size());
    }
    return table;
}
constexpr AloneTable kZeroKept = TableOf(std::string_view("\0", 1));
constexpr AloneTable kZeroShown = TableOf("\xE2\x90\x80");

}  // namespace

bool IsAscii(std::string_view text) {
    std::size_t done = 0;
    for (; done + sizeof(uint64_t) <= text.size(); done += sizeof(uint64_t)) {
        if ((EightAt(&text[done]) & kTopBits) != 0) return false;
    }
    return std::all_of(text.begin() + static_cast<std::ptrdiff_t>(done), text.end(),
                       [](char byte) { return (byte & 0x80) == 0; });
}

char* WriteClean(char* place, std::string_view text, ZeroByte zero) {
    const AloneTable& table = zero == ZeroByte::Kept ? kZeroKept : kZeroShown;
    while (!text.empty()) {
        if (text.size() >= sizeof(uint64_t)) {
            const uint64_t eight = EightAt(text.data());
            if (((eight | (eight - kOnes)) & kTopBits) == 0) {  // ASCII, and no zero among it
                std::memcpy(place, &eight, sizeof eight);
                place += sizeof eight;
                text.remove_prefix(sizeof eight);
                continue;
            }
        }
        const Alone& alone = table[static_cast<unsigned char>(text[0])];
        if (alone.count != 0) {
            std::memcpy(place, alone.bytes.data(), alone.bytes.size());
            place += alone.count;
            text.remove_prefix(1);
            continue;
        }
        const std::string_view character = TakeCharacter(text);
        place = std::copy(character.begin(), character.end(), place);
    }
    return place;
}

}  // namespace Korr::Plim::Trace::Exports
