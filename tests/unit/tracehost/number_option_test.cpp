#include "tracehost/number_option.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>

#include "tracehost/errors.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr NumberOption kSeconds{"--seconds", Measure::Time, 0.001, 2592000};
constexpr NumberOption kBytes{"--bytes", Measure::Size, 1, 34359738360.0, true};

std::string Refusal(const NumberOption& option, const std::string& text) {
    try {
        ParseNumber(option, text);
    } catch (const UsageError& error) {
        return error.what();
    }
    return "taken: " + text;
}

TEST(NumberOption, TimesHaveUnits) {
    for (const auto& [text, seconds] :
         std::initializer_list<std::pair<const char*, double>>{{"10", 10},
                                                               {"10s", 10},
                                                               {"10 s", 10},
                                                               {"0.5", 0.5},
                                                               {".5s", 0.5},
                                                               {"5.s", 5},
                                                               {"500ms", 0.5},
                                                               {"1500us", 0.0015},
                                                               {"2min", 120},
                                                               {"1.5h", 5400},
                                                               {"30d", 2592000},
                                                               {"0.001", 0.001},
                                                               {"1e3ms", 1}}) {
        EXPECT_EQ(ParseNumber(kSeconds, text), seconds) << text;
    }
}

TEST(NumberOption, SizesArePowersOf1000AndWithAnIOf1024) {
    for (const auto& [text, bytes] :
         std::initializer_list<std::pair<const char*, double>>{{"1", 1},
                                                               {"10k", 10000},
                                                               {"10kB", 10000},
                                                               {"10K", 10000},
                                                               {"10KB", 10000},
                                                               {"1.5MB", 1.5e6},
                                                               {"1.5M", 1.5e6},
                                                               {"2G", 2e9},
                                                               {"2GB", 2e9},
                                                               {"512B", 512},
                                                               {"1KiB", 1024},
                                                               {"1MiB", 1048576},
                                                               {"0.5GiB", 536870912},
                                                               {"34359738360", 34359738360.0}}) {
        EXPECT_EQ(ParseNumber(kBytes, text), bytes) << text;
    }
}

TEST(NumberOption, FrequenciesAreExact) {
    for (const auto& [text, hertz] :
         std::initializer_list<std::pair<const char*, double>>{{"48000000", 48e6},
                                                               {"48M", 48e6},
                                                               {"48MHz", 48e6},
                                                               {"48 MHz", 48e6},
                                                               {"48e6", 48e6},
                                                               {"1152000.5", 1152000.5},
                                                               {"32.768k", 32768},
                                                               {"32.768kHz", 32768},
                                                               {"4GHz", 4e9},
                                                               {"0.1M", 1e5}}) {
        EXPECT_EQ(ParseNumber(kClockOption, text), hertz) << text;
    }
}

TEST(NumberOption, AnythingElseIsRefused) {
    for (const char* text : {"",
                             " ",
                             "nan",
                             "inf",
                             "-inf",
                             "-1",
                             "+1",
                             "1e300",
                             "1e",
                             "1e-",
                             "0x10",
                             "1,5",
                             "1.5.2",
                             ".",
                             "s",
                             "ten",
                             "10 seconds",
                             "10  s",
                             " 10",
                             "10 ",
                             "10sec",
                             "10S",
                             "1000000000000000000000",
                             "0",
                             "0.0009",
                             "31d"}) {
        EXPECT_EQ(Refusal(kSeconds, text),
                  "--seconds \"" + std::string(text) +
                      "\": give a time from 1 ms to 30 d, such as 10s, 500ms, 2min or 1h");
    }
}

TEST(NumberOption, BoundsAndWordStandInTheRefusal) {
    EXPECT_EQ(Refusal(kBytes, "1.5"),
              "--bytes \"1.5\": give a size from 1 B to 34359738360 B, such as 10k, 1.5MB or "
              "4MiB");
    EXPECT_EQ(Refusal(kBytes, "34359738361").substr(0, 23), "--bytes \"34359738361\": ");
    EXPECT_EQ(
        Refusal(kClockOption, "48m"),
        "--clock \"48m\": give auto or a frequency from 1 Hz to 4 GHz, such as 48000000, 48M or 32.768kHz");
    EXPECT_EQ(Refusal(kClockOption, "4.1G").substr(0, 16), "--clock \"4.1G\": ");
    EXPECT_EQ(Refusal(kPrescalerOption, "8192"),
              "--prescaler \"8192\": give auto or a number from 0 to 8191");
    EXPECT_EQ(Refusal(kPrescalerOption, "2.5").substr(0, 19), "--prescaler \"2.5\": ");
    EXPECT_EQ(Refusal(kPrescalerOption, "1k").substr(0, 18), "--prescaler \"1k\": ");
}

TEST(NumberOption, WordStandsForNoNumber) {
    EXPECT_EQ(ParseNumberOrWord(kPrescalerOption, "auto"), std::nullopt);
    EXPECT_EQ(ParseNumberOrWord(kPrescalerOption, "23"), 23.0);
    EXPECT_THROW(ParseNumberOrWord(kPrescalerOption, "Auto"), UsageError);
    EXPECT_THROW(ParseNumberOrWord(kSeconds, "auto"), UsageError);
}

TEST(NumberOption, FormatsExactly) {
    EXPECT_EQ(FormatExact(48000000), "48000000");
    EXPECT_EQ(FormatExact(1152000.5), "1152000.5");
    EXPECT_EQ(FormatExact(0.1), "0.1");
    EXPECT_EQ(FormatExact(0), "0");
    EXPECT_EQ(FormatExact(80e6 / 3), "26666666.666666668");
    EXPECT_EQ(FormatQuantity(Measure::Time, 0.0005), "500 us");
    EXPECT_EQ(FormatQuantity(Measure::Time, 90), "90 s");
    EXPECT_EQ(FormatQuantity(Measure::Size, 1500000), "1500 kB");
    EXPECT_EQ(FormatQuantity(Measure::Hertz, 0.5), "0.5");
    EXPECT_EQ(FormatQuantity(Measure::Count, 8191), "8191");
}

TEST(NumberOption, ChoicesAreRefusedInTheSameStyle) {
    CLI::App app;
    std::string taken;
    AddChoice(app, "--format", "", {"tdf", "raw", "bin"}, [&](const std::string& text) { taken = text; });
    app.parse("--format raw");
    EXPECT_EQ(taken, "raw");
    try {
        app.parse("--format xml");
        FAIL();
    } catch (const UsageError& error) {
        EXPECT_STREQ(error.what(), "--format \"xml\": give tdf, raw or bin");
    }
}

TEST(NumberOption, OptionGivesItsNumberOrNothing) {
    CLI::App app;
    std::optional<double> taken;
    AddNumber(app, kClockOption, "Trace clock", [&](std::optional<double> hertz) { taken = hertz; });
    app.parse("--clock 48M");
    EXPECT_EQ(taken, 48e6);
    app.parse("--clock auto");
    EXPECT_EQ(taken, std::nullopt);
    EXPECT_THROW(app.parse("--clock nan"), UsageError);
    EXPECT_NE(app.help().find("--clock HZ|auto"), std::string::npos) << app.help();
    EXPECT_NE(app.help().find("Trace clock (1 Hz to 4 GHz)"), std::string::npos) << app.help();
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tracehost
