// More losses than are listed.
#include <gtest/gtest.h>

#include <map>
#include <string_view>

#include "tests/unit/trace/packet_at.h"
#include "trace/ledger.h"
#include "trace/window_marks.h"

namespace Korr::Plim::Trace::Swo {

namespace {

TEST(LedgerLimits, MemoryStaysBoundedWhateverIsLost) {
    Ledger ledger({});
    constexpr uint64_t kPlaces = 3000000;
    ledger.OnPacket(PacketAt(0, kText, 100), kTime);
    for (uint64_t i = 0; i < kPlaces; ++i) {
        ledger.OnPacket(PacketAt(1000 * i + 100, PacketKind::Malformed, 1), kTime);
        ledger.OnPacket(PacketAt(1000 * i + 101, kText, 2), kTime);
    }
    ledger.Finish();
    EXPECT_EQ(ledger.Entries().size(), Ledger::kMostEntries);
    EXPECT_LE(ledger.Unlisted().size(), Ledger::kMostBlocks);
    EXPECT_EQ(ledger.Entries().size() + ledger.UnlistedPlaces(), kPlaces);
    EXPECT_EQ(ledger.Totals().lostOnTheWay, kPlaces);
    for (size_t i = 1; i < ledger.Unlisted().size(); ++i) {
        EXPECT_LT(ledger.Unlisted()[i - 1].offset, ledger.Unlisted()[i].offset);
    }
}

/// As many losses as are listed, the first at offset 100, the last before offset kBehindTheList.
constexpr uint64_t kBehindTheList = 1000 * uint64_t{Ledger::kMostEntries};
Ledger FullLedger() {
    Ledger ledger({});
    ledger.OnPacket(PacketAt(0, kText, 100), kTime);
    for (uint64_t i = 0; i < Ledger::kMostEntries; ++i) {
        ledger.OnPacket(PacketAt(1000 * i + 100, PacketKind::Malformed, 1), kTime);
    }
    EXPECT_EQ(ledger.Entries().size(), Ledger::kMostEntries);
    EXPECT_EQ(ledger.UnlistedPlaces(), 0u);
    return ledger;
}

uint64_t CountOf(const Ledger& ledger, LossClass lossClass, bool hints) {
    uint64_t count = 0;
    for (const LedgerBlock& block : ledger.Unlisted()) {
        count += (hints ? block.hints : block.certain)[static_cast<size_t>(lossClass)];
    }
    return count;
}

TEST(LedgerLimits, PlacesThatAreNotListedAreCountedByClassHintsApart) {
    Ledger ledger = FullLedger();
    constexpr uint64_t kTimes = 4000;  // over more MB than there are blocks, so that they become larger
    for (uint64_t i = 0; i < kTimes; ++i) {
        const uint64_t offset = kBehindTheList + 1000000 * i;
        ledger.OnPacket(PacketAt(offset, PacketKind::Overflow, 1), kTime);
        for (const uint64_t at : {offset + 100, offset + 200}) {
            ledger.OnPacket(PacketAt(at, PacketKind::LocalTime, 2, kTimestampDelayed), kTime);
        }
        ledger.OnPacket(PacketAt(offset + 300, kText, 2, kOrderHint), kTime);
        if (i % 4 == 0) ledger.OnPacket(PacketAt(offset + 400, PacketKind::Malformed, 3), kTime);
    }
    ledger.OnHost(LossKind::Framing, 7, kBehindTheList);
    ledger.OnPeriodGap(PacketAt(kBehindTheList, kText), kTime, 5);
    ledger.OnPacket(PacketAt(kBehindTheList + 1000000 * kTimes, PacketKind::TruncatedEnd, 1), kTime);
    ledger.Finish();
    EXPECT_LE(ledger.Unlisted().size(), Ledger::kMostBlocks);
    EXPECT_EQ(CountOf(ledger, LossClass::Target, false), kTimes);
    EXPECT_EQ(CountOf(ledger, LossClass::Target, true), 2 * kTimes);
    EXPECT_EQ(CountOf(ledger, LossClass::Line, false), kTimes / 4);
    EXPECT_EQ(CountOf(ledger, LossClass::Line, true), kTimes);
    EXPECT_EQ(CountOf(ledger, LossClass::Host, false), 7u);
    EXPECT_EQ(CountOf(ledger, LossClass::Gap, true), 1u);
    EXPECT_EQ(CountOf(ledger, LossClass::Edge, false), 1u);
    EXPECT_EQ(ledger.UnlistedPlaces(), 4 * kTimes + kTimes / 4 + 9);
    EXPECT_EQ(ledger.Totals().lostInTarget, kTimes);
    EXPECT_EQ(ledger.Totals().lostOnTheWay, Ledger::kMostEntries + kTimes / 4 + 7);
    EXPECT_EQ(ledger.Totals().hints, 3 * kTimes + 1);
}

TEST(LedgerLimits, DamageThatTouchesIsOnePlaceAlsoWhenItIsNotListed) {
    Ledger ledger = FullLedger();
    for (const uint64_t offset : {kBehindTheList, kBehindTheList + 50}) {
        ledger.OnPacket(PacketAt(offset, PacketKind::Reserved, 1), kTime);
        ledger.OnPacket(PacketAt(offset + 1, PacketKind::Unsynchronised, 9), kTime);
        ledger.OnPacket(PacketAt(offset + 10, PacketKind::Malformed, 2), kTime);
        ledger.OnPacket(PacketAt(offset + 12, kText), kTime);
    }
    ledger.Finish();
    EXPECT_EQ(ledger.UnlistedPlaces(), 2u);
    EXPECT_EQ(ledger.Totals().lostOnTheWay, Ledger::kMostEntries + 2);
    EXPECT_EQ(ledger.Totals().damagedBytes, Ledger::kMostEntries + 24);
}

TEST(LedgerLimits, MarksOfPlacesThatAreNotListedAreHintsWhereThoseAreHintsAlone) {
    Ledger ledger = FullLedger();
    constexpr uint64_t kPart = uint64_t{1} << 20;
    constexpr uint64_t kFirst = (kBehindTheList / kPart + 1) * kPart;
    ledger.OnPacket(PacketAt(kFirst, PacketKind::LocalTime, 2, kPacketDelayed), kTime);
    ledger.OnPacket(PacketAt(kFirst + 10, PacketKind::Overflow, 1), kTime);
    ledger.OnPacket(PacketAt(kFirst + 20, kText, 2, kOrderHint), kTime);
    ledger.OnPacket(PacketAt(kFirst + kPart, PacketKind::LocalTime, 2, kPacketDelayed), kTime);
    ledger.Finish();
    const RecordingAxis axis({}, false);
    const TrackTypes types;
    const WindowFrame frame(axis, false, kFirst, kFirst + 2 * kPart, 2, {}, types);
    std::map<std::string_view, std::vector<double>> marks;
    for (const NamedArray& array :
         MarksOf(ledger, frame, [](uint64_t offset) { return static_cast<double>(offset); })) {
        std::visit([&](const auto& all) { marks[array.name].assign(all.begin(), all.end()); }, array.data);
    }
    using Numbers = std::vector<double>;
    EXPECT_EQ(marks["offset"], (Numbers{kFirst, kFirst, kFirst + kPart}));
    EXPECT_EQ(marks["class"], (Numbers{0, 1, 0}));
    EXPECT_EQ(marks["hint"], (Numbers{0, 1, 1}));
    EXPECT_EQ(marks["count"], (Numbers{2, 1, 1}));
    EXPECT_EQ(marks["entry"], Numbers(3, kNotListed));
}

}  // namespace

}  // namespace Korr::Plim::Trace::Swo
