// Bytes as the page in a file holds them.
#include "viewer/gzip.h"

#include <gtest/gtest.h>

#include <random>

#include "tests/unit/viewer/gunzip.h"

namespace Korr::Plim::Trace::Viewer {
namespace {

/// Of sizes on both sides of those of a block that is stored as it is.
std::vector<std::string> Samples() {
    std::vector<std::string> samples = {"", "a", std::string("\0\xFF\n", 3)};
    std::mt19937 random(1);
    for (const std::size_t size : {65534U, 65535U, 65536U, 131070U, 200000U}) {
        std::string bytes(size, 'x');
        for (std::size_t i = 0; i < size; i += 3) bytes[i] = static_cast<char>(random());
        samples.push_back(bytes);
    }
    return samples;
}

TEST(Gzip, IsReadBack) {
    for (const std::string& bytes : Samples()) {
        EXPECT_EQ(Gunzip(Gzip(bytes)), bytes) << bytes.size();
        EXPECT_EQ(Gzip(bytes), Gzip(bytes));
    }
}

TEST(Gzip, IsSmall) {
    EXPECT_LT(Gzip(std::string(1'000'000, 'x')).size(), 2000U);
    for (const std::string& bytes : Samples()) EXPECT_LE(Gzip(bytes).size(), bytes.size() + 100);
}

TEST(Gzip, HasTheSumOfItsBytes) {
    const std::string packed = Gzip("123456789");  // of which the sum is known
    EXPECT_EQ(packed.substr(0, 3), "\x1F\x8B\x08");
    EXPECT_EQ(packed.substr(packed.size() - 8), std::string("\x26\x39\xF4\xCB\x09\0\0\0", 8));
}

TEST(Gzip, RefusesWhatIsTooLong) {
    const char first = 'x';
    const std::string_view tooLong(&first, (size_t{1} << 30) + 1);  // the rest of which is not there
    EXPECT_THROW(Gzip(tooLong), std::runtime_error);
}

}  // namespace
}  // namespace Korr::Plim::Trace::Viewer
