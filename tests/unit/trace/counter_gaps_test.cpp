#include "trace/counter_gaps.h"

#include <gtest/gtest.h>

#include <vector>

namespace Korr::Plim::Trace::Swo {

namespace {

struct Found {
    uint64_t from;
    uint64_t offset;
    uint64_t missing;
    bool operator==(const Found&) const = default;
};
void PrintTo(const Found& gap, std::ostream* out) {
    *out << gap.missing << " between " << gap.from << " and " << gap.offset;
}

/// Offsets are the places in the list.
std::vector<Found> Gaps(const std::vector<uint32_t>& values, uint8_t size = 4,
                        const std::vector<size_t>& suspect = {}) {
    CounterGaps gaps;
    std::vector<Found> found;
    const auto collect = [&] {
        for (const auto& gap : {gaps.First(), gaps.Second()}) {
            if (gap) found.push_back({gap->from, gap->offset, gap->missing});
        }
    };
    for (size_t i = 0; i < values.size(); ++i) {
        CounterGaps::Value value;
        value.value = values[i];
        value.size = size;
        value.offset = i;
        value.suspect = std::find(suspect.begin(), suspect.end(), i) != suspect.end();
        gaps.Take(value);
        collect();
    }
    gaps.Finish();
    collect();
    return found;
}

using Gapped = std::vector<Found>;

TEST(CounterGaps, AnEndIsToldOnce) {
    CounterGaps gaps;
    gaps.Take({1, 4, 0, {}, false});
    gaps.Take({5, 4, 1, {}, false});
    EXPECT_FALSE(gaps.First());
    gaps.Finish();
    EXPECT_TRUE(gaps.First());
    gaps.Finish();
    EXPECT_FALSE(gaps.First());
}

TEST(CounterGaps, TwoHolesAtTheEndAreToldOnce) { EXPECT_EQ(Gaps({1, 4, 8}), (Gapped{{0, 1, 2}, {1, 2, 3}})); }

TEST(CounterGaps, AValueThatStaysIsAWholeRoundFurther) {
    EXPECT_EQ(Gaps({5, 5, 5}, 1), (Gapped{{0, 2, 255}}));
    EXPECT_EQ(Gaps({1, 4, 4}), (Gapped{{0, 2, 2}})) << "one that does not fit, and comes again";
}

TEST(CounterGaps, ARowWithoutAHoleHasNone) {
    EXPECT_EQ(Gaps({}), Gapped{});
    EXPECT_EQ(Gaps({7}), Gapped{});
    EXPECT_EQ(Gaps({7, 8, 9, 10}), Gapped{});
    EXPECT_EQ(Gaps({0xFFFFFFFE, 0xFFFFFFFF, 0, 1}), Gapped{});
    EXPECT_EQ(Gaps({254, 255, 0, 1}, 1), Gapped{});
    EXPECT_EQ(Gaps({65535, 0}, 2), Gapped{});
}

TEST(CounterGaps, MissingValuesAreCounted) {
    EXPECT_EQ(Gaps({1, 2, 10, 11}), (Gapped{{1, 2, 7}}));
    EXPECT_EQ(Gaps({250, 4, 5}, 1), (Gapped{{0, 1, 9}}));
    EXPECT_EQ(Gaps({0xFFFFFFF0, 15, 16}), (Gapped{{0, 1, 30}}));
}

TEST(CounterGaps, AGapAtTheEndIsTold) { EXPECT_EQ(Gaps({1, 2, 5}), (Gapped{{1, 2, 2}})); }

TEST(CounterGaps, TwoGapsThatFollowEachOtherAreTwo) {
    EXPECT_EQ(Gaps({1, 2, 10, 20, 21}), (Gapped{{1, 2, 7}, {2, 3, 9}}));
}

TEST(CounterGaps, AValueReadAcrossAHoleCountsAsMissing) {
    EXPECT_EQ(Gaps({1, 2, 90000, 6, 7}), (Gapped{{1, 3, 3}}));
    EXPECT_EQ(Gaps({1000, 1001, 3, 1003, 1004}), (Gapped{{1, 3, 1}}));
}

TEST(CounterGaps, AWrongValueThatTookNoPlaceIsNoGap) { EXPECT_EQ(Gaps({1, 2, 90000, 3, 4}), Gapped{}); }

TEST(CounterGaps, ASuspectValueIsBelievedWhenItFits) {
    EXPECT_EQ(Gaps({1, 2, 3, 9, 10}, 4, {2}), (Gapped{{2, 3, 5}}));
    EXPECT_EQ(Gaps({1, 2, 77, 9, 10}, 4, {2}), (Gapped{{1, 3, 6}}));
    EXPECT_EQ(Gaps({5, 6, 77}, 4, {0}), (Gapped{{1, 2, 70}}));
    EXPECT_EQ(Gaps({1, 9, 3, 10}, 4, {2}), (Gapped{{0, 1, 7}}));
}

TEST(CounterGaps, TheShorterOfTwoSizesIsCompared) {
    CounterGaps gaps;
    gaps.Take({0x1FF, 2, 0, {}, false});
    gaps.Take({0x00, 1, 1, {}, false});
    gaps.Finish();
    EXPECT_FALSE(gaps.First());
}

}  // namespace

}  // namespace Korr::Plim::Trace::Swo
