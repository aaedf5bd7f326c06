#include "trace/signal_check.h"

#include <algorithm>
#include <cmath>

namespace Korr::Plim::Trace::Swo {

namespace {

// Thresholds. Seen: ITM at its own rate 0.9994 to 1.0 valid; at any other below 0.5; random bytes below 0.1.
constexpr double kGoodValidity = 0.99;
constexpr double kDamaged = 0.80;
constexpr double kRestGood = 0.95;  // beside a stretch of another rate
constexpr uint64_t kFewestJudged = 256;
constexpr uint64_t kFewestForNoise = 1024;
constexpr uint64_t kNoSyncBytes = 65536;
constexpr uint64_t kStretch = 64;  // damage by lost bytes ends within 16
constexpr double kManchesterRuns = 0.70;
constexpr double kManchesterLongRuns = 0.05;  // the code has none; a byte that begins at a wrong place may
constexpr double kManchesterEntropy = 4.5;
constexpr double kNoiseEntropy = 7.8;
constexpr double kTooFastRuns = 0.385;
constexpr double kNearRatio = 1.18;
constexpr double kPhase = 0.95;

/// How far a measure is above a threshold, of the room up to `most`; below 0: it is not.
double Above(double measure, double threshold, double most) {
    return (measure - threshold) / (most - threshold);
}
double Below(double measure, double threshold, double least = 0) {
    return (threshold - measure) / (threshold - least);
}

bool Garbage(const SignalFeatures& f) {
    const bool framesFit = !f.framed || f.phaseScore == 0 || f.phaseScore >= kPhase;
    return f.line.bytes >= kFewestJudged && (f.validity < kDamaged || !framesFit);
}

double NoBytes(const SignalFeatures& f) {
    return f.line.bytes == 0 && !(f.lineErrors.value_or(0) > 0) ? 1 : -1;
}

double Manchester(const SignalFeatures& f) {
    if (f.line.bytes < kFewestJudged || f.syncs > 0 || f.line.longRuns > kManchesterLongRuns) return -1;
    return std::min(Above(f.line.shortRuns, kManchesterRuns, 0.9), Below(f.line.entropy, kManchesterEntropy));
}

/// Beside the stretch all is well: where bytes are damaged all over, the longest damage is no reset.
double ResetInBetween(const SignalFeatures& f) {
    const bool inside = f.stretchOffset > 0 && f.stretchOffset + f.stretchLength < f.line.bytes;
    if (!inside || f.stretchLength < kStretch || f.framed) return -1;
    const auto all = static_cast<double>(f.line.bytes);
    const auto stretch = static_cast<double>(f.stretchLength);
    if (all * (1 - f.validity) > 2 * stretch) return -1;
    const double rest = f.validity * all / (all - stretch);
    return Above(rest, kRestGood, 1);
}

double FramedGood(const SignalFeatures& f) {
    const bool fits = f.phaseScore == 0 || f.phaseScore >= kPhase;  // 0: the user said so
    return f.framed && fits ? Above(f.validity, kDamaged, 0.95) : -1;
}

double GoodNoSync(const SignalFeatures& f) {
    if (f.framed || f.syncs > 0 || f.line.bytes < kNoSyncBytes) return -1;
    return Above(f.validity, kGoodValidity, 1);
}

double GoodLine(const SignalFeatures& f) {
    if (f.framed || f.packets == 0 || f.lineErrors.value_or(0) > 0) return -1;
    return Above(f.validity, kGoodValidity, 1);
}

/// A port at a wrong rate has errors of the line as a rule: garbage is told by what the rate rules see in it.
double LineErrors(const SignalFeatures& f) {
    const bool told = f.lineErrors.value_or(0) > 0 || f.readErrorLogged;
    return told && !Garbage(f) ? 1 : -1;
}

double Damaged(const SignalFeatures& f) {
    return f.packets > 0 && !Garbage(f) ? Above(f.validity, kDamaged, kGoodValidity) : -1;
}

double NearFaster(const SignalFeatures& f) {
    if (!Garbage(f)) return -1;
    const auto ratio = EstimateTooFast(f.line);
    return ratio && ratio->Middle() <= kNearRatio ? 1 : -1;
}

double TooFast(const SignalFeatures& f) {
    if (!Garbage(f)) return -1;
    if (EstimateTooFast(f.line)) return 1;
    return Below(f.line.shortRuns, kTooFastRuns);
}

double NoItm(const SignalFeatures& f) {
    if (f.line.bytes < kFewestForNoise) return -1;  // few bytes fit into frames by chance
    return f.framesWithoutItm ? Above(f.phaseScore, kPhase, 1) : -1;
}

double Noise(const SignalFeatures& f) {
    if (!Garbage(f) || f.line.bytes < kFewestForNoise) return -1;
    return Above(f.line.entropy, kNoiseEntropy, 8);
}

double NearSlower(const SignalFeatures& f) { return Garbage(f) && SeemsLittleTooSlow(f.line) ? 0.5 : -1; }

/// What is left has lost bits. A line that idles leaves 0xFF, and bits that were joined leave many values.
double TooSlow(const SignalFeatures& f) {
    if (!Garbage(f)) return -1;
    return f.line.ones >= 0.02 || f.line.entropy > 6.3 ? 0.5 : 0;
}

constexpr struct {
    SignalVerdict verdict;
    double (*margin)(const SignalFeatures&);  ///< below 0: the rule does not fit
} kRules[] = {{SignalVerdict::NoBytes, NoBytes},
              {SignalVerdict::Manchester, Manchester},
              {SignalVerdict::ResetInBetween, ResetInBetween},
              {SignalVerdict::TpiuFramed, FramedGood},
              {SignalVerdict::GoodNoSync, GoodNoSync},
              {SignalVerdict::Good, GoodLine},
              {SignalVerdict::LineErrors, LineErrors},
              {SignalVerdict::Damaged, Damaged},
              {SignalVerdict::RateNear, NearFaster},
              {SignalVerdict::RateTooHigh, TooFast},
              {SignalVerdict::TpiuNoItm, NoItm},
              {SignalVerdict::Noise, Noise},
              {SignalVerdict::RateNear, NearSlower},
              {SignalVerdict::RateTooLow, TooSlow}};

Confidence InWords(double margin) {
    constexpr double kHigh = 0.5;
    constexpr double kFair = 0.1;
    if (margin > kHigh) return Confidence::High;
    return margin > kFair ? Confidence::Fair : Confidence::Low;
}

}  // namespace

std::string_view SignalVerdictName(SignalVerdict verdict) {
    static constexpr std::array<std::string_view, kVerdicts> kNames = {
        "no-bytes",      "good",         "good-no-sync", "tpiu-framed", "tpiu-no-itm",
        "rate-too-high", "rate-too-low", "rate-near",    "manchester",  "reset-in-between",
        "noise",         "line-errors",  "damaged",      "unclear"};
    return kNames[static_cast<size_t>(verdict)];
}

std::string_view ConfidenceName(Confidence confidence) {
    static constexpr std::array<std::string_view, 3> kNames = {"unsure", "likely", "sure"};
    return kNames[static_cast<size_t>(confidence)];
}

bool IsUsable(const SignalFeatures& features, SignalVerdict verdict) {
    switch (verdict) {
        case SignalVerdict::Good:
        case SignalVerdict::GoodNoSync:
        case SignalVerdict::TpiuFramed:
        case SignalVerdict::ResetInBetween:
        case SignalVerdict::Damaged:
            return true;
        case SignalVerdict::LineErrors:
        case SignalVerdict::Unclear:
            return features.packets > 0;
        default:
            return false;
    }
}

Diagnosis Diagnose(const SignalFeatures& features) {
    for (const auto& rule : kRules) {
        const double margin = rule.margin(features);
        if (margin < 0) continue;
        Diagnosis diagnosis{rule.verdict, InWords(margin), std::nullopt};
        if (rule.verdict == SignalVerdict::RateNear || rule.verdict == SignalVerdict::RateTooHigh) {
            diagnosis.ratio = EstimateTooFast(features.line);
        }
        return diagnosis;
    }
    return {};
}

}  // namespace Korr::Plim::Trace::Swo
