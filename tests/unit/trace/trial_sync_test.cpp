// Whether a packet that was never seen is one, by what stands behind it.
#include "trace/trial_sync.h"

#include <gtest/gtest.h>

#include <vector>

namespace Korr::Plim::Trace::Swo {
namespace {

constexpr uint8_t kWrite = 0x01;     // one byte to port 0
constexpr uint8_t kReserved = 0x04;  // begins no packet

constexpr uint8_t PageHeader(unsigned page) { return static_cast<uint8_t>(page << 4 | 8); }

const HeaderTable& AllHeaders() { return HeadersOf(Architecture::Any); }

/// What has shown that the packets of these headers come, on page 0.
KnownPackets Knowing(std::initializer_list<uint8_t> headers) {
    KnownPackets known;
    for (const uint8_t header : headers) {
        const std::vector<uint8_t> bytes(kReadable, header);
        const uint16_t signature = ReadPacket(bytes.data(), AllHeaders(), 0).signature;
        for (int i = 0; i < 65; ++i) {
            if (!known.Follows(signature)) known.TakeIn(signature);
        }
        known.Settle();
        EXPECT_TRUE(known.Knows(signature));
    }
    return known;
}

void AppendWrites(std::vector<uint8_t>& bytes, int count) {
    for (int i = 0; i < count; ++i) bytes.insert(bytes.end(), {kWrite, 0x41});
}

/// A write to port 1, which is not known, or so many known ones from its second byte on.
Verdict RivalOf(int writes) {
    std::vector<uint8_t> bytes{0x09};
    AppendWrites(bytes, writes);
    bytes.push_back(kReserved);
    size_t rival = 0;
    const Verdict verdict = HasRival({bytes, true}, AllHeaders(), Knowing({kWrite}), rival);
    EXPECT_TRUE(verdict != Verdict::Yes || rival == 1) << rival;
    return verdict;
}

TEST(TrialSync, TwentyFourKnownPacketsAreARival) {
    EXPECT_EQ(RivalOf(24), Verdict::Yes);
    EXPECT_EQ(RivalOf(23), Verdict::No);
}

/// Page 2, so many writes to ports that are known on page 0, `other`, and more of them.
Verdict FalsePage(int writesBefore, uint8_t other) {
    std::vector<uint8_t> bytes{PageHeader(2)};
    AppendWrites(bytes, writesBefore);
    bytes.push_back(other);
    AppendWrites(bytes, 10);
    return IsFalsePage({bytes, true}, AllHeaders(), Knowing({kWrite, PageHeader(4)}), 0);
}

TEST(TrialSync, APageIsFalseWhenThePortsBehindItAreKnownOnTheOneBefore) {
    std::vector<uint8_t> bytes{PageHeader(2)};
    AppendWrites(bytes, 8);
    EXPECT_EQ(IsFalsePage({bytes, true}, AllHeaders(), Knowing({kWrite}), 0), Verdict::Yes);
    EXPECT_EQ(IsFalsePage({bytes, true}, AllHeaders(), Knowing({kWrite}), 1), Verdict::No);
    bytes.resize(bytes.size() - 2);
    EXPECT_EQ(IsFalsePage({bytes, true}, AllHeaders(), Knowing({kWrite}), 0), Verdict::No);
}

TEST(TrialSync, AnotherPageMayBeWrongAmongTheNextEightPackets) {
    EXPECT_EQ(FalsePage(0, PageHeader(3)), Verdict::Yes);
    EXPECT_EQ(FalsePage(7, PageHeader(3)), Verdict::Yes);
    EXPECT_EQ(FalsePage(8, PageHeader(3)), Verdict::No);
}

TEST(TrialSync, AKnownPageShowsThatPagesAreUsed) { EXPECT_EQ(FalsePage(3, PageHeader(4)), Verdict::No); }

TEST(TrialSync, TheWayBackShowsThatThePageWasLeft) { EXPECT_EQ(FalsePage(3, PageHeader(0)), Verdict::No); }

}  // namespace
}  // namespace Korr::Plim::Trace::Swo
