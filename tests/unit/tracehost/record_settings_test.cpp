#include "tracehost/record_settings.h"

#include <gtest/gtest.h>

#include <CLI/CLI.hpp>

#include "tracehost/errors.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

/// What becomes of "--firmware TEXT".
std::string Firmware(const std::string& text) {
    CLI::App command;
    RecordRequest request;
    AddSettings(command, request);
    try {
        command.parse(std::vector<std::string>{text, "--firmware"});
    } catch (const UsageError& error) {
        return error.what();
    }
    return request.firmware;
}

TEST(RecordSettings, FirmwareVersionIsFourNumbers) {
    for (const char* text : {"1.0.0.8", "0.0.0.0", "255.255.255.255", "001.010.000.008"}) {
        EXPECT_EQ(Firmware(text), text);
    }
}

TEST(RecordSettings, WhatIsNoFirmwareVersionIsRefusedWhereverItIsWrong) {
    for (const std::string text : {"256.0.0.8", "1.0.0.256", "1.0.0x8", "x.0.0.8", "1..0.8", "1.0.0.",
                                   "1.0.8", "1.0.0.8.1", "1000.0.8", ""}) {
        EXPECT_EQ(Firmware(text),
                  "--firmware \"" + text + "\": give four numbers from 0 to 255 with dots, such as 1.0.0.8");
    }
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tracehost
