#include "options/ChannelOptions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/scripted_port_devices.h"

namespace Korr::Plim::Trace::Tarnel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

OptionDescriptor RowWithChoices(uint32_t id, const char* choices) {
    return {id, 1, kOptionEncoding, "KEY", "label", "group", choices, true, 5, true, 0};
}

class ChannelOptionsFromRow : public testing::Test {
  protected:
    void SetUp() override { PortDevicesScript() = {}; }
    static void Plug(const std::string& name) { PortDevicesScript().devices.push_back({name}); }
};

TEST(ChannelOptionsDefault, HasEmptyTextsAndNoChoices) {
    const ChannelOptions option;
    EXPECT_EQ(option.id, kOptionNone);
    EXPECT_THAT(option.choices, IsEmpty());
    EXPECT_EQ(option.key + option.label + option.value + option.group, "");
}

TEST_F(ChannelOptionsFromRow, CopiesEveryField) {
    const ChannelOptions option(RowWithChoices(3, "first"));
    EXPECT_EQ(option.id, 3u);
    EXPECT_EQ(option.parentId, kOptionEncoding);
    EXPECT_EQ(option.key, "KEY");
    EXPECT_EQ(option.label, "label");
    EXPECT_EQ(option.group, "group");
    EXPECT_EQ(option.kind, 5u);
    EXPECT_TRUE(option.extraFlag1);
    EXPECT_TRUE(option.extraFlag2);
    EXPECT_TRUE(option.hostFlag);
    EXPECT_EQ(option.probeKind, 0u);
    EXPECT_EQ(option.value, "first");
}

TEST_F(ChannelOptionsFromRow, CopyKeepsEveryField) {
    const ChannelOptions option(RowWithChoices(3, "first,second"));
    ChannelOptions copy;
    copy = option;
    EXPECT_EQ(copy.id, 3u);
    EXPECT_EQ(copy.parentId, option.parentId);
    EXPECT_EQ(copy.key, option.key);
    EXPECT_EQ(copy.label, option.label);
    EXPECT_EQ(copy.group, option.group);
    EXPECT_EQ(copy.choices, option.choices);
    EXPECT_EQ(copy.value, option.value);
    EXPECT_EQ(copy.kind, option.kind);
    EXPECT_EQ(copy.probeKind, option.probeKind);
    EXPECT_TRUE(copy.extraFlag1 && copy.extraFlag2 && copy.hostFlag);
}

TEST_F(ChannelOptionsFromRow, EmptyChoicesGiveOneEmptyEntry) {
    EXPECT_THAT(ChannelOptions(RowWithChoices(0, "")).choices, ElementsAre(""));
}

TEST_F(ChannelOptionsFromRow, ChoicesAreSplitAtEveryComma) {
    EXPECT_THAT(ChannelOptions(RowWithChoices(0, "a,b c,d")).choices, ElementsAre("a", "b c", "d"));
    EXPECT_THAT(ChannelOptions(RowWithChoices(0, "a,,b")).choices, ElementsAre("a", "", "b"));
    EXPECT_THAT(ChannelOptions(RowWithChoices(0, "a,")).choices, ElementsAre("a", ""));
    EXPECT_THAT(ChannelOptions(RowWithChoices(0, ",")).choices, ElementsAre("", ""));
}

TEST_F(ChannelOptionsFromRow, ValueIsTheFirstChoice) {
    EXPECT_EQ(ChannelOptions(RowWithChoices(2, "Auto,Manual")).value, "Auto");
}

TEST_F(ChannelOptionsFromRow, TimestampPrescalerTakesTheSecondChoice) {
    EXPECT_EQ(ChannelOptions(OptionTable()[kOptionTimestampPrescaler]).value, "4");
    EXPECT_EQ(ChannelOptions(RowWithChoices(kOptionTimestampPrescaler, "1")).value, "1");
}

TEST_F(ChannelOptionsFromRow, ComPortWithoutPortsHasOneEmptyChoice) {
    const ChannelOptions option(OptionTable()[kOptionComPort]);
    EXPECT_THAT(option.choices, ElementsAre(""));
    EXPECT_EQ(option.value, "");
}

TEST_F(ChannelOptionsFromRow, ComPortOffersTheDiscoveredPorts) {
    Plug("Brantor Serial Port (COM12)");
    Plug("Quiller Class Auxiliary Data Port (COM3)");
    OptionDescriptor row = OptionTable()[kOptionComPort];
    row.probeKind = 2;
    const ChannelOptions option(row);
    EXPECT_THAT(option.choices, ElementsAre("3", "12"));
    EXPECT_EQ(option.value, "3");
}

TEST_F(ChannelOptionsFromRow, ComPortAsksForTheRowsProbeKind) {
    Plug("Brantor Serial Port (COM12)");
    Plug("Quiller Class Auxiliary Data Port (COM3)");
    OptionDescriptor row = OptionTable()[kOptionComPort];
    row.probeKind = 0;
    EXPECT_THAT(ChannelOptions(row).choices, ElementsAre("12"));
}

TEST_F(ChannelOptionsFromRow, ComPortWithFixedChoicesRunsNoDiscovery) {
    EXPECT_EQ(ChannelOptions(RowWithChoices(kOptionComPort, "7,8")).value, "7");
    EXPECT_EQ(PortDevicesScript().listings, 0u);
}

TEST_F(ChannelOptionsFromRow, OtherOptionsRunNoDiscovery) {
    for (uint32_t id = 0; id < kOptionNone; ++id) {
        if (id != kOptionComPort) ChannelOptions option(OptionTable()[id]);
    }
    EXPECT_EQ(PortDevicesScript().listings, 0u);
}

}  // namespace
}  // namespace Korr::Plim::Trace::Tarnel
