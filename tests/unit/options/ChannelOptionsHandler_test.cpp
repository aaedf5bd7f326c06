#include "options/ChannelOptionsHandler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host_api/cPelkitError.h"
#include "source_utilities/file_system.h"
#include "tests/fakes/scripted_port_devices.h"
#include "tests/unit/options/options_test_support.h"

namespace Korr::Plim::Trace::Tarnel {
namespace {

using testing::ElementsAre;

class ChannelOptionsHandlerTest : public testing::Test {
  protected:
    void SetUp() override { PortDevicesScript() = {}; }
    static void Plug(const std::string& name) { PortDevicesScript().devices.push_back({name}); }

    OptionList Defaults(uint32_t probeKind = 2) {
        OptionList options;
        handler.GetOptions(options, "", probeKind);
        return options;
    }

    ChannelOptionsHandler handler;
};

std::vector<std::string> Values(const OptionList& options) {
    std::vector<std::string> values;
    for (const ChannelOptions& option : options) values.push_back(option.value);
    return values;
}

TEST_F(ChannelOptionsHandlerTest, DefaultsAreTheEightOptionsInOrder) {
    const OptionList options = Defaults();
    ASSERT_EQ(options.size(), 8u);
    for (uint32_t id = 0; id < 8; ++id) EXPECT_EQ(options[id].id, id);
}

TEST_F(ChannelOptionsHandlerTest, DefaultValuesWithoutPorts) {
    EXPECT_THAT(Values(Defaults()),
                ElementsAre("", "UART", "Auto", "Prescalar value", "Auto", "Frequency in Hz", "", "4"));
    EXPECT_THAT(Defaults()[kOptionComPort].choices, ElementsAre(""));
}

TEST_F(ChannelOptionsHandlerTest, DefaultComPortIsTheFirstDiscoveredOne) {
    Plug("Brantor Serial Port (COM12)");
    Plug("Brantor Serial Port (COM3)");
    const OptionList options = Defaults(0);
    EXPECT_EQ(options[kOptionComPort].value, "3");
    EXPECT_THAT(options[kOptionComPort].choices, ElementsAre("3", "12"));
}

TEST_F(ChannelOptionsHandlerTest, GetOptionsReturnsItsList) {
    OptionList options;
    EXPECT_EQ(&handler.GetOptions(options, "", 2), &options);
    TemporaryFile file(FileWith("<ENCTYPE>UART</ENCTYPE>"));
    EXPECT_EQ(&handler.GetOptions(options, file.Name(), 2), &options);
}

TEST_F(ChannelOptionsHandlerTest, DefaultsReplaceWhatTheListHeld) {
    OptionList options(3);
    handler.GetOptions(options, "", 2);
    EXPECT_EQ(options.size(), 8u);
}

TEST_F(ChannelOptionsHandlerTest, ProbeKindReachesAllNineRowsAndEveryOption) {
    for (const uint32_t kind : {0u, 1u, 7u, 2u}) {
        ChannelOptionsHandler fresh;
        OptionList options;
        fresh.GetOptions(options, "", kind);
        for (uint32_t row = 0; row < kOptionRows; ++row) EXPECT_EQ(OptionTable()[row].probeKind, kind);
        for (const ChannelOptions& option : options) EXPECT_EQ(option.probeKind, kind);
    }
}

TEST_F(ChannelOptionsHandlerTest, ProbeKindReachesTheRowsAlsoWhenAFileIsRead) {
    TemporaryFile file(FileWith("<ENCTYPE>UART</ENCTYPE>"));
    OptionList options;
    handler.GetOptions(options, file.Name(), 1);
    for (uint32_t row = 0; row < kOptionRows; ++row) EXPECT_EQ(OptionTable()[row].probeKind, 1u);
    EXPECT_EQ(options.at(0).probeKind, 1u);
    EXPECT_THROW(handler.GetOptions(options, "no such file.xml", 0), cPelkitError);
    EXPECT_EQ(OptionTable()[8].probeKind, 0u);
}

TEST_F(ChannelOptionsHandlerTest, CachedDefaultsAreNotRefreshed) {
    Plug("Brantor Serial Port (COM3)");
    Defaults(2);
    Plug("Brantor Serial Port (COM1)");
    const OptionList again = Defaults(1);
    EXPECT_EQ(again[kOptionComPort].value, "3");
    EXPECT_EQ(again[kOptionComPort].probeKind, 2u);
    EXPECT_EQ(PortDevicesScript().listings, 1u);
}

TEST_F(ChannelOptionsHandlerTest, ChangingTheReturnedListLeavesTheCacheAlone) {
    OptionList options;
    handler.GetOptions(options, "", 2)[1].value = "changed";
    EXPECT_EQ(Defaults()[1].value, "UART");
}

TEST_F(ChannelOptionsHandlerTest, ReadingAFileDoesNotFillTheCache) {
    TemporaryFile file(FileWith("<ENCTYPE>Other</ENCTYPE>"));
    OptionList options;
    handler.GetOptions(options, file.Name(), 2);
    EXPECT_EQ(Defaults().size(), 8u);
    EXPECT_EQ(Defaults()[1].value, "UART");
}

TEST_F(ChannelOptionsHandlerTest, FreshHandlersDiscoverAgain) {
    Defaults();
    Plug("Brantor Serial Port (COM3)");
    OptionList options;
    ChannelOptionsHandler().GetOptions(options, "", 2);
    EXPECT_EQ(options[kOptionComPort].value, "3");
}

TEST_F(ChannelOptionsHandlerTest, FailureLeavesTheCallersListUntouched) {
    OptionList options = Defaults();
    options[1].value = "mine";
    EXPECT_THROW(handler.GetOptions(options, "no such file.xml", 2), cPelkitError);
    ASSERT_EQ(options.size(), 8u);
    EXPECT_EQ(options[1].value, "mine");
}

// Saving

/// The text as the platform's text mode puts it on the disk.
std::string LineEnds(std::string text) {
    if (KORR_PLIM::platform::PathSeparator() != '\\') return text;
    for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2) {
        text.insert(at, 1, '\r');
    }
    return text;
}

TEST_F(ChannelOptionsHandlerTest, SavedDefaultsAreTheDocumentedBytes) {
    TemporaryFile file;
    handler.SaveOptions(Defaults(), file.Name());
    EXPECT_EQ(
        file.Contents(),
        LineEnds("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                 "<!-- This file defines how SWO Trace Control is available for a given configuration. -->\n"
                 "<CHANNEL-SETUP>\n"
                 "\t<VERSION version=\"1.1.0.0\" Copyright=\"Copyright the Tarnel authors\"></VERSION>\n"
                 "\t<RCVRNAME>SWO Trace</RCVRNAME>\n"
                 "\t<RCVRFWVER></RCVRFWVER>\n"
                 "\t<ENCTYPE>UART</ENCTYPE>\n"
                 "\t<PRESCALAR>Auto</PRESCALAR>\n"
                 "\t<PRESCALARVAL>Prescalar value</PRESCALARVAL>\n"
                 "\t<CLKFREQ>Auto</CLKFREQ>\n"
                 "\t<CLKFREQVAL>Frequency in Hz</CLKFREQVAL>\n"
                 "\t<COMPORT></COMPORT>\n"
                 "\t<TSPRESCALAR>4</TSPRESCALAR>\n"
                 "</CHANNEL-SETUP>\n"));
}

TEST_F(ChannelOptionsHandlerTest, ValuesAndKeysAreWrittenUnescapedInListOrder) {
    OptionList options(2);
    options[0].key = "B&";
    options[0].value = "<&>\"'";
    options[1].key = "A";
    TemporaryFile file;
    handler.SaveOptions(options, file.Name());
    EXPECT_THAT(file.Contents(),
                testing::EndsWith(LineEnds("\t<B&><&>\"'</B&>\n\t<A></A>\n</CHANNEL-SETUP>\n")));
}

TEST_F(ChannelOptionsHandlerTest, SavingReplacesWhatTheFileHeld) {
    TemporaryFile file(std::string(10000, 'x'));
    handler.SaveOptions(Defaults(), file.Name());
    EXPECT_EQ(file.Contents().find('x'), std::string("<?").size());
}

TEST_F(ChannelOptionsHandlerTest, SavedDefaultsReadBackTheSame) {
    Plug("Brantor Serial Port (COM12)");
    const OptionList saved = Defaults();
    TemporaryFile file;
    handler.SaveOptions(saved, file.Name());
    OptionList read;
    handler.GetOptions(read, file.Name(), 2);
    ASSERT_EQ(read.size(), 8u);
    for (std::size_t i = 0; i < 8; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(read[i].id, saved[i].id);
        EXPECT_EQ(read[i].parentId, saved[i].parentId);
        EXPECT_EQ(read[i].key, saved[i].key);
        EXPECT_EQ(read[i].label, saved[i].label);
        EXPECT_EQ(read[i].choices, saved[i].choices);
        EXPECT_EQ(read[i].value, saved[i].value);
        EXPECT_EQ(read[i].group, saved[i].group);
        EXPECT_EQ(read[i].kind, saved[i].kind);
        EXPECT_EQ(read[i].hostFlag, saved[i].hostFlag);
    }
}

TEST_F(ChannelOptionsHandlerTest, SavedDefaultsWithoutAPortReadBackTheSame) {
    TemporaryFile file;
    handler.SaveOptions(Defaults(), file.Name());
    OptionList read;
    handler.GetOptions(read, file.Name(), 2);
    EXPECT_THAT(Values(read),
                ElementsAre("", "UART", "Auto", "Prescalar value", "Auto", "Frequency in Hz", "", "4"));
}

TEST_F(ChannelOptionsHandlerTest, SavingNothingIsRefused) {
    TemporaryFile file("kept");
    const Answer answer = AnswerOf([&](OptionList&) { handler.SaveOptions({}, file.Name()); });
    EXPECT_EQ(answer.error, "Invalid options to save.");
    EXPECT_EQ(answer.severity, 2);
    EXPECT_EQ(file.Contents(), "kept");
}

TEST_F(ChannelOptionsHandlerTest, SavingNothingToNowhereNamesTheOptions) {
    EXPECT_EQ(AnswerOf([&](OptionList&) { handler.SaveOptions({}, ""); }).error, "Invalid options to save.");
}

TEST_F(ChannelOptionsHandlerTest, SavingToNowhereIsRefused) {
    const Answer answer = AnswerOf([&](OptionList&) { handler.SaveOptions(Defaults(), ""); });
    EXPECT_EQ(answer.error, "No XML file specified to save options.");
    EXPECT_EQ(answer.severity, 2);
}

TEST_F(ChannelOptionsHandlerTest, FileThatCannotBeOpenedForSavingIsRefused) {
    const std::string name = testing::TempDir() + "no such folder/options.xml";
    const Answer answer = AnswerOf([&](OptionList&) { handler.SaveOptions(Defaults(), name); });
    EXPECT_EQ(answer.error, "Cannot open file for writing.");
    EXPECT_EQ(answer.severity, 2);
}

}  // namespace
}  // namespace Korr::Plim::Trace::Tarnel
