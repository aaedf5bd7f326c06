// Every kind of packet, with the bytes written down from the architecture's description.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/trace/packet_log.h"

namespace Korr::Plim::Trace::Swo {
namespace {

using testing::ElementsAre;

Packet Made(PacketKind kind, uint32_t value, uint16_t source, uint8_t size, uint32_t length,
            uint8_t flags = 0, uint64_t offset = 0) {
    return {offset, value, source, kind, size, length, flags};
}

/// The one packet of a stream of one packet.
Packet Only(const Bytes& bytes, Architecture architecture = Architecture::Any) {
    const std::vector<Packet> packets = Decode(bytes, {true, architecture, true});
    EXPECT_EQ(packets.size(), 1U);
    return packets.empty() ? Packet{} : packets[0];
}

TEST(PacketKinds, SynchronisationIsFiveZerosOrMoreAndAOne) {
    EXPECT_EQ(Only({0, 0, 0, 0, 0, 0x80}), Made(PacketKind::Sync, 0, 0, 6, 6));
    Bytes longer(300, 0);
    longer.push_back(0x80);
    EXPECT_EQ(Only(longer), Made(PacketKind::Sync, 0, 0, 255, 301));
}

TEST(PacketKinds, Overflow) { EXPECT_EQ(Only({0x70}), Made(PacketKind::Overflow, 0, 0, 0, 1)); }

TEST(PacketKinds, LocalTimestampInOneByte) {
    for (uint8_t ticks = 1; ticks <= 6; ++ticks) {
        EXPECT_EQ(Only({static_cast<uint8_t>(ticks << 4)}), Made(PacketKind::LocalTime, ticks, 0, 0, 1));
    }
}

TEST(PacketKinds, LocalTimestampOfOneToFourBytes) {
    EXPECT_EQ(Only({0xC0, 0x07}), Made(PacketKind::LocalTime, 7, 0, 1, 2));
    EXPECT_EQ(Only({0xC0, 0x00}), Made(PacketKind::LocalTime, 0, 0, 1, 2));
    EXPECT_EQ(Only({0xD0, 0x81, 0x01}), Made(PacketKind::LocalTime, 0x81, 0, 2, 3, kTimestampDelayed));
    EXPECT_EQ(Only({0xE0, 0xFF, 0xFF, 0x7F}), Made(PacketKind::LocalTime, 0x1FFFFF, 0, 3, 4, kPacketDelayed));
    EXPECT_EQ(Only({0xF0, 0xFF, 0xFF, 0xFF, 0x7F}),
              Made(PacketKind::LocalTime, 0xFFFFFFF, 0, 4, 5, kTimestampDelayed | kPacketDelayed));
}

TEST(PacketKinds, LocalTimestampThatGoesOnForAFifthByteIsMalformed) {
    const Packet packet = Decode({0xC0, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F}).at(0);
    EXPECT_EQ(packet.kind, PacketKind::Malformed);
    EXPECT_EQ(packet.source, static_cast<uint16_t>(MalformedReason::Continuation));
    EXPECT_EQ(packet.value, 0xC0U);
    EXPECT_EQ(packet.length, 5U);
}

TEST(PacketKinds, HeadersBesideThatOfALocalTimestampAreReserved) {
    for (const uint8_t header : Bytes{0x80, 0x90, 0xA0, 0xB0}) {
        EXPECT_EQ(Only({header}), Made(PacketKind::Reserved, header, 0, 1, 1)) << int{header};
    }
}

TEST(PacketKinds, GlobalTimestampOfUpTo26Bits) {
    EXPECT_EQ(Only({0x94, 0x05}), Made(PacketKind::GlobalTimeLow, 5, 0, 1, 2));
    EXPECT_EQ(Only({0x94, 0x85, 0x01}), Made(PacketKind::GlobalTimeLow, 0x85, 0, 2, 3));
    EXPECT_EQ(Only({0x94, 0xFF, 0xFF, 0x7F}), Made(PacketKind::GlobalTimeLow, 0x1FFFFF, 0, 3, 4));
    EXPECT_EQ(Only({0x94, 0xFF, 0xFF, 0xFF, 0x1F}), Made(PacketKind::GlobalTimeLow, 0x3FFFFFF, 0, 4, 5));
    EXPECT_EQ(Only({0x94, 0x80, 0x80, 0x80, 0x20}),
              Made(PacketKind::GlobalTimeLow, 0, 0, 4, 5, kClockChanged));
    EXPECT_EQ(Only({0x94, 0x81, 0x80, 0x80, 0x40}),
              Made(PacketKind::GlobalTimeLow, 1, 0, 4, 5, kTimeWrapped));
    EXPECT_EQ(Decode({0x94, 0x80, 0x80, 0x80, 0x80, 0}).at(0).kind, PacketKind::Malformed);
}

TEST(PacketKinds, GlobalTimestampOfTheUpperBitsIn4Or6Bytes) {
    EXPECT_EQ(Only({0xB4, 0x81, 0x80, 0x80, 0x01}), Made(PacketKind::GlobalTimeHigh, 0x200001, 0, 4, 5));
    const Packet longest = Only({0xB4, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x07});
    EXPECT_EQ(longest, Made(PacketKind::GlobalTimeHigh, 0xFFFFFFFF, 0x3F, 6, 7));
    EXPECT_EQ(ValueOf(longest), 0x3FFFFFFFFFU);
    EXPECT_EQ(Only({0xB4, 0x01}), Made(PacketKind::GlobalTimeHigh, 1, 0, 1, 2));
    EXPECT_EQ(Only({0xB4, 0x80, 0x80, 0x80, 0x80, 0x01}),
              Made(PacketKind::GlobalTimeHigh, 0x10000000, 0, 5, 6));
    EXPECT_EQ(Decode({0xB4, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0}).at(0).length, 7U);
    EXPECT_EQ(Decode({0xB4, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0}).at(0).kind, PacketKind::Malformed);
}

TEST(PacketKinds, ZerosThatAreNoSynchronisationAreMalformed) {
    for (const Bytes& bytes : {Bytes{0, 0, 0, 0, 0x80}, Bytes{0, 0, 0, 0, 0, 0, 0, 0xC6}, Bytes{0, 1}}) {
        const Packet packet = Decode(bytes).at(0);
        EXPECT_EQ(packet.kind, PacketKind::Malformed);
        EXPECT_EQ(packet.source, static_cast<uint16_t>(MalformedReason::ZerosWithoutOne));
        EXPECT_EQ(packet.length, bytes.size() - 1);
    }
}

TEST(PacketKinds, StimulusPageHoldsUntilASynchronisation) {
    const std::vector<Packet> packets = Decode({0x78, 0xF9, 0xAA, 0, 0, 0, 0, 0, 0x80, 0xF9, 0xBB});
    ASSERT_EQ(packets.size(), 4U);
    EXPECT_EQ(packets[0], Made(PacketKind::StimulusPage, 7, 0, 0, 1));
    EXPECT_EQ(packets[1], Made(PacketKind::Stimulus, 0xAA, 255, 1, 2, 0, 1));
    EXPECT_EQ(packets[3], Made(PacketKind::Stimulus, 0xBB, 31, 1, 2, 0, 9));
}

TEST(PacketKinds, Page0IsAPageAndNoLongerPacket) {
    EXPECT_THAT(Decode({0x18, 0x08, 0x01, 'a'}), ElementsAre(Made(PacketKind::StimulusPage, 1, 0, 0, 1),
                                                             Made(PacketKind::StimulusPage, 0, 0, 0, 1, 0, 1),
                                                             Made(PacketKind::Stimulus, 'a', 0, 1, 2, 0, 2)));
}

TEST(PacketKinds, ExtensionsWithoutAMeaning) {
    EXPECT_EQ(Only({0x0C}), Made(PacketKind::Extension, 0, 1, 0, 1));
    EXPECT_EQ(Only({0x7C}), Made(PacketKind::Extension, 7, 1, 0, 1));
    EXPECT_EQ(Only({0x98, 0x01}), Made(PacketKind::Extension, 1 << 3 | 1, 0, 1, 2));
    EXPECT_EQ(Only({0xFC, 0xFF, 0xFF, 0xFF, 0x7F}), Made(PacketKind::Extension, 0x7FFFFFFF, 1, 4, 5));
    EXPECT_EQ(Decode({0x88, 0xFF, 0xFF, 0xFF, 0xFF, 0}).at(0).kind, PacketKind::Malformed);
}

TEST(PacketKinds, StimulusOf1And2And4Bytes) {
    EXPECT_EQ(Only({0x01, 0x41}), Made(PacketKind::Stimulus, 0x41, 0, 1, 2));
    EXPECT_EQ(Only({0xFA, 0x34, 0x12}), Made(PacketKind::Stimulus, 0x1234, 31, 2, 3));
    EXPECT_EQ(Only({0x0B, 0x78, 0x56, 0x34, 0x92}), Made(PacketKind::Stimulus, 0x92345678, 1, 4, 5));
}

TEST(PacketKinds, EventCounters) {
    EXPECT_EQ(Only({0x05, 0x20}), Made(PacketKind::EventCounters, 0x20, 0, 1, 2));
    EXPECT_EQ(Only({0x06, 1, 2}), Made(PacketKind::UnknownHardware, 0x201, 0, 2, 3));
}

TEST(PacketKinds, ExceptionsAreEnteredLeftAndReturnedTo) {
    EXPECT_EQ(Only({0x0E, 0x0F, 0x10}), Made(PacketKind::Exception, 0x100F, 15, 2, 3, kEntered));
    EXPECT_EQ(Only({0x0E, 0xFF, 0x21}), Made(PacketKind::Exception, 0x21FF, 511, 2, 3, kExited));
    EXPECT_EQ(Only({0x0E, 0x00, 0x30}), Made(PacketKind::Exception, 0x3000, 0, 2, 3, kReturned));
    const Packet packet = Decode({0x0E, 0x0F, 0x00}).at(0);
    EXPECT_EQ(packet, Made(PacketKind::Malformed, 0x0E,
                           static_cast<uint16_t>(MalformedReason::ExceptionFunction), 3, 3));
    EXPECT_EQ(Only({0x0D, 1}), Made(PacketKind::UnknownHardware, 1, 1, 1, 2));
    EXPECT_EQ(Only({0x0F, 1, 0, 0, 0}), Made(PacketKind::UnknownHardware, 1, 1, 4, 5));
}

TEST(PacketKinds, PcSamples) {
    EXPECT_EQ(Only({0x17, 0x10, 0x02, 0x00, 0x08}), Made(PacketKind::PcSample, 0x08000210, 0, 4, 5));
    EXPECT_EQ(Only({0x15, 0x00}), Made(PacketKind::PcSleep, 0, 0, 1, 2));
    EXPECT_EQ(Only({0x15, 0xFF}), Made(PacketKind::PcProhibited, 0xFF, 0, 1, 2));
    EXPECT_EQ(Only({0x16, 1, 2}), Made(PacketKind::UnknownHardware, 0x201, 2, 2, 3));
    EXPECT_EQ(Only({0x15, 0x01}),
              Made(PacketKind::Malformed, 0x15, static_cast<uint16_t>(MalformedReason::PcByte), 2, 2));
}

TEST(PacketKinds, DataTraceOfFourComparators) {
    for (uint8_t comparator = 0; comparator < 4; ++comparator) {
        const auto header = static_cast<uint8_t>((8 + 2 * comparator) << 3 | 4);
        EXPECT_EQ(Only({static_cast<uint8_t>(header | 3), 1, 2, 3, 4}),
                  Made(PacketKind::DataPc, 0x04030201, comparator, 4, 5));
        EXPECT_EQ(Only({static_cast<uint8_t>(header + 8 + 2), 1, 2}),
                  Made(PacketKind::DataAddress, 0x0201, comparator, 2, 3));
        EXPECT_EQ(Only({static_cast<uint8_t>(header + 64 + 1), 9}),
                  Made(PacketKind::DataValue, 9, comparator, 1, 2));
        EXPECT_EQ(Only({static_cast<uint8_t>(header + 64 + 2), 9, 8}),
                  Made(PacketKind::DataValue, 0x0809, comparator, 2, 3));
        EXPECT_EQ(Only({static_cast<uint8_t>(header + 64 + 8 + 3), 9, 8, 7, 6}),
                  Made(PacketKind::DataValue, 0x06070809, comparator, 4, 5, kWrite));
    }
}

TEST(PacketKinds, WhatArmv8MAdds) {
    EXPECT_EQ(Only({0x1D, 0x81}), Made(PacketKind::PmuOverflow, 0x81, 0, 1, 2));
    EXPECT_EQ(Only({0x45, 0x01}), Made(PacketKind::DataMatch, 1, 0, 1, 2));
    EXPECT_EQ(Only({0x75, 0x01}), Made(PacketKind::DataMatch, 1, 3, 1, 2));
    EXPECT_EQ(Only({0x55, 0x20}), Made(PacketKind::DataPc, 0x20, 1, 1, 2));
    EXPECT_EQ(Only({0x55, 0x03}), Made(PacketKind::UnknownHardware, 3, 10, 1, 2));
    EXPECT_EQ(Only({0x46, 0x20, 0x01}), Made(PacketKind::DataPc, 0x120, 0, 2, 3));
    EXPECT_EQ(Only({0x4D, 0x20}), Made(PacketKind::DataAddress, 0x20, 0, 1, 2));
    EXPECT_EQ(Only({0x7F, 1, 2, 3, 4}), Made(PacketKind::DataAddress, 0x04030201, 3, 4, 5));
    EXPECT_EQ(Only({0x1E, 1, 2}), Made(PacketKind::UnknownHardware, 0x201, 3, 2, 3));
}

TEST(PacketKinds, Armv7MDoesNotHaveIt) {
    const auto v7m = Architecture::Armv7M;
    EXPECT_EQ(Only({0x1D, 0x81}, v7m), Made(PacketKind::UnknownHardware, 0x81, 3, 1, 2));
    EXPECT_EQ(Only({0x45, 0x01}, v7m), Made(PacketKind::UnknownHardware, 1, 8, 1, 2));
    EXPECT_EQ(Only({0x56, 0x20, 1}, v7m), Made(PacketKind::UnknownHardware, 0x120, 10, 2, 3));
    EXPECT_EQ(Only({0x4D, 0x20}, v7m), Made(PacketKind::UnknownHardware, 0x20, 9, 1, 2));
    EXPECT_EQ(Only({0x4F, 1, 0, 0, 0}, v7m), Made(PacketKind::UnknownHardware, 1, 9, 4, 5));
    EXPECT_EQ(Only({0x15, 0x00}, v7m), Made(PacketKind::PcSleep, 0, 0, 1, 2));
    EXPECT_EQ(Only({0x15, 0xFF}, v7m).kind, PacketKind::Malformed);
    EXPECT_EQ(Only({0x47, 1, 0, 0, 0}, v7m), Made(PacketKind::DataPc, 1, 0, 4, 5));
    EXPECT_EQ(Only({0x15, 0xFF}, Architecture::Armv8M).kind, PacketKind::PcProhibited);
}

TEST(PacketKinds, HardwareSourcesWithoutAMeaningKeepStep) {
    for (unsigned discriminator = 4; discriminator < 32; ++discriminator) {
        if (discriminator >= 8 && discriminator < 24) continue;
        const auto header = static_cast<uint8_t>(discriminator << 3 | 4);
        EXPECT_THAT(
            Decode({static_cast<uint8_t>(header | 2), 1, 2, 0x70}),
            ElementsAre(Made(PacketKind::UnknownHardware, 0x201, static_cast<uint16_t>(discriminator), 2, 3),
                        Made(PacketKind::Overflow, 0, 0, 0, 1, 0, 3)));
    }
}

TEST(PacketKinds, ReservedHeadersLoseStep) {
    for (unsigned header = 4; header < 256; header += 16) {
        if (header == 0x94 || header == 0xB4) continue;
        const std::vector<Packet> packets = Decode({static_cast<uint8_t>(header), 0x70});
        EXPECT_THAT(packets, ElementsAre(Made(PacketKind::Reserved, header, 0, 1, 1),
                                         Made(PacketKind::Unsynchronised, 0, 0, 1, 1, 0, 1)));
    }
}

TEST(PacketKinds, HaveTheNamesOfReports) {
    std::string names;
    for (int kind = 0; kind < kPacketKinds; ++kind) {
        names += std::string(KindName(static_cast<PacketKind>(kind))) + " ";
    }
    EXPECT_EQ(
        names,
        "sync overflow local-time global-time-low global-time-high page extension stimulus event-counters "
        "exception pc-sample pc-sleep pc-prohibited pmu-overflow data-match data-pc data-address data-value "
        "unknown-hardware reserved malformed unsynchronised truncated-end ");
}

TEST(PacketKinds, ComeInClasses) {
    EXPECT_TRUE(IsByteRun(PacketKind::Sync));
    EXPECT_TRUE(IsByteRun(PacketKind::Reserved));
    EXPECT_TRUE(IsByteRun(PacketKind::TruncatedEnd));
    EXPECT_FALSE(IsByteRun(PacketKind::Overflow));
    EXPECT_FALSE(IsByteRun(PacketKind::UnknownHardware));
    EXPECT_FALSE(IsDamage(PacketKind::UnknownHardware));
    EXPECT_TRUE(IsDamage(PacketKind::Reserved));
    EXPECT_TRUE(IsAssigned(PacketKind::DataValue));
    EXPECT_FALSE(IsAssigned(PacketKind::UnknownHardware));
    EXPECT_FALSE(IsAssigned(PacketKind::Extension));
}

}  // namespace
}  // namespace Korr::Plim::Trace::Swo
