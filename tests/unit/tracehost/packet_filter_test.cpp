#include "tracehost/packet_filter.h"

#include <gtest/gtest.h>

#include <functional>

#include "tracehost/errors.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

using Swo::Packet;
using Swo::PacketKind;
using Swo::PacketTime;
using Swo::TimeQuality;

constexpr Exports::TimeScale kOneTickAMicrosecond{1'000'000, 1};
constexpr PacketTime kNoTime{};

Packet At(uint64_t offset, PacketKind kind = PacketKind::PcSample, uint16_t source = 0) {
    Packet packet{};
    packet.offset = offset;
    packet.kind = kind;
    packet.source = source;
    return packet;
}

PacketTime After(uint64_t ticks, TimeQuality quality = TimeQuality::Exact) { return {ticks, ticks, quality}; }

bool Wants(const PacketFilter& filter, const Packet& packet, const PacketTime& time = kNoTime) {
    return filter.Wants(packet, time, kOneTickAMicrosecond);
}

std::string Refusal(const std::function<void()>& action) {
    try {
        action();
    } catch (const UsageError& error) {
        return error.what();
    }
    return "not refused";
}

/// "0 3 8".
std::string Shown(const Swo::Ports& ports) {
    std::string text;
    for (std::size_t port = 0; port < ports.size(); ++port) {
        if (ports[port]) text += (text.empty() ? "" : " ") + std::to_string(port);
    }
    return text;
}

TEST(PacketFilters, TakeEverythingUnlessToldOtherwise) {
    const PacketFilter filter;
    EXPECT_FALSE(filter.NeedsTime());
    for (int kind = 0; kind < Swo::kPacketKinds; ++kind) {
        EXPECT_TRUE(Wants(filter, At(7, static_cast<PacketKind>(kind), 255))) << kind;
    }
}

TEST(PacketFilters, KindsAreThoseOfTheListAlone) {
    PacketFilter filter;
    SetKinds(filter, "exception,pc-sample,sync");
    for (int i = 0; i < Swo::kPacketKinds; ++i) {
        const auto kind = static_cast<PacketKind>(i);
        const bool listed =
            kind == PacketKind::Exception || kind == PacketKind::PcSample || kind == PacketKind::Sync;
        EXPECT_EQ(Wants(filter, At(0, kind)), listed) << Swo::KindName(kind);
    }
}

TEST(PacketFilters, EveryKindIsReadByItsName) {
    for (int i = 0; i < Swo::kPacketKinds; ++i) {
        PacketFilter filter;
        SetKinds(filter, std::string(Swo::KindName(static_cast<PacketKind>(i))));
        for (int kind = 0; kind < Swo::kPacketKinds; ++kind) {
            EXPECT_EQ(filter.kinds[static_cast<std::size_t>(kind)], kind == i) << kind;
        }
    }
}

TEST(PacketFilters, OtherKindsAreRefusedWithThoseThereAre) {
    const std::string kinds =
        ": the kinds are sync overflow local-time global-time-low global-time-high page extension stimulus "
        "event-counters exception pc-sample pc-sleep pc-prohibited pmu-overflow data-match data-pc "
        "data-address data-value unknown-hardware reserved malformed unsynchronised truncated-end";
    for (const std::string wrong : {"Sync", "sync ", "stim", ""}) {
        PacketFilter filter;
        EXPECT_EQ(Refusal([&] { SetKinds(filter, wrong); }), "--kinds \"" + wrong + "\"" + kinds);
        EXPECT_EQ(Refusal([&] { SetKinds(filter, "overflow," + wrong); }),
                  "--kinds \"" + wrong + "\"" + kinds);
        EXPECT_EQ(Refusal([&] { SetKinds(filter, wrong + ",sync"); }), "--kinds \"" + wrong + "\"" + kinds);
    }
}

TEST(PacketFilters, PortsAreOfStimulusPacketsAlone) {
    PacketFilter filter;
    filter.ports = ParsePorts("--ports", "3,255");
    EXPECT_TRUE(Wants(filter, At(0, PacketKind::Stimulus, 3)));
    EXPECT_TRUE(Wants(filter, At(0, PacketKind::Stimulus, 255)));
    EXPECT_FALSE(Wants(filter, At(0, PacketKind::Stimulus, 4)));
    EXPECT_TRUE(Wants(filter, At(0, PacketKind::Exception, 4)));
}

TEST(PacketFilters, ListsOfPortsHaveNumbersAndRanges) {
    EXPECT_EQ(Shown(ParsePorts("--ports", "0")), "0");
    EXPECT_EQ(Shown(ParsePorts("--ports", "255,7-7,3")), "3 7 255");
    EXPECT_EQ(Shown(ParsePorts("--ports", "8-11,9-12,0")), "0 8 9 10 11 12");
    EXPECT_TRUE(ParsePorts("--ports", "0-255").all());
}

