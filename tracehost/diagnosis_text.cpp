#include "tracehost/diagnosis_text.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "tracehost/human_numbers.h"
#include "tracehost/rate_table.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

using Swo::SignalVerdict;

std::string Decimal(double number, int decimals) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, number);
    return text;
}

std::string PerCent(double share) { return Decimal(100 * share, 1) + " %"; }

std::string Baud(double rate) {
    return FormatCount(static_cast<uint64_t>(std::llround(std::clamp(rate, 0.0, 1e12))));
}

std::string TooFastBy(const Swo::Diagnosis& diagnosis) {
    if (!diagnosis.ratio) return "the port runs faster than the line";
    return "the port runs " + Decimal(diagnosis.ratio->lowest, 2) + " to " +
           Decimal(diagnosis.ratio->highest, 2) + " times as fast as the line";
}

std::string Meaning(const Swo::SignalFeatures& f, const Swo::Diagnosis& diagnosis) {
    switch (diagnosis.verdict) {
        case SignalVerdict::NoBytes:
            return "the port is open and silent";
        case SignalVerdict::Good:
            return "ITM packets, " + PerCent(f.validity) + " of the bytes";
        case SignalVerdict::GoodNoSync:
            return "ITM packets, but no synchronisation packet: other tools, which wait for one, show "
                   "nothing";
        case SignalVerdict::TpiuFramed:
            return "ITM packets in TPIU frames, which are taken off";
        case SignalVerdict::TpiuNoItm:
            return "TPIU frames, but no stream in them is ITM";
        case SignalVerdict::RateTooHigh:
            return TooFastBy(diagnosis);
        case SignalVerdict::RateTooLow:
            return "the port runs slower than the line, or this is no SWO signal";
        case SignalVerdict::RateNear:
            return diagnosis.ratio ? TooFastBy(diagnosis)
                                   : "the port runs some per cent slower than the line";
        case SignalVerdict::Manchester:
            return "the pin sends Manchester code, not UART";
        case SignalVerdict::ResetInBetween:
            return "good, but for " + CountOf(f.stretchLength, "byte") + " at " +
                   FormatCount(f.stretchOffset) + ": the target was reset there, or sent at another rate";
        case SignalVerdict::Noise:
            return "bytes as if by chance: this is no SWO signal";
        case SignalVerdict::LineErrors:
            return "the driver reported errors of the line";
        case SignalVerdict::Damaged:
            return "ITM packets, but " + PerCent(1 - f.validity) + " of the bytes are in none";
        case SignalVerdict::Unclear:
            return "too few bytes to tell";
    }
    return "";
}

/// The prescaler with which the port would run at the line's rate, as far as it is known.
void AddFittingRate(std::vector<std::string>& lines, const Swo::Diagnosis& diagnosis,
                    const RecordingSheet& sheet) {
    const auto& baud = sheet.baudTaken ? sheet.baudTaken : sheet.baudAsked;
    if (!diagnosis.ratio || !baud || *baud <= 0) return;
    const double low = *baud / diagnosis.ratio->highest;
    const double high = *baud / diagnosis.ratio->lowest;
    lines.push_back("The port ran at " + Baud(*baud) + " baud, so the line runs at " + Baud(low) + " to " +
                    Baud(high) + " baud.");
    if (!sheet.traceClock || *sheet.traceClock <= 0 || !sheet.prescaler) return;
    const double clock = *sheet.traceClock / diagnosis.ratio->Middle();
    const double prescaler = std::round((*sheet.prescaler + 1) * diagnosis.ratio->Middle()) - 1;
    lines.push_back("Either the trace clock is about " + Decimal(clock / 1e6, 3) + " MHz in place of " +
                    Decimal(*sheet.traceClock / 1e6, 3) + " MHz, or the prescaler is " +
                    Decimal(prescaler, 0) + " in place of " + std::to_string(*sheet.prescaler) + ".");
}

void AddRateAdvice(std::vector<std::string>& lines, const Swo::Diagnosis& diagnosis,
                   const RecordingSheet& sheet) {
    AddFittingRate(lines, diagnosis, sheet);
    if (lines.empty() && sheet.baudAsked) {
        lines.push_back("The port was asked for " + Baud(*sheet.baudAsked) + " baud" +
                        (sheet.baudTaken ? " and reports " + Baud(*sheet.baudTaken) : "") + ".");
    }
    lines.push_back("Check --clock and --prescaler: the line runs at trace clock / (prescaler + 1).");
    lines.push_back("\"tracehost rates\" shows which rates the port takes, and how well.");
}

