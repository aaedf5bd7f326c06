#pragma once

#include "host_api/cPelkitError.h"
#include "source_utilities/log_call.h"

namespace Korr::Plim::Trace::Tarnel {

/// Tag of the channel driver's log lines.
inline constexpr char kChannelDriverTag[] = "Tarnel_ChannelDriver";

/// Throws the host's error. \throws cPelkitError always, severity 2
[[noreturn]] inline void Fail(const char* text) { throw cPelkitError(text, cPelkitErrorIF::eSEVERITY_ERROR); }

/// Logs the text as an error line, then throws it. \throws cPelkitError always, severity 2
[[noreturn]] inline void LogAndFail(const char* text) {
    KORR_PLIM::LogError("%s: %s", kChannelDriverTag, text);
    Fail(text);
}

}  // namespace Korr::Plim::Trace::Tarnel
