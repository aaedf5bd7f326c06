#pragma once

#include <string>

namespace Korr::Plim::Trace::Tracehost {

/// The level in the environment (KORR_TRACE_LOGGING) as the plug-in reads it.
struct LogLevel {
    std::string text;  ///< as it stands; empty when it is not set
    int level = 0;     ///< 0: nothing is logged
    std::string
        trouble;  ///< what is wrong with it, and what the plug-in takes it for; empty for 0 to 6 and unset
};

LogLevel ReadLogLevel();

/// Says on standard error what is wrong with the level, if anything is.
void WarnOfLogLevel();

}  // namespace Korr::Plim::Trace::Tracehost
