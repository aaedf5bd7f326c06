// Every kind of packet, with the bytes written down from the architecture's description.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/trace/packet_log.h"

namespace Korr::Plim::Trace::Swo {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

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

}  // namespace
}  // namespace Korr::Plim::Trace::Swo