/// What port and driver told of themselves.
void AddTrouble(std::vector<std::string>& lines, const Swo::SignalFeatures& features,
                const RecordingSheet& sheet) {
    if (sheet.baudAsked && sheet.baudTaken &&
        std::abs(*sheet.baudTaken - *sheet.baudAsked) > kRateTolerance * *sheet.baudAsked) {
        lines.push_back("The port did not take the rate: it was asked for " + Baud(*sheet.baudAsked) +
                        " baud and reports " + Baud(*sheet.baudTaken) + ".");
    }
    if (features.readErrorLogged) {
        lines.push_back("The driver ended the reads with error 995, as it does when the line has errors.");
    }
    if (features.lineErrors.value_or(0) > 0) {
        lines.push_back("The port's driver counted " + CountOf(*features.lineErrors, "error") +
                        " of the line.");
    }
}

}  // namespace

std::string VerdictLine(const Swo::SignalFeatures& features, const Swo::Diagnosis& diagnosis) {
    return std::string(Swo::SignalVerdictName(diagnosis.verdict)) + " (" +
           std::string(Swo::ConfidenceName(diagnosis.confidence)) + "): " + Meaning(features, diagnosis);
}

std::vector<std::string> Advice(const Swo::SignalFeatures& features, const Swo::Diagnosis& diagnosis,
                                const RecordingSheet& sheet) {
    std::vector<std::string> lines;
    switch (diagnosis.verdict) {
        case SignalVerdict::NoBytes:
            lines = {
                "Does the target run, and has its firmware, or the debugger, programmed the TPIU and enabled "
                "the ITM?",
                "Is the SWO pin switched to its trace function, and wired to the probe?",
                "Is this the probe's auxiliary port? \"tracehost ports\" lists the ports and what they are."};
            break;
        case SignalVerdict::GoodNoSync:
            lines = {"Set ITM_TCR.SYNCENA and DWT_CTRL.SYNCTAP if another tool has to read this."};
            break;
        case SignalVerdict::TpiuFramed:
            lines = {
                "Clear FFCR.EnFCont in the TPIU: the line then carries ITM bytes alone, without frames and "
                "padding."};
            break;
        case SignalVerdict::TpiuNoItm:
            lines = {
                "A stream in the frames looks like instruction trace: enable the ITM, or give --framing "
                "tpiu:ID."};
            break;
        case SignalVerdict::RateTooHigh:
        case SignalVerdict::RateTooLow:
        case SignalVerdict::RateNear:
            AddRateAdvice(lines, diagnosis, sheet);
            break;
        case SignalVerdict::Manchester:
            lines = {"Set the TPIU's pin protocol to UART: SPPR must be 2."};
            break;
        case SignalVerdict::ResetInBetween:
            lines = {
                "Start recording after the target's clock is set up, or live with the gap: the rest is "
                "good."};
            break;
        case SignalVerdict::Noise:
            lines = {"Check wiring and ground, and that the pin is the SWO pin."};
            break;
        case SignalVerdict::LineErrors:
            lines = {"Errors of the line come from a wrong rate as a rule, else from wiring or ground."};
            break;
        case SignalVerdict::Damaged:
            lines = {"Bytes were lost or changed on the way: \"tracehost report\" shows where."};
            break;
        case SignalVerdict::Unclear:
            lines = {"Record for longer."};
            break;
        case SignalVerdict::Good:
            break;
    }
    AddTrouble(lines, features, sheet);
    return lines;
}

std::vector<std::string> DescribeFeatures(const Swo::SignalFeatures& f) {
    std::vector<std::string> lines = {
        "bytes looked at          " + FormatCount(f.line.bytes),
        "in packets               " + PerCent(f.validity) + ", " + CountOf(f.packets, "packet") + ", " +
            CountOf(f.syncs, "sync mark"),
        "longest stretch without  " + CountOf(f.stretchLength, "byte") +
            (f.stretchLength > 0 ? " at " + FormatCount(f.stretchOffset) : ""),
        "entropy                  " + Decimal(f.line.entropy, 2) + " bits a byte",
        "bytes 0x00, 0xFF         " + PerCent(f.line.zeros) + ", " + PerCent(f.line.ones),
        "runs of one bit          " + PerCent(f.line.shortRuns) + " of " + FormatCount(f.line.innerRuns) +
            ", of three and more " + PerCent(f.line.longRuns)};
    std::string bits = "bits 0 to 7 set         ";
    for (const double share : f.line.bitSet) bits += " " + Decimal(100 * share, 0) + " %";
    lines.push_back(bits);
    std::string pairs = "neighbours equal        ";
    for (const double share : f.line.pairEqual) pairs += " " + Decimal(100 * share, 0) + " %";
    lines.push_back(pairs);
    if (f.framed || f.framesWithoutItm) lines.push_back("fit of the frames        " + PerCent(f.phaseScore));
    lines.push_back("errors of the line       " +
                    (f.lineErrors ? FormatCount(*f.lineErrors) : std::string("not told by this port")));
    return lines;
}

}  // namespace Korr::Plim::Trace::Tracehost
