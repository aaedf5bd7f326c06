// What is told of a signal, letter for letter.
#include "tracehost/diagnosis_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Korr::Plim::Trace::Tracehost {

namespace {

using Swo::Confidence;
using Swo::SignalVerdict;
using testing::ElementsAre;

std::string Line(SignalVerdict verdict, const Swo::SignalFeatures& features = {},
                 std::optional<Swo::RateRatio> ratio = std::nullopt) {
    return VerdictLine(features, {verdict, Confidence::High, ratio});
}

std::vector<std::string> AdviceOn(SignalVerdict verdict, const RecordingSheet& sheet = {},
                                  const Swo::SignalFeatures& features = {},
                                  std::optional<Swo::RateRatio> ratio = std::nullopt) {
    return Advice(features, {verdict, Confidence::High, ratio}, sheet);
}

TEST(DiagnosisText, SaysWhatAVerdictMeans) {
    Swo::SignalFeatures f;
    f.validity = 0.9876;
    f.stretchOffset = 1234;
    f.stretchLength = 1;
    EXPECT_EQ(Line(SignalVerdict::NoBytes), "no-bytes (sure): the port is open and silent");
    EXPECT_EQ(Line(SignalVerdict::Good, f), "good (sure): ITM packets, 98.8 % of the bytes");
    EXPECT_EQ(Line(SignalVerdict::GoodNoSync),
              "good-no-sync (sure): ITM packets, but no synchronisation packet: other tools, which wait for "
              "one, show nothing");
    EXPECT_EQ(Line(SignalVerdict::TpiuFramed),
              "tpiu-framed (sure): ITM packets in TPIU frames, which are taken off");
    EXPECT_EQ(Line(SignalVerdict::TpiuNoItm),
              "tpiu-no-itm (sure): TPIU frames, but no stream in them is ITM");
    EXPECT_EQ(Line(SignalVerdict::RateTooLow),
              "rate-too-low (sure): the port runs slower than the line, or this is no SWO signal");
    EXPECT_EQ(Line(SignalVerdict::Manchester), "manchester (sure): the pin sends Manchester code, not UART");
    EXPECT_EQ(Line(SignalVerdict::ResetInBetween, f),
              "reset-in-between (sure): good, but for 1 byte at 1,234: the target was reset there, or sent "
              "at another rate");
    EXPECT_EQ(Line(SignalVerdict::Noise), "noise (sure): bytes as if by chance: this is no SWO signal");
    EXPECT_EQ(Line(SignalVerdict::LineErrors), "line-errors (sure): the driver reported errors of the line");
    EXPECT_EQ(Line(SignalVerdict::Damaged, f),
              "damaged (sure): ITM packets, but 1.2 % of the bytes are in none");
    EXPECT_EQ(VerdictLine({}, {}), "unclear (unsure): too few bytes to tell");
    EXPECT_EQ(VerdictLine(f, {SignalVerdict::Good, Confidence::Fair, std::nullopt}),
              "good (likely): ITM packets, 98.8 % of the bytes");
}

TEST(DiagnosisText, SaysByHowMuchThePortIsTooFast) {
    EXPECT_EQ(Line(SignalVerdict::RateTooHigh), "rate-too-high (sure): the port runs faster than the line");
    EXPECT_EQ(Line(SignalVerdict::RateTooHigh, {}, Swo::RateRatio{1.88, 2.1234}),
              "rate-too-high (sure): the port runs 1.88 to 2.12 times as fast as the line");
    EXPECT_EQ(Line(SignalVerdict::RateNear, {}, Swo::RateRatio{1.105, 1.126}),
              "rate-near (sure): the port runs 1.10 to 1.13 times as fast as the line");
    EXPECT_EQ(Line(SignalVerdict::RateNear),
              "rate-near (sure): the port runs some per cent slower than the line");
}

TEST(DiagnosisText, AdvisesOnEachVerdict) {
    EXPECT_THAT(
        AdviceOn(SignalVerdict::NoBytes),
        ElementsAre("Does the target run, and has its firmware, or the debugger, programmed the TPIU and "
                    "enabled the ITM?",
                    "Is the SWO pin switched to its trace function, and wired to the probe?",
                    "Is this the probe's auxiliary port? \"tracehost ports\" lists the ports and what they "
                    "are."));
    EXPECT_THAT(AdviceOn(SignalVerdict::Good), ElementsAre());
    EXPECT_THAT(AdviceOn(SignalVerdict::GoodNoSync),
                ElementsAre("Set ITM_TCR.SYNCENA and DWT_CTRL.SYNCTAP if another tool has to read this."));
    EXPECT_THAT(AdviceOn(SignalVerdict::TpiuFramed),
                ElementsAre("Clear FFCR.EnFCont in the TPIU: the line then carries ITM bytes alone, without "
                            "frames and padding."));
    EXPECT_THAT(AdviceOn(SignalVerdict::TpiuNoItm),
                ElementsAre("A stream in the frames looks like instruction trace: enable the ITM, or give "
                            "--framing tpiu:ID."));
    EXPECT_THAT(AdviceOn(SignalVerdict::Manchester),
                ElementsAre("Set the TPIU's pin protocol to UART: SPPR must be 2."));
    EXPECT_THAT(AdviceOn(SignalVerdict::ResetInBetween),
                ElementsAre("Start recording after the target's clock is set up, or live with the gap: the "
                            "rest is good."));
    EXPECT_THAT(AdviceOn(SignalVerdict::Noise),
                ElementsAre("Check wiring and ground, and that the pin is the SWO pin."));
    EXPECT_THAT(
        AdviceOn(SignalVerdict::LineErrors),
        ElementsAre("Errors of the line come from a wrong rate as a rule, else from wiring or ground."));
    EXPECT_THAT(AdviceOn(SignalVerdict::Damaged),
                ElementsAre("Bytes were lost or changed on the way: \"tracehost report\" shows where."));
    EXPECT_THAT(AdviceOn(SignalVerdict::Unclear), ElementsAre("Record for longer."));
}

TEST(DiagnosisText, AdvisesOnARateAsFarAsItIsKnown) {
    const std::string check =
        "Check --clock and --prescaler: the line runs at trace clock / (prescaler + 1).";
    const std::string rates = "\"tracehost rates\" shows which rates the port takes, and how well.";
    for (const auto verdict :
         {SignalVerdict::RateTooHigh, SignalVerdict::RateTooLow, SignalVerdict::RateNear}) {
        EXPECT_THAT(AdviceOn(verdict), ElementsAre(check, rates));
    }
    RecordingSheet sheet;
    sheet.baudAsked = 2'000'000;
    EXPECT_THAT(AdviceOn(SignalVerdict::RateTooLow, sheet),
                ElementsAre("The port was asked for 2,000,000 baud.", check, rates));
    sheet.baudTaken = 2'000'000;
    EXPECT_THAT(AdviceOn(SignalVerdict::RateTooLow, sheet),
                ElementsAre("The port was asked for 2,000,000 baud and reports 2,000,000.", check, rates));
    const Swo::RateRatio twice{1.6, 2.4};
    EXPECT_THAT(AdviceOn(SignalVerdict::RateTooHigh, sheet, {}, twice),
                ElementsAre("The port ran at 2,000,000 baud, so the line runs at 833,333 to 1,250,000 baud.",
                            check, rates));
    sheet.traceClock = 48e6;
    sheet.prescaler = 23;
    EXPECT_THAT(AdviceOn(SignalVerdict::RateTooHigh, sheet, {}, twice),
                ElementsAre("The port ran at 2,000,000 baud, so the line runs at 833,333 to 1,250,000 baud.",
                            "Either the trace clock is about 24.000 MHz in place of 48.000 MHz, or the "
                            "prescaler is 47 in place of 23.",
                            check, rates));
    sheet.baudTaken.reset();
    sheet.baudAsked.reset();
    EXPECT_THAT(AdviceOn(SignalVerdict::RateTooHigh, sheet, {}, twice), ElementsAre(check, rates));
}

TEST(DiagnosisText, AddsWhatPortAndDriverToldOfThemselves) {
    RecordingSheet sheet;
    sheet.baudAsked = 1'000'000;
    sheet.baudTaken = 1'030'000;
    EXPECT_THAT(AdviceOn(SignalVerdict::Good, sheet), ElementsAre()) << "within 3 %";
    sheet.baudTaken = 1'030'001;
    EXPECT_THAT(AdviceOn(SignalVerdict::Good, sheet),
                ElementsAre("The port did not take the rate: it was asked for 1,000,000 baud and reports "
                            "1,030,001."));
    Swo::SignalFeatures features;
    features.readErrorLogged = true;
    features.lineErrors = 1;
    EXPECT_THAT(AdviceOn(SignalVerdict::Good, {}, features),
                ElementsAre("The driver ended the reads with error 995, as it does when the line has errors.",
                            "The port's driver counted 1 error of the line."));
    features = {};
    features.lineErrors = 0;
    EXPECT_THAT(AdviceOn(SignalVerdict::Good, {}, features), ElementsAre());
}

TEST(DiagnosisText, ListsWhatWasMeasured) {
    Swo::SignalFeatures f;
    f.line.bytes = 12345;
    f.line.entropy = 5.1234;
    f.line.zeros = 0.25;
    f.line.ones = 0.5;
    f.line.shortRuns = 0.333;
    f.line.longRuns = 0.1;
    f.line.innerRuns = 2000;
    f.line.bitSet = {0, 0.1, 0.2, 0.3, 0.4, 0.5, 0.6, 1};
    f.line.pairEqual = {0, 0.1, 0.2, 0.3, 0.4, 0.5, 1};
    f.validity = 0.75;
    f.packets = 1;
    f.syncs = 2;
    EXPECT_THAT(DescribeFeatures(f),
                ElementsAre("bytes looked at          12,345",
                            "in packets               75.0 %, 1 packet, 2 sync marks",
                            "longest stretch without  0 bytes", "entropy                  5.12 bits a byte",
                            "bytes 0x00, 0xFF         25.0 %, 50.0 %",
                            "runs of one bit          33.3 % of 2,000, of three and more 10.0 %",
                            "bits 0 to 7 set          0 % 10 % 20 % 30 % 40 % 50 % 60 % 100 %",
                            "neighbours equal         0 % 10 % 20 % 30 % 40 % 50 % 100 %",
                            "errors of the line       not told by this port"));
    f.stretchOffset = 1000;
    f.stretchLength = 64;
    f.framed = true;
    f.phaseScore = 0.987;
    f.lineErrors = 3;
    const auto lines = DescribeFeatures(f);
    EXPECT_EQ(lines[2], "longest stretch without  64 bytes at 1,000");
    EXPECT_EQ(lines[8], "fit of the frames        98.7 %");
    EXPECT_EQ(lines[9], "errors of the line       3");
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tracehost
