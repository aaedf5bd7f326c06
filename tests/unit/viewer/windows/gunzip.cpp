#include "tests/unit/viewer/gunzip.h"

#include <gtest/gtest.h>

namespace Korr::Plim::Trace::Viewer {

std::string Gunzip(const std::string& packed) {
    const auto byte = [&packed](std::size_t at) -> std::size_t {
        return static_cast<unsigned char>(packed.at(at));
    };
    EXPECT_EQ(packed.substr(0, 3), "\x1F\x8B\x08");
    std::string out;
    std::size_t at = 10;
    for (bool last = false; !last;) {
        last = byte(at) == 1;
        const std::size_t size = byte(at + 1) | byte(at + 2) << 8;
        EXPECT_EQ(size ^ (byte(at + 3) | byte(at + 4) << 8), 0xFFFFU);
        out += packed.substr(at + 5, size);
        at += 5 + size;
    }
    EXPECT_EQ(packed.size(), at + 8);
    EXPECT_EQ(byte(at + 4) | byte(at + 5) << 8 | byte(at + 6) << 16, out.size());
    return out;
}

}  // namespace Korr::Plim::Trace::Viewer
