#include "tracehost/port_types.h"

#include <gtest/gtest.h>
#include <CLI/CLI.hpp>

#include <functional>

#include "tracehost/errors.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr const char* kForm =
    ": give a port from 0 to 255 and its type (text, u8, i8, u16, i16, u32, i32 or f32), and a name for it "
    "if "
    "you like, such as 3=f32:speed";

std::string Refusal(const std::function<void()>& action) {
    try {
        action();
    } catch (const UsageError& error) {
        return error.what();
    }
    return "not refused";
}

TEST(PortTypes, AreReadWithAndWithoutAName) {
    Swo::PortFormats ports;
    const char* const texts[] = {"0=text:console", "1=u8",  "2=i8",           "3=u16",
                                 "4=i16",          "5=u32", "6=i32:a:b=c, d", "255=f32:\xC3\xB6"};
    for (const char* const text : texts) AddPortFormat(ports, text);
    ASSERT_EQ(ports.size(), 8U);
    const Swo::PortType types[] = {Swo::PortType::Text, Swo::PortType::U8,  Swo::PortType::I8,
                                   Swo::PortType::U16,  Swo::PortType::I16, Swo::PortType::U32,
                                   Swo::PortType::I32};
    for (uint8_t port = 0; port < 7; ++port) EXPECT_EQ(ports.at(port).type, types[port]) << int{port};
    EXPECT_EQ(ports.at(255).type, Swo::PortType::F32);
    EXPECT_EQ(ports.at(0).name, "console");
    EXPECT_EQ(ports.at(1).name, "");
    EXPECT_EQ(ports.at(6).name, "a:b=c, d");
    EXPECT_EQ(ports.at(255).name, "\xC3\xB6");
}

TEST(PortTypes, WhatIsNoneIsRefused) {
    const std::string longest(kLongestPortName, 'n');
    for (const std::string& text :
         {std::string(""), std::string("3"), std::string("=f32"), std::string("3="), std::string("3=f64"),
          std::string("3=F32"), std::string("256=u8"), std::string("-1=u8"), std::string("+1=u8"),
          std::string("3 =u8"), std::string("0x3=u8"), std::string("3=u8:"), std::string("3:u8"),
          std::string("3=u8:a\nb"), std::string("3=u8:\x7F"), "3=u8:" + longest + "n",
          std::string("99999999999999999999=u8")}) {
        Swo::PortFormats ports;
        EXPECT_EQ(Refusal([&] { AddPortFormat(ports, text); }), "--port-type \"" + text + "\"" + kForm);
        EXPECT_TRUE(ports.empty());
    }
    Swo::PortFormats ports;
    AddPortFormat(ports, "3=u8:" + longest);
    EXPECT_EQ(ports.at(3).name, longest);
    EXPECT_EQ(Refusal([&] { AddPortFormat(ports, "3=f32"); }),
              "--port-type \"3=f32\": port 3 has its type already");
}

TEST(PortTypes, OptionMayBeRepeatedAndTakesOneWordEachTime) {
    CLI::App program;
    Swo::PortFormats ports;
    std::string file;
    AddPortTypes(program, ports);
    program.add_option("FILE", file);
    program.parse("--port-type 3=f32:speed --port-type 4=i16 trace.bin");
    EXPECT_EQ(ports.size(), 2U);
    EXPECT_EQ(ports.at(3).name, "speed");
    EXPECT_EQ(file, "trace.bin");
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tracehost
