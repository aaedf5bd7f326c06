// What a timeline makes of packets: axes, lines, what runs, and the bounds of its memory.
#include "exports/timeline.h"

#include <gtest/gtest.h>

#include "exports/sample_counter.h"

namespace Korr::Plim::Trace::Exports {

namespace {

using Swo::Packet;
using Swo::PacketKind;
using Swo::PacketTime;
using Swo::TimeQuality;
using Change = Swo::ExceptionTimeline::Change;

Packet Make(PacketKind kind, uint64_t offset, uint16_t source = 0, uint32_t value = 0, uint8_t flags = 0) {
    Packet packet{};
    packet.kind = kind;
    packet.offset = offset;
    packet.source = source;
    packet.value = value;
    packet.size = 1;
    packet.length = 2;
    packet.flags = flags;
    return packet;
}

class Seen : public TimelineSink {
  public:
    void OnBegin(const CaptureFacts&, const Axis& axis) override { axes.push_back(axis); }
    void OnPacket(const Packet&, const Moment& moment) override { times.push_back(moment.time); }
    void OnException(const Swo::ExceptionTimeline::Event& event, const Moment&) override {
        changes.push_back(event.change);
    }
    void OnLine(uint8_t, std::string_view line, const Moment& begin, uint64_t end) override {
        lines.emplace_back(line);
        begins.push_back(begin.time);
        ends.push_back(end);
    }
    void OnLoss(const Swo::LedgerEntry& entry, const Moment& moment) override {
        losses.emplace_back(entry.kind, moment.time);
    }
    void OnEnd(uint64_t time) override { ended = time; }
    void OnFinish() override {}

    std::vector<Axis> axes;
    std::vector<uint64_t> times, begins, ends;
    std::vector<Change> changes;
    std::vector<std::string> lines;
    std::vector<std::pair<Swo::LossKind, uint64_t>> losses;
    uint64_t ended = 0;
};

struct Timelines : testing::Test {
    Seen seen;
    Timeline timeline{seen};
    CaptureFacts facts;
    Swo::Ledger ledger{Swo::Ledger::Options{}};

    void Text(std::string_view text, uint64_t offset = 0, const PacketTime& time = {}) {
        for (const char byte : text) {
            timeline.OnPacket(Make(PacketKind::Stimulus, offset, 0, static_cast<uint8_t>(byte)), time);
        }
    }
};

TEST_F(Timelines, WhatIsHeldBackIsBounded) {
    timeline.Begin(facts);
    for (uint64_t i = 0; i < Timeline::kMostHeld; ++i) {
        timeline.OnPacket(Make(PacketKind::PcSample, 5 * i), {});
    }
    EXPECT_TRUE(seen.axes.empty());
    timeline.OnPacket(Make(PacketKind::PcSample, 5 * Timeline::kMostHeld), {});
    ASSERT_EQ(seen.axes.size(), 1U);
    EXPECT_EQ(seen.axes[0].kind, Axis::Kind::Bytes);
    EXPECT_EQ(seen.times.size(), Timeline::kMostHeld + 1);
    EXPECT_EQ(seen.times.back(), 5 * Timeline::kMostHeld);
    // A timestamp that comes only now changes nothing: a capture has one kind of times.
    timeline.OnPacket(Make(PacketKind::PcSample, 400000), {7, 7, TimeQuality::Exact});
    EXPECT_EQ(seen.times.back(), 400000U);
    timeline.End(ledger);
    EXPECT_EQ(seen.axes.size(), 1U);
    EXPECT_EQ(seen.ended, 400000U);
}

TEST_F(Timelines, TimesNeverFall) {
    facts.scale = {1000000, 4};
    timeline.Begin(facts);
    timeline.OnPacket(Make(PacketKind::PcSample, 0), {10, 10, TimeQuality::Exact});
    timeline.OnPacket(Make(PacketKind::PcSample, 5), {9, 9, TimeQuality::Late});
    timeline.OnPacket(Make(PacketKind::PcSample, 10), {11, 11, TimeQuality::Exact});
    EXPECT_EQ(seen.times, (std::vector<uint64_t>{40, 40, 44}));
    EXPECT_EQ(seen.axes[0].perSecond, 1000000U);
    EXPECT_EQ(seen.axes[0].Nanoseconds(44), 44000U);
}

TEST_F(Timelines, LongLinesComeInParts) {
    timeline.Begin(facts);
    Text(std::string(Timeline::kLongestLine + 3, 'x') + "\n\n\nend", 1, {1, 1, TimeQuality::Exact});
    timeline.End(ledger);
    ASSERT_EQ(seen.lines.size(), 3U);
    EXPECT_EQ(seen.lines[0].size(), Timeline::kLongestLine);
    EXPECT_EQ(seen.lines[1], "xxx");
    EXPECT_EQ(seen.lines[2], "end");
}

TEST_F(Timelines, LinesKnowWhenTheyBeganAndEnded) {
    timeline.Begin(facts);
    Text("ab", 1, {10, 10, TimeQuality::Exact});
    Text("c\r\n", 5, {20, 20, TimeQuality::Exact});
    EXPECT_EQ(seen.lines, (std::vector<std::string>{"abc"}));
    EXPECT_EQ(seen.begins, (std::vector<uint64_t>{10}));
    EXPECT_EQ(seen.ends, (std::vector<uint64_t>{20}));
}

TEST_F(Timelines, ACaptureBeginsAnew) {
    for (int i = 0; i < 2; ++i) {
        timeline.Begin(facts);
        timeline.OnPacket(Make(PacketKind::Exception, 0, 15, 0, Swo::kEntered), {10, 10, TimeQuality::Exact});
        EXPECT_EQ(seen.times.back(), 10U);
        timeline.OnPacket(Make(PacketKind::Overflow, 5), {50, 50, TimeQuality::Late});
        timeline.End(ledger);
    }
    EXPECT_EQ(seen.changes,
              (std::vector<Change>{Change::Begin, Change::Unknown, Change::Begin, Change::Unknown}));
}

TEST_F(Timelines, LossesWithoutATimeStandWhereTheirBytesAre) {
    facts.scale = {1000000000, 1};
    timeline.Begin(facts);
    constexpr uint64_t kPackets = 100000;
    for (uint64_t i = 0; i < kPackets; ++i) {
        timeline.OnPacket(Make(PacketKind::PcSample, 5 * i), {i, i, TimeQuality::Exact});
    }
    ledger.OnHost(Swo::LossKind::Parity, 1, 5 * (kPackets / 2));
    timeline.End(ledger);
    ASSERT_EQ(seen.losses.size(), 1U);
    EXPECT_NEAR(static_cast<double>(seen.losses[0].second), kPackets / 2, kPackets / 1000.0);
}

TEST(SampleCounters, PlacesAreBoundedAndNoSampleIsForgotten) {
    SampleCounter samples;
    samples.Begin({});
    constexpr uint32_t kMore = 1000;
    for (uint32_t i = 0; i < SampleCounter::kMostPlaces + kMore; ++i) {
        samples.OnPacket(Make(PacketKind::PcSample, 0, 0, i), {});
    }
    samples.OnPacket(Make(PacketKind::PcSample, 0, 0, 5), {});
    EXPECT_EQ(samples.Places().size(), SampleCounter::kMostPlaces);
    EXPECT_EQ(samples.Places().at({0, 5}), 2U);
    EXPECT_EQ(SampleCounter::Sum(samples.Unplaced()), kMore);
}

}  // namespace

}  // namespace Korr::Plim::Trace::Exports
