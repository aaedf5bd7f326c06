#include "trace/port_values.h"

#include <gtest/gtest.h>

#include <cmath>

namespace Korr::Plim::Trace::Swo {

namespace {

std::optional<double> Number(PortType type, uint8_t size, uint32_t value) {
    Packet packet{};
    packet.kind = PacketKind::Stimulus;
    packet.size = size;
    packet.value = value;
    return NumberOf(packet, type);
}

TEST(PortValues, AreTheLowestBytesAsTheTypeHasThem) {
    EXPECT_EQ(Number(PortType::U8, 4, 0x1234FFFE), 0xFE);
    EXPECT_EQ(Number(PortType::I8, 1, 0xFE), -2);
    EXPECT_EQ(Number(PortType::I8, 4, 0xFFFFFF7F), 127);
    EXPECT_EQ(Number(PortType::U16, 4, 0x1234FFFE), 0xFFFE);
    EXPECT_EQ(Number(PortType::I16, 2, 0x8000), -32768);
    EXPECT_EQ(Number(PortType::U32, 4, 0xFFFFFFFF), 4294967295.0);
    EXPECT_EQ(Number(PortType::I32, 4, 0xFFFFFFFF), -1);
    EXPECT_EQ(Number(PortType::I32, 4, 0x80000000), -2147483648.0);
    EXPECT_EQ(Number(PortType::F32, 4, 0x3FC00000), 1.5);
    EXPECT_EQ(Number(PortType::F32, 4, 0xFF800000), -INFINITY);
    EXPECT_TRUE(std::isnan(*Number(PortType::F32, 4, 0x7FC00000)));
}

TEST(PortValues, ShortWritesAreNumbersOfUnsignedTypesAlone) {
    EXPECT_EQ(Number(PortType::U16, 1, 0xFE), 0xFE);
    EXPECT_EQ(Number(PortType::U32, 2, 0xFFFE), 0xFFFE);
    EXPECT_EQ(Number(PortType::I16, 1, 0xFE), std::nullopt);
    EXPECT_EQ(Number(PortType::I32, 2, 0xFFFE), std::nullopt);
    EXPECT_EQ(Number(PortType::F32, 2, 0x3FC0), std::nullopt);
    EXPECT_EQ(Number(PortType::Text, 4, 0x41), std::nullopt);
}

}  // namespace

}  // namespace Korr::Plim::Trace::Swo
