#pragma once

#include <exception>

#include "host_api/throw_error.h"
#include "source_utilities/log_call.h"
#include "source_utilities/visible_text.h"

namespace Korr::Plim::Trace::Tarnel {

/// Tag of the channel driver's log lines.
inline constexpr char kChannelDriverTag[] = "Tarnel_ChannelDriver";

/// Logs the text as an error line, then throws it. \throws cPelkitError always, severity 2
[[noreturn]] inline void LogAndThrow(const char* text) {
    KORR_PLIM::LogError("%s: %s", kChannelDriverTag, text);
    ThrowError(text);
}

/// Runs one step of what lets nothing out, a destructor or a notification: what it throws is logged as an
/// error line under the tag, and dropped.
template <typename Step>
void RunLogged(const char* tag, Step step) noexcept {
    const ThrownText thrown;
    try {
        step();
    } catch (const cPelkitError&) {
        KORR_PLIM::LogError("%s: %s", tag, KORR_PLIM::Visible(thrown.Get()).Text());
    } catch (const std::exception& error) {
        KORR_PLIM::LogError("%s: %s", tag, KORR_PLIM::Visible(error.what()).Text());
    } catch (...) {
        KORR_PLIM::LogError("%s: %s", tag, "Unknown exception");
    }
}

}  // namespace Korr::Plim::Trace::Tarnel
