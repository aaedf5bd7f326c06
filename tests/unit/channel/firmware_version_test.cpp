#include "channel/firmware_version.h"

#include <gtest/gtest.h>

namespace Korr::Plim::Trace::Tarnel {
namespace {

TEST(FirmwareVersion, AWordABlankAndADottedNumberIsPacked) {
    EXPECT_EQ(ParseFirmwareVersion("fw 1.0.0.5"), 0x01000005U);
    EXPECT_EQ(ParseFirmwareVersion("fw 1.2.3.4"), 0x01020304U);
    EXPECT_EQ(ParseFirmwareVersion("fw 255.255.255.255"), 0xFFFFFFFFU);
}

TEST(FirmwareVersion, TheLastBlankBeforeTheFirstPointCounts) {
    EXPECT_EQ(ParseFirmwareVersion("probe firmware 1.0.0.8"), 0x01000008U);
    EXPECT_EQ(ParseFirmwareVersion("fw 1.0.0.8 beta 2.0"), 0x01000008U);
}

TEST(FirmwareVersion, WithoutABlankTheFirstCharacterIsLost) {
    EXPECT_EQ(ParseFirmwareVersion("1.0.0.5"), 0x00000005U);
    EXPECT_EQ(ParseFirmwareVersion("v1.0.0.5"), 0x01000005U);
    EXPECT_EQ(ParseFirmwareVersion("12.0.0.5"), 0x02000005U);
    EXPECT_EQ(ParseFirmwareVersion(" 1.0.0.5"), 0x01000005U);
}

TEST(FirmwareVersion, APointAtTheStartIsTheCharacterThatIsLost) {
    EXPECT_EQ(ParseFirmwareVersion(".1.0.0.5"), 0x01000005U);
    EXPECT_EQ(ParseFirmwareVersion("."), 0U);
}

TEST(FirmwareVersion, FewerThanThreePointsGiveZero) {
    EXPECT_EQ(ParseFirmwareVersion(""), 0U);
    EXPECT_EQ(ParseFirmwareVersion("fw 1"), 0U);
    EXPECT_EQ(ParseFirmwareVersion("fw 1.0"), 0U);
    EXPECT_EQ(ParseFirmwareVersion("fw 1.0.5"), 0U);
}

TEST(FirmwareVersion, AnEmptyNumberIsZero) {
    EXPECT_EQ(ParseFirmwareVersion("fw 1..5.6"), 0x01000506U);
    EXPECT_EQ(ParseFirmwareVersion("fw 1.2..6"), 0x01020006U);
    EXPECT_EQ(ParseFirmwareVersion("fw 1.2.3."), 0x01020300U);
    EXPECT_EQ(ParseFirmwareVersion("fw .2.3.4"), 0x00020304U);
}

TEST(FirmwareVersion, TheRestAfterTheThirdPointIsOneNumber) {
    EXPECT_EQ(ParseFirmwareVersion("fw 1.0.0.5.9"), 0x01000005U);
}

TEST(FirmwareVersion, NumbersBeyondAByteSpillIn32Bits) {
    EXPECT_EQ(ParseFirmwareVersion("fw 1.256.0.5"), 0x01000005U);
    EXPECT_EQ(ParseFirmwareVersion("fw 0.256.0.5"), 0x01000005U);
    EXPECT_EQ(ParseFirmwareVersion("fw 256.0.0.5"), 0x00000005U);
    EXPECT_EQ(ParseFirmwareVersion("fw 0.0.0.-1"), 0xFFFFFFFFU);
    EXPECT_EQ(ParseFirmwareVersion("fw 0.0.0.99999999999"), 0x7FFFFFFFU);
}

}  // namespace
}  // namespace Korr::Plim::Trace::Tarnel
