#include "simulator/swosource/signal/counter_pattern.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "simulator/swosource/signal/counter_verifier.h"

namespace Korr::Plim::Trace::Simulator {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes Pattern(size_t count) {
    CounterPattern pattern;
    Bytes bytes(count);
    EXPECT_EQ(pattern.Read(bytes.data(), count), count);
    return bytes;
}

CounterVerifier Verify(const Bytes& bytes, size_t piece = 100) {
    CounterVerifier verifier;
    for (size_t at = 0; at < bytes.size(); at += piece) {
        verifier.Feed(bytes.data() + at, std::min(piece, bytes.size() - at));
    }
    verifier.Finish();
    return verifier;
}

void Erase(Bytes& bytes, size_t at, size_t count) {
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(at);
    bytes.erase(begin, begin + static_cast<std::ptrdiff_t>(count));
}

void Repeat(Bytes& bytes, size_t at, size_t count) {
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(at);
    const Bytes again(begin, begin + static_cast<std::ptrdiff_t>(count));
    bytes.insert(begin, again.begin(), again.end());
}

TEST(CounterPattern, IsTheSameHoweverItIsRead) {
    CounterPattern pattern;
    Bytes bytes(1000);
    for (size_t at = 0; at < bytes.size(); at += 10) pattern.Read(bytes.data() + at, 10);
    EXPECT_EQ(bytes, Pattern(1000));
}

TEST(CounterPattern, ABlockIsKnownOnlyAtItsBeginning) {
    const Bytes bytes = Pattern(8 * 5000);
    for (size_t at = 0; at + 8 <= bytes.size(); ++at) {
        uint32_t number = 0;
        ASSERT_EQ(counter_pattern::ReadBlock(bytes.data() + at, number), at % 8 == 0) << at;
        if (at % 8 == 0) {
            ASSERT_EQ(number, at / 8);
        }
    }
}

TEST(CounterVerifier, FindsNothingInTheWholePattern) {
    for (const size_t piece : std::initializer_list<std::size_t>{1, 7, 100, 65536}) {
        const CounterVerifier verifier = Verify(Pattern(50'003), piece);
        EXPECT_TRUE(verifier.Clean());
        EXPECT_EQ(verifier.Bytes(), 50'003U);
    }
}

TEST(CounterVerifier, CountsLostBytesExactlyWhereverTheyWere) {
    for (const size_t count : std::initializer_list<std::size_t>{1, 2, 7, 8, 9, 16, 100, 4096, 100'001}) {
        for (size_t at = 1000; at < 1009; ++at) {
            Bytes bytes = Pattern(200'000);
            Erase(bytes, at, count);
            const CounterVerifier verifier = Verify(bytes);
            EXPECT_EQ(verifier.Lost(), count) << "at " << at;
            EXPECT_EQ(verifier.Doubled(), 0U);
            EXPECT_EQ(verifier.Changed(), 0U) << count << " at " << at;
            EXPECT_EQ(verifier.Faults(), 1U);
        }
    }
}

TEST(CounterVerifier, CountsLostBytesAtTheBeginning) {
    Bytes bytes = Pattern(1000);
    Erase(bytes, 0, 13);
    EXPECT_EQ(Verify(bytes).Lost(), 13U);
}

TEST(CounterVerifier, CountsDoubledBytesExactlyWhereverTheyWere) {
    for (const size_t count : std::initializer_list<std::size_t>{1, 3, 8, 100, 900}) {
        for (size_t at = 2000; at < 2009; ++at) {
            Bytes bytes = Pattern(10'000);
            Repeat(bytes, at, count);
            const CounterVerifier verifier = Verify(bytes);
            EXPECT_EQ(verifier.Doubled(), count) << "at " << at;
            EXPECT_EQ(verifier.Lost(), 0U);
            EXPECT_EQ(verifier.Changed(), 0U) << count << " at " << at;
        }
    }
}

TEST(CounterVerifier, CountsChangedBytes) {
    for (size_t at = 3000; at < 3016; ++at) {
        Bytes bytes = Pattern(10'000);
        bytes[at] ^= 0x10;
        bytes[at + 3] ^= 0x01;
        const CounterVerifier verifier = Verify(bytes);
        EXPECT_EQ(verifier.Changed(), 2U) << at;
        EXPECT_EQ(verifier.Lost(), 0U);
        EXPECT_EQ(verifier.Doubled(), 0U);
    }
}

TEST(CounterVerifier, TellsAChangedByteFromALossBehindIt) {
    Bytes bytes = Pattern(10'000);
    bytes[5000] ^= 0xFF;
    Erase(bytes, 5003, 40);
    const CounterVerifier verifier = Verify(bytes);
    EXPECT_EQ(verifier.Lost(), 40U);
    EXPECT_EQ(verifier.Changed(), 1U);
}

TEST(CounterVerifier, AddsUpSeveralFaults) {
    Bytes bytes = Pattern(100'000);
    Erase(bytes, 80'000, 500);
    Repeat(bytes, 60'000, 77);
    bytes[40'000] ^= 1;
    Erase(bytes, 20'000, 3);
    const CounterVerifier verifier = Verify(bytes);
    EXPECT_EQ(verifier.Lost(), 503U);
    EXPECT_EQ(verifier.Doubled(), 77U);
    EXPECT_EQ(verifier.Changed(), 1U);
    EXPECT_EQ(verifier.Faults(), 4U);
}

TEST(CounterVerifier, CallsNoiseChanged) {
    std::mt19937 noise(1);
    Bytes bytes(10'000);
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(noise());
    const CounterVerifier verifier = Verify(bytes);
    EXPECT_GT(verifier.Changed(), 9000U);
    EXPECT_EQ(verifier.Lost() + verifier.Doubled(), 0U);
}

TEST(CounterVerifier, FindsItsPlaceAgainAfterNoise) {
    Bytes bytes = Pattern(10'000);
    std::fill(bytes.begin() + 1000, bytes.begin() + 3000, uint8_t{0x55});
    Erase(bytes, 5000, 8);
    const CounterVerifier verifier = Verify(bytes);
    EXPECT_EQ(verifier.Lost(), 8U);
    EXPECT_GT(verifier.Changed(), 1980U);
    EXPECT_LE(verifier.Changed(), 2000U);
}

TEST(CounterVerifier, CallsAFaultAtTheVeryEndChanged) {
    Bytes bytes = Pattern(1000);
    bytes.back() ^= 1;
    const CounterVerifier verifier = Verify(bytes);
    EXPECT_EQ(verifier.Changed(), 1U);
    EXPECT_FALSE(verifier.Clean());
}

}  // namespace
}  // namespace Korr::Plim::Trace::Simulator
