// trace_feed KIND BYTES: writes a trace stream to standard output, repeated from a block of 4 MiB. KIND is
// mixed (whole), damaged (the same with a hole in every 64 KiB) or noise.
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

#include "bench/trace_streams.h"

namespace {

constexpr std::size_t kBlock = std::size_t{4} << 20;
constexpr std::size_t kBetweenHoles = std::size_t{64} << 10;
constexpr std::size_t kLongestHole = 300;

std::vector<uint8_t> WithHoles(const std::vector<uint8_t>& whole) {
    std::mt19937 random(3);
    std::vector<uint8_t> left;
    for (std::size_t at = 0; at < whole.size();) {
        const std::size_t end = std::min(whole.size(), at + kBetweenHoles + random() % kBetweenHoles);
        left.insert(left.end(), whole.begin() + static_cast<std::ptrdiff_t>(at),
                    whole.begin() + static_cast<std::ptrdiff_t>(end));
        at = end + 1 + random() % kLongestHole;
    }
    return left;
}

std::vector<uint8_t> Noise(std::size_t bytes) {
    std::mt19937 random(4);
    std::vector<uint8_t> noise(bytes);
    for (uint8_t& byte : noise) byte = static_cast<uint8_t>(random());
    return noise;
}

std::vector<uint8_t> BlockOf(const std::string& kind) {
    if (kind == "noise") return Noise(kBlock);
    std::vector<uint8_t> block = bench::MixedStream(kBlock);
    return kind == "damaged" ? WithHoles(block) : block;
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 3) {
        std::fprintf(stderr, "usage: trace_feed mixed|damaged|noise BYTES\n");
        return 2;
    }
    const std::vector<uint8_t> block = BlockOf(arguments[1]);
    for (unsigned long long left = std::strtoull(arguments[2], nullptr, 10); left > 0;) {
        const auto some = static_cast<std::size_t>(std::min<unsigned long long>(left, block.size()));
        if (std::fwrite(block.data(), 1, some, stdout) != some) return 1;
        left -= some;
    }
    return std::fflush(stdout) == 0 ? 0 : 1;
}
