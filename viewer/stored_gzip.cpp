// The form of RFC 1952 around blocks that are stored as RFC 1951, 3.2.4, has them.
#include <algorithm>
#include <array>
#include <cstdint>

#include "viewer/gzip.h"

namespace Korr::Plim::Trace::Viewer {

namespace {

constexpr size_t kLongestBlock = 65535;
constexpr uint32_t kCrcPolynomial = 0xEDB88320;  // reflected

uint32_t Crc32Of(std::string_view bytes) {
    static const auto table = [] {
        std::array<uint32_t, 256> made{};
        for (uint32_t i = 0; i < made.size(); ++i) {
            uint32_t rest = i;
            for (int bit = 0; bit < 8; ++bit) rest = rest >> 1 ^ ((rest & 1) != 0 ? kCrcPolynomial : 0);
            made[i] = rest;
        }
        return made;
    }();
    uint32_t crc = UINT32_MAX;
    for (const char byte : bytes) crc = crc >> 8 ^ table[(crc ^ static_cast<unsigned char>(byte)) & 0xFF];
    return ~crc;
}

void AppendNumber(std::string& out, uint32_t number, int bytes) {
    for (int i = 0; i < bytes; ++i) out += static_cast<char>(number >> 8 * i & 0xFF);
}

}  // namespace

std::string StoredGzip(std::string_view bytes) {
    constexpr char kHead[] = {'\x1F', '\x8B', 8, 0, 0, 0, 0, 0, 0, '\xFF'};
    std::string out(kHead, sizeof kHead);
    std::string_view rest = bytes;
    do {
        const std::string_view block = rest.substr(0, kLongestBlock);
        rest.remove_prefix(block.size());
        out += rest.empty() ? '\1' : '\0';
        AppendNumber(out, static_cast<uint32_t>(block.size()), 2);
        AppendNumber(out, ~static_cast<uint32_t>(block.size()), 2);
        out += block;
    } while (!rest.empty());
    AppendNumber(out, Crc32Of(bytes), 4);
    AppendNumber(out, static_cast<uint32_t>(bytes.size()), 4);
    return out;
}

}  // namespace Korr::Plim::Trace::Viewer
