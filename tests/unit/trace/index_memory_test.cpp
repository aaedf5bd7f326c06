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
            if (before > 0 || index.Analysis().Bytes() < 4 * kMebibyte) continue;
            before = support::LiveBytes();
            counted = index.Bytes();
        }
    }
    size_t Grown() const { return support::LiveBytes() - std::min(before, support::LiveBytes()); }

    RecordingIndex index;
    size_t counted = 0;  ///< by the index, when that was

  private:
    size_t before = 0;
};

TEST(IndexMemory, DoesNotGrowWhereNoPacketComes) {
    IndexOptions options;
    options.analysis.waitForSync = true;
    options.analysis.framing.kind = FramingKind::Itm;
    const Bytes noPacket(kMebibyte, 0x55);
    Watched watched(options);
    watched.Feed(noPacket, 256);
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
    const Bytes padding = Padding();
    Watched watched(options);
    // Something of the stream, so that it is known.
    std::vector<Given> given;
    for (const uint8_t byte : Bytes{0, 0, 0, 0, 0, 0x80, 0x01, 0x61, 0x01, 0x62}) given.push_back({1, byte});
    const Bytes begin = Frame(given).bytes;
    watched.Feed(begin, 1);
    watched.Feed(padding, 256);
    EXPECT_LT(watched.Grown(), 256 * 1024U);
    watched.index.Finish();
    EXPECT_LT(watched.Grown(), 512 * 1024U);
}

/// Very many blocks begin at once.
TEST(IndexMemory, StaysInItsBudgetBehindALongSilence) {
    IndexOptions options;
    options.analysis.framing.kind = FramingKind::Itm;
    options.budget = 200'000;
    const Bytes zeros(kMebibyte, 0x00);
    Watched watched(options);
    Bytes begin = FirmwareStream(3, 200000, false).bytes;
    begin.push_back(0x70);  // an overflow: what runs is not known, which blocks tell
    watched.Feed(begin, 8);
    watched.Feed(zeros, 512);
    Bytes end(1, 0x80);
    end.insert(end.end(), begin.begin(), begin.begin() + 1000);
    watched.Feed(end, 1);
    EXPECT_LT(watched.Grown(), 3 * options.budget);
    EXPECT_LT(watched.index.Bytes(), 2 * options.budget);
    const RecordingSummaries& summaries = watched.index.Summaries();
    EXPECT_EQ(summaries.Blocks(), watched.index.Analysis().Bytes() / summaries.BlockBytes() + 1);
}

/// Exceptions one in another, each of which every block tells.
Bytes DeeplyNested() {
    Bytes bytes;
    for (unsigned number = 16; number < 400; ++number) {
        for (const unsigned byte : {0x0EU, number & 0xFF, 0x10U | number >> 8}) {
            bytes.push_back(static_cast<uint8_t>(byte));
        }
    }
    return bytes;
}

/// A MiB of text and words. There all the time: who watches memory shall not see it come or go.
const Bytes& Text() {
    static const Bytes text = [] {
        Bytes bytes;
        while (bytes.size() < kMebibyte) bytes.insert(bytes.end(), {0x01, 0x61, 0x03, 1, 2, 3, 4});
        return bytes;
    }();
    return text;
}

/// 64 MiB of that behind a beginning.
std::unique_ptr<Watched> Texts(const Bytes& begin, size_t budget) {
    IndexOptions options;
    options.analysis.framing.kind = FramingKind::Itm;
    options.budget = budget;
    auto watched = std::make_unique<Watched>(options);
    watched->Feed(begin, 1);
    watched->Feed(Text(), 64);
    return watched;
}

TEST(IndexMemory, IsCountedWhole) {
    for (const Bytes& begin : {Bytes{0x01, 0x61}, DeeplyNested()}) {
        const auto watched = Texts(begin, size_t{1} << 30);
        const auto more = static_cast<double>(watched->index.Bytes() - watched->counted);
        EXPECT_NEAR(static_cast<double>(watched->Grown()), more, 0.2 * more);
    }
}

TEST(IndexMemory, StaysInItsBudgetWhereMuchGoesOn) {
    constexpr size_t kBudget = 2'000'000;
    const auto watched = Texts(DeeplyNested(), kBudget);
    EXPECT_LE(watched->index.Bytes(), 2 * kBudget);
    EXPECT_LT(watched->Grown(), 2 * kBudget);
}

}  // namespace
}  // namespace Korr::Plim::Trace::Swo
