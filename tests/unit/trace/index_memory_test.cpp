// An index takes no more memory than it may, whatever a capture holds.
#include "trace/recording_index.h"

#include <gtest/gtest.h>

#include "tests/support/live_bytes.h"
#include "tests/unit/trace/test_recording.h"

namespace Korr::Plim::Trace::Swo {
namespace {

constexpr size_t kMebibyte = size_t{1} << 20;

/// An index, and how much memory it takes beyond what it took when it had seen 4 MiB.
class Watched {
  public:
    explicit Watched(const IndexOptions& options) : index(options) {}

    /// Feeds a block again and again.
    void Feed(const Bytes& block, size_t times) {
        for (size_t i = 0; i < times; ++i) {
            index.Feed(block);
            if (before == 0 && index.Analysis().Bytes() >= 4 * kMebibyte) before = support::LiveBytes();
        }
    }
    size_t Grown() const { return support::LiveBytes() - std::min(before, support::LiveBytes()); }

    RecordingIndex index;

  private:
    size_t before = 0;
};

TEST(IndexMemory, DoesNotGrowWhereNoPacketComes) {
    IndexOptions options;
    options.analysis.waitForSync = true;
    options.analysis.framing.kind = FramingKind::Itm;
    Watched watched(options);
    watched.Feed(Bytes(kMebibyte, 0x55), 256);
    EXPECT_EQ(watched.index.PacketsOf({}), 0U);
    EXPECT_LT(watched.Grown(), 256 * 1024U);
    // The text behind it is there, and where it begins.
    Bytes end(kFewestZeros, 0);
    for (const unsigned byte : {0x80U, 0x01U, 0x68U, 0x01U, 0x69U, 0x01U, 0x0AU}) {
        end.push_back(static_cast<uint8_t>(byte));
    }
    watched.Feed(end, 1);
    watched.index.Finish();
    EXPECT_EQ(watched.index.PacketsOf({TrackKind::Port, 0}), 3U);
    EXPECT_LT(watched.Grown(), 8 * kMebibyte) << "blocks of 256 MiB";
    const ReplayPlan plan = watched.index.PlanFrom(256 * kMebibyte);
    ASSERT_TRUE(plan.from);
    EXPECT_GE(plan.from->state.offset, 250 * kMebibyte);
}

/// Frames of nothing but the null stream.
Bytes Padding() {
    Bytes frames;
    while (frames.size() < kMebibyte) {
        frames.push_back(0x01);
        frames.insert(frames.end(), 15, 0x00);
    }
    return frames;
}

TEST(IndexMemory, DoesNotGrowWherePaddingComesAlone) {
    IndexOptions options;
    options.analysis.framing = {FramingKind::Tpiu, uint8_t{1}};
    options.budget = 100'000;
    Watched watched(options);
    // Something of the stream, so that it is known.
    std::vector<Given> given;
    for (const uint8_t byte : Bytes{0, 0, 0, 0, 0, 0x80, 0x01, 0x61, 0x01, 0x62}) given.push_back({1, byte});
    const Bytes begin = Frame(given).bytes;
    watched.Feed(begin, 1);
    watched.Feed(Padding(), 256);
    EXPECT_LT(watched.Grown(), 256 * 1024U);
    watched.index.Finish();
    EXPECT_LT(watched.Grown(), 512 * 1024U);
}

/// Very many blocks begin at once.
TEST(IndexMemory, StaysInItsBudgetBehindALongSilence) {
    IndexOptions options;
    options.analysis.framing.kind = FramingKind::Itm;
    options.budget = 200'000;
    Watched watched(options);
    Bytes begin = FirmwareStream(3, 200000, false).bytes;
    begin.push_back(0x70);  // an overflow: what runs is not known, which blocks tell
    watched.Feed(begin, 8);
    watched.Feed(Bytes(kMebibyte, 0x00), 512);
    Bytes end(1, 0x80);
    end.insert(end.end(), begin.begin(), begin.begin() + 1000);
    watched.Feed(end, 1);
    EXPECT_LT(watched.Grown(), 3 * options.budget);
    EXPECT_LT(watched.index.Bytes(), 2 * options.budget);
    const RecordingSummaries& summaries = watched.index.Summaries();
    EXPECT_EQ(summaries.Blocks(), watched.index.Analysis().Bytes() / summaries.BlockBytes() + 1);
}

/// Exceptions one in another, so that each place to go on from has many.
Bytes DeeplyNested() {
    Bytes bytes;
    for (unsigned number = 16; number < 400; ++number) {
        for (const unsigned byte : {0x0EU, number & 0xFF, 0x10U | number >> 8}) {
            bytes.push_back(static_cast<uint8_t>(byte));
        }
    }
    return bytes;
}

TEST(IndexMemory, IsCountedWhole) {
    for (const size_t budget : {size_t{1} << 30, size_t{2'000'000}}) {
        IndexOptions options;
        options.analysis.framing.kind = FramingKind::Itm;
        options.budget = budget;
        Watched watched(options);
        watched.Feed(DeeplyNested(), 1);
        Bytes text;
        while (text.size() < kMebibyte) text.insert(text.end(), {0x01, 0x61, 0x03, 1, 2, 3, 4});
        watched.Feed(text, 4);
        const size_t counted = watched.index.Bytes();
        watched.Feed(text, 60);
        const auto more = static_cast<double>(watched.index.Bytes()) - static_cast<double>(counted);
        const auto grown = static_cast<double>(watched.Grown());
        if (budget > kMebibyte * 100) {
            EXPECT_NEAR(grown, more, 0.3 * more);
        } else {
            EXPECT_LE(watched.index.Bytes(), 2 * budget);
            EXPECT_LT(grown, 2.0 * static_cast<double>(budget));
        }
    }
}

}  // namespace
}  // namespace Korr::Plim::Trace::Swo
