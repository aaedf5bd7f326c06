#include "channel/channel_status.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host_api/target_states.h"

namespace Korr::Plim::Trace::Tarnel {
namespace {

using testing::ElementsAre;

StatusRecord Describe(uint32_t state) {
    StatusRecord record;
    DescribeState(state, record);
    return record;
}

TEST(ChannelStatus, CreatedAndCalibratingAreTheSameToTheHost) {
    for (const uint32_t state : {0U, 1U}) {
        const StatusRecord record = Describe(state);
        EXPECT_EQ(record.code, 1U);
        EXPECT_EQ(record.text, "Calibrating ...");
        EXPECT_THAT(record.flags, ElementsAre(0, 0, 0, 0, 0));
    }
}

TEST(ChannelStatus, ConfiguredIsReadyToRecord) {
    const StatusRecord record = Describe(2);
    EXPECT_EQ(record.code, 16U);
    EXPECT_EQ(record.text, "Ready to record");
    EXPECT_THAT(record.flags, ElementsAre(1, 1, 0, 0, 0));
}

TEST(ChannelStatus, RecordingSetsFlagsZeroAndThree) {
    const StatusRecord record = Describe(3);
    EXPECT_EQ(record.code, 6U);
    EXPECT_EQ(record.text, "Recording");
    EXPECT_THAT(record.flags, ElementsAre(1, 0, 0, 1, 0));
}

TEST(ChannelStatus, StoppedByErrorHasItsTextAlthoughNothingEntersIt) {
    const StatusRecord record = Describe(4);
    EXPECT_EQ(record.code, 10U);
    EXPECT_EQ(record.text, "Stopped by error");
    EXPECT_THAT(record.flags, ElementsAre(1, 1, 0, 0, 1));
}

TEST(ChannelStatus, StoppedByUserSetsFlagsZeroOneAndFour) {
    const StatusRecord record = Describe(5);
    EXPECT_EQ(record.code, 11U);
    EXPECT_EQ(record.text, "Stopped by user");
    EXPECT_THAT(record.flags, ElementsAre(1, 1, 0, 0, 1));
}

TEST(ChannelStatus, AnUnknownStateChangesNothing) {
    StatusRecord record;
    record.text = "before";
    DescribeState(6, record);
    EXPECT_EQ(record.code, 0U);
    EXPECT_EQ(record.text, "before");
    EXPECT_THAT(record.flags, ElementsAre(0, 0, 0, 0, 0));
}

TEST(TargetStates, OfTheHostAreTwoEachForNoConnectionRunningAndHalted) {
    for (const uint32_t state : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 9U, 0xFFFFFFFFU}) {
        EXPECT_EQ(IsTargetDisconnected(state), state == 3 || state == 4) << state;
        EXPECT_EQ(IsTargetStarted(state), state == 5 || state == 6) << state;
        EXPECT_EQ(IsTargetHalted(state), state == 7 || state == 8) << state;
    }
    EXPECT_EQ(kTargetRunning, 6U);
}

}  // namespace
}  // namespace Korr::Plim::Trace::Tarnel
