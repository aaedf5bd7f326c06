// Cells and their levels, histograms, the axis, lines, and what a port looks like.
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <random>

#include "trace/cell_track.h"
#include "trace/line_splitter.h"
#include "trace/ordered_value.h"
#include "trace/pc_histogram.h"
#include "trace/port_look.h"
#include "trace/recording_axis.h"
#include "trace/summary_cells.h"
#include "trace/track.h"

namespace Korr::Plim::Trace::Swo {
namespace {

struct Sample {
    uint32_t block;
    uint32_t value;
};

std::vector<Sample> RandomSamples(unsigned seed) {
    std::mt19937 random(seed);
    std::vector<Sample> samples;
    uint32_t block = 0;
    for (int i = 0; i < 20000; ++i) {
        if (random() % 3 == 0) block += static_cast<uint32_t>(random() % 4);
        if (random() % 500 == 0) block += static_cast<uint32_t>(random() % 3000);
        samples.push_back({block, static_cast<uint32_t>(random())});
    }
    return samples;
}

CellTrack<ValueCell>& Fill(CellTrack<ValueCell>& track, const std::vector<Sample>& samples) {
    for (const Sample& sample : samples) track.At(sample.block).Add(sample.value);
    return track;
}

/// Of each block of so many of the finest, what its values come to.
std::map<uint32_t, ValueCell> FoldAll(const std::vector<Sample>& samples, unsigned shift) {
    std::map<uint32_t, ValueCell> all;
    for (const Sample& sample : samples) {
        all[sample.block >> shift].block = sample.block >> shift;
        all[sample.block >> shift].Fold(ValueCell::Of(sample.value));
    }
    return all;
}

TEST(CellTrack, EveryLevelIsTheFoldOfItsBlocks) {
    const auto samples = RandomSamples(1);
    CellTrack<ValueCell> track;
    Fill(track, samples);
    for (int level = 0; level < CellTrack<ValueCell>::kLevels; ++level) {
        const unsigned shift = 3 * static_cast<unsigned>(level);
        std::map<uint32_t, ValueCell> found;
        track.ForEach(level, 0, UINT32_MAX, [&](const ValueCell& cell, uint32_t first, uint32_t) {
            found[first >> shift].block = first >> shift;
            found[first >> shift].Fold(cell);
        });
        EXPECT_EQ(found, FoldAll(samples, shift)) << "level " << level;
    }
}

TEST(CellTrack, GivesTheCellsOfAStretchAndNoOthers) {
    const auto samples = RandomSamples(2);
    CellTrack<ValueCell> track;
    Fill(track, samples);
    std::mt19937 random(3);
    for (int i = 0; i < 200; ++i) {
        const auto from = static_cast<uint32_t>(random() % samples.back().block);
        const auto to = static_cast<uint32_t>(from + 1 + random() % 5000);
        const int level = static_cast<int>(random() % 3);
        uint64_t counted = 0;
        uint32_t behind = 0;
        track.ForEach(level, from, to, [&](const ValueCell& cell, uint32_t first, uint32_t count) {
            EXPECT_LT(first, to);
            EXPECT_GT(first + count, from);
            EXPECT_GE(first, behind) << "in their order";
            behind = first + count;
            counted += cell.count;
        });
        uint64_t least = 0;
        for (const Sample& sample : samples) least += sample.block >= from && sample.block < to ? 1 : 0;
        EXPECT_GE(counted, least);
        if (level == 0) {
            EXPECT_EQ(counted, least);
        }
    }
}

TEST(CellTrack, HalvedIsAsIfBlocksHadBeenTwiceAsLong) {
    const auto samples = RandomSamples(4);
    CellTrack<ValueCell> halved;
    Fill(halved, samples).Halve();
    std::vector<Sample> longer = samples;
    for (Sample& sample : longer) sample.block /= 2;
    CellTrack<ValueCell> wanted;
    Fill(wanted, longer);
    for (int level = 0; level < CellTrack<ValueCell>::kLevels; ++level) {
        EXPECT_EQ(halved.Level(level), wanted.Level(level));
    }
    halved.At(samples.back().block).Add(7);  // and it goes on
    EXPECT_EQ(halved.Base().back().last, 7U);
}

TEST(PcHistogram, CountsAddressesAndWhatItCannotTellApart) {
    PcHistogram histogram(100);
    for (uint32_t i = 0; i < 150; ++i) histogram.Add(i * 2);
    for (uint32_t i = 0; i < 150; ++i) histogram.Add(i * 2);
    EXPECT_EQ(histogram.Counts().size(), 100U);
    EXPECT_EQ(histogram.Other(), 100U);
    histogram.Pack();
    EXPECT_EQ(histogram.Counts().size(), 100U);
    histogram.Add(0, 5);
    for (const auto& [address, samples] : histogram.Counts()) EXPECT_EQ(samples, address == 0 ? 7U : 2U);
}

TEST(PcHistograms, SumWholePartsAlone) {
    PcHistograms histograms;
    constexpr uint64_t kPart = uint64_t{1} << PcHistograms::kPartShift;
    for (uint64_t i = 0; i < 10; ++i) histograms.At(i * kPart + 5).Add(static_cast<uint32_t>(i));
    PcHistogram all(PcHistogram::kMostInAll);
    const auto stretch = histograms.Sum(kPart - 1, 4 * kPart + 1, all);
    EXPECT_EQ(stretch.from, kPart);
    EXPECT_EQ(stretch.to, 4 * kPart);
    EXPECT_EQ(all.Counts().size(), 3U);
    const auto none = histograms.Sum(5, 6, all);
    EXPECT_EQ(none.from, none.to);
}

TEST(PcHistograms, BecomeCoarserWhenTheyTakeTooMuchMemory) {
    PcHistograms histograms;
    constexpr uint64_t kPart = uint64_t{1} << PcHistograms::kPartShift;
    std::mt19937 random(1);
    uint64_t added = 0;
    for (uint64_t part = 0; part < 200; ++part) {
        for (int i = 0; i < 70000; ++i, ++added) {
            histograms.At(part * kPart).Add(static_cast<uint32_t>(random()));
        }
    }
    EXPECT_LE(histograms.Bytes(), PcHistograms::kMostBytes);
    PcHistogram all(PcHistogram::kMostInAll);
    histograms.Sum(0, UINT64_MAX, all);
    uint64_t counted = all.Other();
    for (const auto& count : all.Counts()) counted += count.samples;
    EXPECT_EQ(counted, added);
}

TEST(RecordingAxis, CountsWhatIsKnown) {
    EXPECT_EQ(RecordingAxis({}, false).Unit(), "bytes");
    EXPECT_EQ(RecordingAxis({}, true).Unit(), "ticks");
    const AxisSettings all{48e6, 4, 2e6, {{100, 1000}, {200, 5000}}};
    EXPECT_EQ(RecordingAxis(all, true).Kind(), AxisKind::Timestamps);
    EXPECT_DOUBLE_EQ(RecordingAxis(all, true).At(12), 1000);
    EXPECT_EQ(RecordingAxis(all, false).Kind(), AxisKind::Arrival);
    EXPECT_EQ(RecordingAxis(all, false).At(999), 100e6);
    EXPECT_EQ(RecordingAxis(all, false).At(1000), 200e6);
    EXPECT_EQ(RecordingAxis(all, false).At(999999), 200e6);
    const RecordingAxis line({std::nullopt, 1, 2e6, {}}, false);
    EXPECT_EQ(line.Kind(), AxisKind::Line);
    EXPECT_EQ(line.Unit(), "ns");
    EXPECT_DOUBLE_EQ(line.At(2), 10000);
    for (const double wrong : {0.0, -1.0, std::nan(""), HUGE_VAL}) {
        EXPECT_EQ(RecordingAxis({wrong, 1, wrong, {}}, true).Unit(), "ticks");
        EXPECT_EQ(RecordingAxis({wrong, 1, wrong, {}}, false).Unit(), "bytes");
    }
}

TEST(RecordingAxis, FindsTheFirstPositionAtATime) {
    const AxisSettings all{48e6, 64, 2e6, {{100, 1000}, {200, 5000}, {200, 6000}, {300, 6000}}};
    for (const bool timed : {false, true}) {
        const RecordingAxis axis(all, timed);
        for (const double time : {-5.0, 0.0, 1.0, 99e6, 100e6, 150e6, 200e6, 250e6, 1e12}) {
            const uint64_t position = axis.PositionAt(time);
            if (position > 0) {
                EXPECT_LT(axis.At(position - 1), time);
            }
            if (position < UINT64_MAX) {
                EXPECT_GE(axis.At(position), time);
            }
        }
        EXPECT_EQ(axis.PositionAt(std::nan("")), 0U);
    }
    EXPECT_EQ(RecordingAxis(all, false).PositionAt(1e300), UINT64_MAX);
}

TEST(Tracks, StandInARow) {
    for (size_t row = 0; row < kTracks; ++row) EXPECT_EQ(RowOf(TrackAt(row)), row);
}

TEST(OrderedValue, KeepsOrderAndNumber) {
    const auto ordered = [](PortType type, uint32_t value) {
        Packet packet{};
        packet.kind = PacketKind::Stimulus;
        packet.size = 4;
        packet.value = value;
        return OrderedOf(packet, type);
    };
    const std::vector<float> floats = {-INFINITY, -3.5F, -0.0F, 0.0F, 1e-30F, 2.0F, INFINITY};
    uint32_t last = 0;
    for (const float number : floats) {
        const auto value = ordered(PortType::F32, std::bit_cast<uint32_t>(number));
        ASSERT_TRUE(value.has_value());
        EXPECT_GT(*value, last);
        last = *value;
        EXPECT_EQ(NumberOfOrdered(*value, PortType::F32), number);
    }
    EXPECT_FALSE(ordered(PortType::F32, 0x7FC00000).has_value());
    EXPECT_LT(*ordered(PortType::I8, 0x80), *ordered(PortType::I8, 0x7F));
    EXPECT_EQ(NumberOfOrdered(*ordered(PortType::I16, 0x8000), PortType::I16), -32768);
    EXPECT_EQ(NumberOfOrdered(*ordered(PortType::U16, 0x12348000), PortType::U16), 0x8000);
}

PortType LooksLike(const std::string& bytes, uint8_t size = 1) {
    PortLook look;
    for (size_t at = 0; at < bytes.size(); at += size) {
        Packet packet{};
        packet.kind = PacketKind::Stimulus;
        packet.size = size;
        for (uint8_t i = 0; i < size && at + i < bytes.size(); ++i) {
            packet.value |= uint32_t{static_cast<uint8_t>(bytes[at + i])} << 8 * i;
        }
        look.OnPacket(packet);
    }
    return look.Type();
}

TEST(PortLook, TellsTextFromNumbers) {
    EXPECT_EQ(LooksLike(""), PortType::Text);
    EXPECT_EQ(LooksLike("speed 12\r\n\tok\x1B[0m"), PortType::Text);
    EXPECT_EQ(LooksLike("gr\xC3\xBC\xC3\x9F"
                        "e \xE2\x82\xAC \xF0\x9F\x98\x80"),
              PortType::Text);
    EXPECT_EQ(LooksLike(std::string("\x01\x02\x03\x04", 4)), PortType::U8);
    EXPECT_EQ(LooksLike(std::string("\x10\x27\x00\x00", 4), 4), PortType::U32);
    EXPECT_EQ(LooksLike(std::string("\xC0\xC1\xFE\xFF\xBF\xBF", 6), 2), PortType::U16);
    EXPECT_EQ(LooksLike("abcdefghi\x01"), PortType::Text);
    EXPECT_EQ(LooksLike("abcdefgh\x01\x01"), PortType::U8);
    EXPECT_EQ(LooksLike(std::string(256, 'a') + std::string(1000, '\x01')), PortType::Text)
        << "the first decide";
}

TEST(LineSplitter, EndsLinesAtFeedsAndWhenTheyAreTooLong) {
    LineSplitter splitter;
    EXPECT_TRUE(splitter.Take('\n').begins) << "an empty line";
    EXPECT_EQ(splitter.Open(), 0U);
    size_t begun = 0;
    for (int i = 0; i < 2 * LineSplitter::kLongestLine; ++i) begun += splitter.Take('x').begins ? 1 : 0;
    EXPECT_EQ(begun, 2U);
    EXPECT_FALSE(splitter.Take('\n').begins) << "ends the full line";
    EXPECT_TRUE(splitter.Take('x').begins);
    LineSplitter same(splitter.Open());
    EXPECT_FALSE(same.Take('y').begins);
}

}  // namespace
}  // namespace Korr::Plim::Trace::Swo
