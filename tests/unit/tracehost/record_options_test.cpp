#include "tracehost/record_options.h"

#include <gtest/gtest.h>

#include "tracehost/errors.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

using namespace Tarnel;

/// The options of a default list, without asking for the ports of this machine.
OptionList Defaults(const std::string& port) {
    OptionList options;
    for (uint32_t id = 0; id < kOptionNone; ++id) {
        ChannelOptions option;
        option.id = id;
        option.key = OptionTable()[id].key;
        option.value = id == kOptionComPort ? port : "default";
        options.push_back(option);
    }
    return options;
}

OptionList Applied(const RecordRequest& request, const std::string& discovered = "5") {
    OptionList options = Defaults(discovered);
    ApplyRequest(options, request);
    return options;
}

TEST(RecordOptions, AutomaticSettingsLeaveTheValuesAlone) {
    const OptionList options = Applied({});
    EXPECT_EQ(options[kOptionFirmwareVersion].value, "firmware 1.0.0.8");
    EXPECT_EQ(options[kOptionPrescaler].value, "Auto");
    EXPECT_EQ(options[kOptionPrescalerValue].value, "default");
    EXPECT_EQ(options[kOptionClock].value, "Auto");
    EXPECT_EQ(options[kOptionClockValue].value, "default");
    EXPECT_EQ(options[kOptionComPort].value, "5");
    EXPECT_EQ(options[kOptionTimestampPrescaler].value, "4");
}

TEST(RecordOptions, GivenSettingsAreManual) {
    RecordRequest request;
    request.port = 12;
    request.clock = 48e6;
    request.prescaler = 23;
    request.timestampPrescale = 64;
    const OptionList options = Applied(request);
    EXPECT_EQ(options[kOptionPrescaler].value, "Manual");
    EXPECT_EQ(options[kOptionPrescalerValue].value, "23");
    EXPECT_EQ(options[kOptionClock].value, "Manual");
    EXPECT_EQ(options[kOptionClockValue].value, "48000000");
    EXPECT_EQ(options[kOptionComPort].value, "12");
    EXPECT_EQ(options[kOptionTimestampPrescaler].value, "64");
}

TEST(RecordOptions, MissingPortIsRefused) { EXPECT_THROW(Applied({}, ""), UsageError); }

TEST(RecordOptions, ClockIsWrittenExactly) {
    RecordRequest request;
    for (const auto& [hertz, text] : std::initializer_list<std::pair<double, const char*>>{
             {16777216, "16777216"}, {1152000.5, "1152000.5"}, {4e9, "4000000000"}}) {
        request.clock = hertz;
        EXPECT_EQ(Applied(request)[kOptionClockValue].value, text);
    }
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tracehost
