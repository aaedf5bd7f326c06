#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

#include "trace/signal_features.h"

namespace Korr::Plim::Trace::Swo {

/// Why a capture is as it is.
enum class SignalVerdict : uint8_t {
    NoBytes,         ///< nothing was received
    Good,            ///< ITM packets, as good as all of them whole
    GoodNoSync,      ///< the same, but without a synchronisation packet in 64 KiB: others cannot read it
    TpiuFramed,      ///< ITM packets in TPIU frames
    TpiuNoItm,       ///< TPIU frames in which no stream is ITM
    RateTooHigh,     ///< the port runs faster than the line
    RateTooLow,      ///< the port runs slower than the line
    RateNear,        ///< the port is some per cent off the line
    Manchester,      ///< the pin sends Manchester code
    ResetInBetween,  ///< the target sent at another rate for a while
    Noise,           ///< no SWO signal
    LineErrors,      ///< the port's driver reported errors of the line
    Damaged,         ///< ITM packets, of which a part is broken
    Unclear,         ///< too little, or nothing that is known
};
inline constexpr int kVerdicts = static_cast<int>(SignalVerdict::Unclear) + 1;

/// The name that files and reports show: "rate-too-high".
std::string_view SignalVerdictName(SignalVerdict verdict);

/// How far the measures are from where another verdict would begin.
enum class Confidence : uint8_t { Low, Fair, High };
std::string_view ConfidenceName(Confidence confidence);  ///< "unsure", "likely", "sure"

/// What is measured at the beginning of a capture.
struct SignalFeatures {
    LineFeatures line;
    /// Share of bytes that stand in well-formed assigned packets, found by a decoder that loses step at
    /// damage.
    double validity = 0;
    uint64_t packets = 0;                ///< of those
    uint64_t syncs = 0;                  ///< synchronisation packets
    uint64_t stretchOffset = 0;          ///< of the longest stretch without a packet
    uint64_t stretchLength = 0;          ///< bytes; 0: there is none
    bool framed = false;                 ///< decoded out of TPIU frames
    bool framesWithoutItm = false;       ///< TPIU frames, no stream of which is ITM
    double phaseScore = 0;               ///< share of bytes in the commonest streams of the best phase
    std::optional<uint64_t> lineErrors;  ///< counted by the port's driver while recording; absent: not told
    bool readErrorLogged = false;        ///< the log holds the platform's error for an aborted read
};

struct Diagnosis {
    SignalVerdict verdict = SignalVerdict::Unclear;
    Confidence confidence = Confidence::Low;
    std::optional<RateRatio> ratio;  ///< port rate / line rate, when it can be told
};

/// Decides by a table of rules, the first of which that fits gives the verdict.
Diagnosis Diagnose(const SignalFeatures& features);

/// Whether what was received can be used: packets of the target stand in it. Of few bytes any packet is
/// believed.
bool IsUsable(const SignalFeatures& features, SignalVerdict verdict);

}  // namespace Korr::Plim::Trace::Swo
