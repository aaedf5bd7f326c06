#include "channel/itm_setup.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/log_lines.h"

namespace channel_tests {
namespace {

using namespace Korr::Plim::Trace::Tarnel;
using support::LogLines;
using support::TraceFolder;
using testing::ElementsAre;

class ItmSetup : public testing::Test {
  protected:
    ItmTypes Read(const std::string& content) {
        TraceFolder::WriteFile(file, content);
        return ReadItmTypes(file);
    }
    std::string Opened() const {
        return "M Tarnel_ChannelDriver: Opened file (" + file + ") to get ITM channel setup.";
    }
    static std::string OutOfOrder(const std::string& read, const std::string& expected) {
        return "E Tarnel_ChannelDriver: Read channel number " + read +
               " instead of expected channel number " + expected;
    }

    const std::string file = TraceFolder::Instance().Path("itm.ini");
    LogLines log;
};

/// All entries -1 but those given from channel 0 on.
ItmTypes From(std::initializer_list<int32_t> first) {
    ItmTypes types;
    types.fill(-1);
    std::copy(first.begin(), first.end(), types.begin());
    return types;
}

TEST_F(ItmSetup, WithoutTheFileTheLegacyMappingHolds) {
    const std::string missing = TraceFolder::Instance().Path("no such file.ini");
    ItmTypes legacy{};
    legacy[0] = 1;
    EXPECT_EQ(ReadItmTypes(missing), legacy);
    EXPECT_THAT(log.Get(), ElementsAre("M Tarnel_ChannelDriver: Could not find/open file (" + missing +
                                       ") to get ITM channel setup. Setting up legacy mapping."));
}

TEST_F(ItmSetup, UnreadableFileGivesTheLegacyMapping) {
    const std::string folder = TraceFolder::Instance().Path("folder.ini");
    std::filesystem::create_directory(folder);
    ItmTypes legacy{};
    legacy[0] = 1;
    EXPECT_EQ(ReadItmTypes(folder), legacy);
    EXPECT_THAT(log.Get(), ElementsAre("M Tarnel_ChannelDriver: Could not find/open file (" + folder +
                                       ") to get ITM channel setup. Setting up legacy mapping."));
    std::filesystem::remove(folder);
}

TEST_F(ItmSetup, LinesInOrderAreTaken) {
    EXPECT_EQ(Read("ITMChannel_0=1\nITMChannel_1=0\nITMChannel_2=7\n"), From({1, 0, 7}));
    EXPECT_THAT(log.Get(), ElementsAre(Opened()));
}

TEST_F(ItmSetup, ALineOutOfOrderIsLoggedAndSkipped) {
    EXPECT_EQ(Read("x_0=1\nx_2=1\nx_1=1\n"), From({1, 1}));
    EXPECT_THAT(log.Get(), ElementsAre(Opened(), OutOfOrder("2", "1")));
}

TEST_F(ItmSetup, LinesThatNeverCarryTheExpectedNumberAreAllSkipped) {
    EXPECT_EQ(Read("x_1=1\nx_2=1\nx_-1=1\n"), From({}));
    EXPECT_THAT(log.Get(),
                ElementsAre(Opened(), OutOfOrder("1", "0"), OutOfOrder("2", "0"), OutOfOrder("-1", "0")));
}

TEST_F(ItmSetup, AnyTypeIsStored) { EXPECT_EQ(Read("x_0=2\nx_1=-3\nx_2=junk\n"), From({2, -3, 0})); }

TEST_F(ItmSetup, AnEmptyFileSetsNothing) {
    EXPECT_EQ(Read(""), From({}));
    EXPECT_THAT(log.Get(), ElementsAre(Opened()));
}

TEST_F(ItmSetup, AnEmptyLineIsChannelZeroOfTypeZero) {
    EXPECT_EQ(Read("\nx_1=1\n"), From({0, 1}));
    EXPECT_THAT(log.Get(), ElementsAre(Opened()));
}

TEST_F(ItmSetup, TheLastLineNeedsNoLineEnd) { EXPECT_EQ(Read("x_0=1\nx_1=5"), From({1, 5})); }

TEST_F(ItmSetup, LinesMayEndInCarriageReturnAndLineFeed) {
    EXPECT_EQ(Read("x_0=1\r\nx_1=2\r\n\r\n"), From({1, 2}));
    EXPECT_THAT(log.Get(), ElementsAre(Opened(), OutOfOrder("0", "2")));
}

TEST_F(ItmSetup, TheKeyEndsAtTheFirstEqualsSign) {
    EXPECT_EQ(ParseItmLine("a_3=1=2").channel, 3);
    EXPECT_EQ(ParseItmLine("a_3=1=2").type, 1);
    EXPECT_EQ(ParseItmLine("=x_7").channel, 0);
    EXPECT_EQ(ParseItmLine("=x_7").type, 0);
}

TEST_F(ItmSetup, TheChannelStandsAfterTheFirstUnderscoreOfTheKey) {
    EXPECT_EQ(ParseItmLine("ITM_Channel_3=1").channel, 0);
    EXPECT_EQ(ParseItmLine("_ 12 x=1").channel, 12);
    EXPECT_EQ(ParseItmLine("4=1_9").channel, 4);
    EXPECT_EQ(ParseItmLine("4=1_9").type, 1);
}

TEST_F(ItmSetup, ALineWithoutEqualsSignIsBothKeyAndValue) {
    EXPECT_EQ(ParseItmLine("12").channel, 12);
    EXPECT_EQ(ParseItmLine("12").type, 12);
    EXPECT_EQ(ParseItmLine("7_3").channel, 3);
    EXPECT_EQ(ParseItmLine("7_3").type, 7);
}

TEST_F(ItmSetup, NumbersBeyondTheRangeAreBounded) {
    EXPECT_EQ(Read("x_99999999999=1\nx_0=99999999999\n"), From({2147483647}));
    EXPECT_THAT(log.Get(), ElementsAre(Opened(), OutOfOrder("2147483647", "0")));
}

TEST_F(ItmSetup, LinesForChannels32AndAboveSetNothing) {
    std::string content;
    for (int channel = 0; channel < 40; ++channel) {
        content += "x_" + std::to_string(channel) + "=" + std::to_string(100 + channel) + "\n";
    }
    const ItmTypes types = Read(content + "x_5=1\n");
    for (int32_t channel = 0; channel < 32; ++channel) {
        EXPECT_EQ(types[static_cast<std::size_t>(channel)], 100 + channel);
    }
    EXPECT_THAT(log.Get(), ElementsAre(Opened(), OutOfOrder("5", "40")));
}

TEST_F(ItmSetup, LongLinesAreTaken) {
    const std::string longKey(1 << 19, 'k');
    EXPECT_EQ(Read(longKey + "_0=1\n" + longKey + "_1=1" + longKey + "\nx_2=" + longKey + "\n"),
              From({1, 1, 0}));
    EXPECT_THAT(log.Get(), ElementsAre(Opened()));
}

TEST_F(ItmSetup, WhatFollowsTheFirstMegabyteOfALineIsIgnored) {
    const std::string longKey(1 << 20, 'k');
    EXPECT_EQ(Read(longKey + "_1=1\nx_1=1\n"), From({0, 1}));
}

TEST_F(ItmSetup, ALineMayCrossTheBlocksOfTheReader) {
    for (const std::size_t filling : {4090U, 4091U, 4092U, 4093U, 4094U, 4095U, 4096U, 4097U}) {
        EXPECT_EQ(Read(std::string(filling, 'k') + "_0=1\nx_1=6\n"), From({1, 6})) << filling;
    }
}

TEST_F(ItmSetup, NulBytesEndTheNumberAndNotTheLine) {
    using namespace std::string_literals;
    EXPECT_EQ(Read("x_0\0junk=1\0junk\nx\0_1=3\n\0\n"s), From({1, 3}));
    EXPECT_THAT(log.Get(), ElementsAre(Opened(), OutOfOrder("0", "2")));
}

TEST_F(ItmSetup, GlintarClassesTenAndTwelveHaveTheirOwnExceptionMap) {
    EXPECT_STREQ(GlintarExceptionMap(10), "MOD_EXCEPTIONMAP_129");
    EXPECT_STREQ(GlintarExceptionMap(12), "MOD_EXCEPTIONMAP_129");
    for (const uint32_t other : {0U, 5U, 9U, 11U, 13U, 255U}) {
        EXPECT_STREQ(GlintarExceptionMap(other), "MOD_EXCEPTIONMAP_123");
    }
}

}  // namespace
}  // namespace channel_tests
