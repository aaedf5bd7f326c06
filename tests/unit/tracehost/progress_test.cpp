#include "tracehost/progress.h"

#include <gtest/gtest.h>

#include <limits>

namespace Korr::Plim::Trace::Tracehost {

namespace {

std::string Shown(bool isTerminal, std::initializer_list<double> times) {
    std::FILE* const file = std::tmpfile();
    ProgressDisplay display(file, isTerminal);
    for (const double time : times) display.Show(time, {static_cast<uint64_t>(time * 1000), 1000, 0.0});
    display.Finish();
    std::rewind(file);
    std::string text(4096, '\0');
    text.resize(std::fread(text.data(), 1, text.size(), file));
    std::fclose(file);
    return text;
}

TEST(FormatBytes, KeepsThreeDigitsAndClimbsAtOneThousand) {
    EXPECT_EQ(FormatBytes(0), "0 bytes");
    EXPECT_EQ(FormatBytes(999), "999 bytes");
    EXPECT_EQ(FormatBytes(999.6), "1.00 kB");
    EXPECT_EQ(FormatBytes(1234), "1.23 kB");
    EXPECT_EQ(FormatBytes(12345678), "12.3 MB");
    EXPECT_EQ(FormatBytes(999999), "1.00 MB");
    EXPECT_EQ(FormatBytes(123e9), "123 GB");
    EXPECT_EQ(FormatBytes(5e12), "5000 GB");
}

TEST(FormatDuration, RoundsUpToSeconds) {
    EXPECT_EQ(FormatDuration(0), "0:00");
    EXPECT_EQ(FormatDuration(0.1), "0:01");
    EXPECT_EQ(FormatDuration(59.5), "1:00");
    EXPECT_EQ(FormatDuration(3723), "1:02:03");
    EXPECT_EQ(FormatDuration(-3), "0:00");
    EXPECT_EQ(FormatDuration(1e12), "?");
    EXPECT_EQ(FormatDuration(std::numeric_limits<double>::quiet_NaN()), "?");
}

TEST(FormatProgress, SaysWhatIsLeftOrHowToStop) {
    EXPECT_EQ(FormatProgress({12300000, 1200000, 7.0}), "12.3 MB   1.20 MB/s   0:07 left");
    EXPECT_EQ(FormatProgress({0, 0, std::nullopt}), "0 bytes   0 bytes/s   Ctrl-C stops and saves");
}

TEST(FormatProgress, TellsTenthsOfTheLastSecond) {
    EXPECT_EQ(FormatProgress({0, 0, 0.2}), "0 bytes   0 bytes/s   0.2 s left");
    EXPECT_EQ(FormatProgress({0, 0, 0.94}), "0 bytes   0 bytes/s   0.9 s left");
    EXPECT_EQ(FormatProgress({0, 0, 0.95}), "0 bytes   0 bytes/s   0:01 left");
    EXPECT_EQ(FormatProgress({0, 0, 0.0}), "0 bytes   0 bytes/s   0:00 left");
}

TEST(FormatProgress, LeavesOutWhatDoesNotFit) {
    const Progress progress{12300000, 1200000, 7.0};
    EXPECT_EQ(FormatProgress(progress, 33), "12.3 MB   1.20 MB/s   0:07 left");
    EXPECT_EQ(FormatProgress(progress, 30), "12.3 MB   0:07 left");
    EXPECT_EQ(FormatProgress(progress, 18), "12.3 MB");
    EXPECT_EQ(FormatProgress(progress, 3), "12.");
    EXPECT_EQ(FormatProgress(progress, 0), "");
}

TEST(ProgressDisplay, ShowsNothingWhenItShallNot) {
    std::FILE* const file = std::tmpfile();
    ProgressDisplay display(file, true, false);
    display.Show(0, {1, 1, 0.0});
    display.ShowText(1, "text");
    display.Finish();
    EXPECT_EQ(std::ftell(file), 0);
    std::fclose(file);
}

TEST(TimeLeft, IsTheNearerLimit) {
    EXPECT_EQ(TimeLeft(10.0, std::nullopt, 4, 0, 0), 6.0);
    EXPECT_EQ(TimeLeft(10.0, std::nullopt, 14, 0, 0), 0.0);
    EXPECT_EQ(TimeLeft(std::nullopt, 1000, 4, 400, 100), 6.0);
    EXPECT_EQ(TimeLeft(3.0, 1000, 1, 400, 100), 2.0);
    EXPECT_EQ(TimeLeft(std::nullopt, 1000, 1, 2000, 100), 0.0);
}

TEST(TimeLeft, IsUnknownWithoutALimitOrARate) {
    EXPECT_EQ(TimeLeft(std::nullopt, std::nullopt, 4, 400, 100), std::nullopt);
    EXPECT_EQ(TimeLeft(std::nullopt, 1000, 4, 0, 0), std::nullopt);
}

TEST(RateMeter, IsTheRateOfTheLastTwoSeconds) {
    RateMeter meter;
    EXPECT_EQ(meter.BytesPerSecond(), 0);
    for (uint32_t second = 0; second <= 10; ++second) {
        meter.Add(second, second <= 5 ? 1000u * second : 5000u + 10u * (second - 5));
    }
    EXPECT_EQ(meter.BytesPerSecond(), 10);
}

TEST(RateMeter, ShrinkingAndStandingCapturesHaveNoRate) {
    RateMeter meter;
    meter.Add(0, 500);
    meter.Add(0, 600);
    EXPECT_EQ(meter.BytesPerSecond(), 0);
    meter.Add(1, 100);
    EXPECT_EQ(meter.BytesPerSecond(), 0);
}

TEST(ProgressDisplay, WritesALinePerSecondWhereThereIsNoTerminal) {
    EXPECT_EQ(Shown(false, {0, 0.5, 0.9, 1.0, 1.5}),
              "0 bytes   1.00 kB/s   0:00 left\n1.00 kB   1.00 kB/s   0:00 left\n");
}

TEST(ProgressDisplay, RefreshesOneLineOnATerminalAndCoversWhatStoodThere) {
    EXPECT_EQ(Shown(true, {0.999, 1.0, 1.5}),
              "\r999 bytes   1.00 kB/s   0:00 left\r1.50 kB   1.00 kB/s   0:00 left  "
              "\r1.50 kB   1.00 kB/s   0:00 left  \n");
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tracehost
