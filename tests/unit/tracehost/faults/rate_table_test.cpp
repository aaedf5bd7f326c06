#include "tracehost/rate_table.h"

#include <gtest/gtest.h>

#include "tests/fakes/scripted_serial_port.h"
#include "tracehost/errors.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr uint32_t kPort = 7;
constexpr double kClock = 48e6;
constexpr uint32_t kInputOutputError = 5;
constexpr const char* kHead = "prescaler     rate asked     rate taken      error\n";

class RateTable : public testing::Test {
  protected:
    RateTable() : port(fakes::ScriptedPorts::Plug(kPort)) {}
    ~RateTable() override { fakes::ScriptedPorts::Reset(); }

    /// As a driver that takes rates up to a limit, and keeps 38,400 baud when asked for more.
    void LimitTo(uint32_t most) {
        port.rateTaken = [most](uint32_t asked) { return asked > most ? 38400 : asked; };
    }
    static void Fail(const char* call, std::size_t nth) {
        fakes::ScriptedCalls::Instance().Fail(call, kInputOutputError, nth);
    }

    fakes::ScriptedPort& port;
};

TEST_F(RateTable, SearchEndsAtTheFirstRateThatThePortTakes) {
    LimitTo(16'000'000);
    const auto rows = SearchRates(kPort, kClock);
    EXPECT_EQ(rows, (std::vector<RateRow>{{0, 48e6, 38400}, {1, 24e6, 38400}, {2, 16e6, 16'000'000}}));
    EXPECT_EQ(FormatSearch(rows, 2),
              std::string(kHead) +
                  "        0     48,000,000         38,400   -99.92 %  another rate taken without a word\n"
                  "        1     24,000,000         38,400   -99.84 %  another rate taken without a word\n"
                  "        2     16,000,000     16,000,000     0.00 %  <- taken by auto\n");
}

TEST_F(RateTable, SearchTakesFivePerCentAndNoMore) {
    port.rateTaken = [](uint32_t asked) { return asked == 48'000'000 ? 45'599'999 : 22'800'000; };
    const auto rows = SearchRates(kPort, kClock);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_FALSE(EndsSearch(rows[0]));
    EXPECT_TRUE(EndsSearch(rows[1]));
}

TEST_F(RateTable, SearchAsksForTheWholePartOfARate) {
    SearchRates(kPort, 1'000'000.75);
    EXPECT_EQ(port.Asked().front().baudRate, 1'000'000u);
}

TEST_F(RateTable, LongSearchIsShownShortened) {
    LimitTo(2'000'000);
    const auto rows = SearchRates(kPort, kClock);
    ASSERT_EQ(rows.size(), 24u);
    const std::string text = FormatSearch(rows, 23);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1 + 8 + 1 + 8);
    EXPECT_NE(text.find("\n        7 "), std::string::npos);
    EXPECT_NE(text.find("\n      ... 8 more, none of them within 5 %\n       16 "), std::string::npos);
    EXPECT_NE(text.find("\n       23      2,000,000      2,000,000     0.00 %  <- taken by auto\n"),
              std::string::npos);
    EXPECT_EQ(text.find("\n        8 "), std::string::npos);
}

TEST_F(RateTable, SearchInVainIsSaid) {
    port.rateTaken = [](uint32_t) { return 115; };
    const auto rows = SearchRates(kPort, kClock);
    ASSERT_EQ(rows.size(), 8192u);
    const std::string text = FormatSearch(rows, std::nullopt);
    EXPECT_NE(text.find("      ... 8,176 more, none of them within 5 %\n"), std::string::npos);
    EXPECT_TRUE(
        text.ends_with("The port reports 115 whatever it is asked for.\n"
                       "No rate within 5 % was found: give --prescaler.\n"))
        << text;
}

TEST_F(RateTable, RefusedRateEndsTheSearch) {
    Fail("port.SetState", 2);
    LimitTo(1);
    const auto rows = SearchRates(kPort, kClock);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[1].taken, 0u);
    const std::string text = FormatSearch(rows, std::nullopt);
    EXPECT_NE(text.find("        1     24,000,000              0  -100.00 %  refused\n"), std::string::npos);
    EXPECT_TRUE(text.ends_with("The port refused the last rate: give --prescaler.\n")) << text;
}

TEST_F(RateTable, EveryRateAskedForIsALineOfTheTable) {
    port.rateTaken = [](uint32_t asked) {
        if (asked == 48'000'000) return uint32_t{38400};
        return asked == 16'000'000   ? uint32_t{15'519'999}
               : asked == 12'000'000 ? uint32_t{12'360'000}
                                     : asked;
    };
    Fail("port.SetState", 2);
    EXPECT_EQ(FormatRates(AskRates(kPort, kClock, 0, 6)),
              std::string(kHead) +
                  "        0     48,000,000         38,400   -99.92 %  another rate taken without a word\n"
                  "        1     24,000,000              0  -100.00 %  refused\n"
                  "        2     16,000,000     15,519,999    -3.00 %  another rate taken without a word\n"
                  "        3     12,000,000     12,360,000     3.00 %\n"
                  "        4      9,600,000      9,600,000     0.00 %\n"
                  "        5      8,000,000      8,000,000     0.00 %\n"
                  "        6      6,857,143      6,857,142    -0.00 %\n");
}

TEST_F(RateTable, WithoutRatesTheTableIsItsHead) { EXPECT_EQ(FormatRates({}), kHead); }

TEST_F(RateTable, PortIsGivenBackAsItWasFound) {
    const auto found = fakes::ScriptedPort::ForeignLine();
    AskRates(kPort, kClock, 0, 3);
    EXPECT_EQ(port.Line().baudRate, found.baudRate);
    EXPECT_EQ(port.Line().dataBits, found.dataBits);
    EXPECT_FALSE(port.IsOpen());
}

TEST_F(RateTable, PortThatDoesNotTellItsSettingsIsClosedAndRefused) {
    Fail("port.GetState", 1);
    EXPECT_THROW(AskRates(kPort, kClock, 0, 3), HostError);
    EXPECT_FALSE(port.IsOpen());
}

TEST_F(RateTable, PortThatCannotBeOpenedIsRefused) {
    fakes::ScriptedPorts::Unplug(kPort);
    EXPECT_THROW(SearchRates(kPort, kClock), HostError);
}

TEST_F(RateTable, RateThatIsReadBackInVainCountsAsRefused) {
    Fail("port.GetState", 3);
    const auto rows = AskRates(kPort, kClock, 4, 5);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].taken, 0u);
    EXPECT_EQ(rows[1].taken, 8'000'000u);
}

TEST_F(RateTable, ClockBelowOneBaudAsksForNothing) {
    EXPECT_EQ(AskRates(kPort, 0.5, 0, 0), (std::vector<RateRow>{{0, 0.5, 0}}));
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tracehost