TEST(PacketFilters, OtherListsOfPortsAreRefused) {
    for (const std::string wrong : {"", "256", "3-", "-3", "3--5", "5-3", "0,,1", "0,", "x", "1x", " 1", "+1",
                                    "0x1", "4294967296", "1-4294967297", "1.5", "99999999999999999999"}) {
        EXPECT_EQ(Refusal([&] { ParsePorts("--print", wrong); }),
                  "--print \"" + wrong + "\": give stimulus ports from 0 to 255, such as 0,3,8-15");
    }
}

TEST(PacketFilters, PlaceIsATimeOrAnOffset) {
    const CapturePlace time = ParsePlace("--from", "1.5s");
    EXPECT_EQ(time.offset, std::nullopt);
    EXPECT_EQ(time.seconds, 1.5);
    EXPECT_EQ(ParsePlace("--from", "300ms").seconds, 0.3);
    EXPECT_EQ(ParsePlace("--from", "0").seconds, 0);
    EXPECT_EQ(ParsePlace("--to", "#0").offset, 0u);
    EXPECT_EQ(ParsePlace("--to", "#18446744073709551615").offset, UINT64_MAX);
}

TEST(PacketFilters, OtherPlacesAreRefused) {
    for (const std::string wrong : {"#", "#x", "#1x", "#-1", "# 1", "#18446744073709551616", "##1", "#1.5"}) {
        EXPECT_EQ(Refusal([&] { ParsePlace("--to", wrong); }),
                  "--to \"" + wrong + "\": give a time such as 1.5s, or an offset such as #12345");
    }
    for (const std::string wrong : {"x", "", "-1", "1.5x", "nan", "inf", "12345#"}) {
        EXPECT_EQ(Refusal([&] { ParsePlace("--from", wrong); }).rfind("--from \"" + wrong + "\": ", 0), 0u)
            << wrong;
    }
}

TEST(PacketFilters, StretchBetweenOffsetsHasItsFirstPacketAndNotItsLast) {
    PacketFilter filter;
    filter.from = ParsePlace("--from", "#100");
    filter.to = ParsePlace("--to", "#200");
    EXPECT_FALSE(filter.NeedsTime());
    EXPECT_FALSE(Wants(filter, At(99)));
    EXPECT_TRUE(Wants(filter, At(100)));
    EXPECT_TRUE(Wants(filter, At(199)));
    EXPECT_FALSE(Wants(filter, At(200)));
}

TEST(PacketFilters, StretchOfTimeHasItsFirstPacketAndNotItsLast) {
    PacketFilter filter;
    filter.from = ParsePlace("--from", "10ms");
    EXPECT_TRUE(filter.NeedsTime());
    EXPECT_FALSE(Wants(filter, At(0), After(9'999)));
    EXPECT_TRUE(Wants(filter, At(0), After(10'000)));
    filter.to = ParsePlace("--to", "20ms");
    EXPECT_TRUE(Wants(filter, At(0), After(19'999, TimeQuality::Late)));
    EXPECT_FALSE(Wants(filter, At(0), After(20'000)));
    filter.from.reset();
    EXPECT_TRUE(filter.NeedsTime());
    EXPECT_TRUE(Wants(filter, At(0), After(0)));
}

TEST(PacketFilters, PacketWithoutATimeIsInNoStretchOfTime) {
    PacketFilter filter;
    filter.to = ParsePlace("--to", "20ms");
    EXPECT_FALSE(Wants(filter, At(0), kNoTime));
    filter.to = ParsePlace("--to", "#5");
    EXPECT_TRUE(Wants(filter, At(0), kNoTime));
}

TEST(PacketFilters, StretchThatEndsBeforeItBeginsIsRefused) {
    PacketFilter filter;
    for (const auto& [from, to] : {std::pair("#5", "#4"), std::pair("20ms", "19ms"), std::pair("#1", "#0")}) {
        try {
            SetStretch(filter, from, to);
            ADD_FAILURE() << from << to;
        } catch (const UsageError& error) {
            EXPECT_EQ(error.what(), std::string("--to \"") + to + "\" lies before --from \"" + from + "\"");
        }
    }
    for (const auto& [from, to] : {std::pair("#5", "#5"), std::pair("1s", "1s"), std::pair("1s", "#5"),
                                   std::pair("#5", "0s"), std::pair("#5", ""), std::pair("", "#5")}) {
        EXPECT_NO_THROW(SetStretch(filter, from, to)) << from << to;
    }
    PacketFilter none;
    SetStretch(none, "", "");
    EXPECT_FALSE(none.from || none.to);
}

TEST(PacketFilters, TimeAndOffsetCanBeMixed) {
    PacketFilter filter;
    filter.from = ParsePlace("--from", "#100");
    filter.to = ParsePlace("--to", "20ms");
    EXPECT_TRUE(filter.NeedsTime());
    EXPECT_TRUE(Wants(filter, At(100), After(19'999)));
    EXPECT_FALSE(Wants(filter, At(99), After(19'999)));
    EXPECT_FALSE(Wants(filter, At(100), After(20'000)));
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tracehost
