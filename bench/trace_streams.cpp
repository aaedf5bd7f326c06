#include "bench/trace_streams.h"

#include <random>

namespace bench {
namespace {

using Bytes = std::vector<uint8_t>;

void Append(Bytes& stream, uint8_t header, uint32_t value, unsigned size) {
    stream.push_back(header);
    for (unsigned i = 0; i < size; ++i) stream.push_back(static_cast<uint8_t>(value >> 8 * i));
}

void AppendMixed(Bytes& stream, std::mt19937& random) {
    constexpr char kText[] = "hello swo world\n";
    const auto chance = static_cast<unsigned>(random() % 100);
    if (chance < 50) {
        Append(stream, 0x01, static_cast<uint8_t>(kText[random() % (sizeof kText - 1)]), 1);
    } else if (chance < 70) {
        Append(stream, 0x13, static_cast<uint32_t>(random()), 4);
    } else if (chance < 80) {
        Append(stream, 0x17, 0x08000000 + static_cast<uint32_t>(random() % 0x1000) * 2, 4);
    } else if (chance < 95) {
        Append(stream, 0xC0, 0x80U | static_cast<uint32_t>(random() & 0x7F7F), 2);
    } else {
        Append(stream, 0x0E, 15U | static_cast<uint32_t>(1 + random() % 3) << 12, 2);
    }
}

}  // namespace

Bytes MixedStream(std::size_t bytes) {
    Bytes stream;
    stream.reserve(bytes + 16);
    std::mt19937 random(5);
    for (unsigned packet = 0; stream.size() < bytes; ++packet) {
        if (packet % 512 == 0) stream.insert(stream.end(), {0, 0, 0, 0, 0, 0x80});
        AppendMixed(stream, random);
    }
    return stream;
}

Bytes EventStream(std::size_t bytes) {
    Bytes stream;
    stream.reserve(bytes + 16);
    std::mt19937 random(5);
    while (stream.size() < bytes) {
        Append(stream, 0x05, 0x20, 1);
        Append(stream, 0xC0, 0xFFU | static_cast<uint32_t>(random() % 8) << 8, 2);
    }
    return stream;
}

Bytes FramedStream(std::size_t bytes) {
    Bytes stream;
    stream.reserve(bytes + 16);
    std::mt19937 random(5);
    while (stream.size() < bytes) {
        const uint32_t pc = 0x08000000 + static_cast<uint32_t>(random() % 0x1000) * 2;
        if (random() % 8 != 0) {
            // Of stream 1 a PC sample, of which bit 0 of byte 2 stands in the last byte, then the null
            // stream.
            const auto low = static_cast<uint8_t>(pc & 0xFF);
            stream.insert(stream.end(), {0x03, 0x17, low, static_cast<uint8_t>(pc >> 8), 0x00, 0x08, 0x01});
            stream.insert(stream.end(), 9, 0);
        } else {
            stream.push_back(0x05);
            for (int i = 1; i < 15; ++i) {
                stream.push_back(static_cast<uint8_t>(random() & (i % 2 == 0 ? 0xFE : 0xFF)));
            }
            stream.push_back(static_cast<uint8_t>(random() & 0xFE));
        }
    }
    return stream;
}

}  // namespace bench
