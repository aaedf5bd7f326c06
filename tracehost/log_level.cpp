#include "tracehost/log_level.h"

#include <cstdio>
#include <cstdlib>

#include "source_utilities/environment_variables.h"
#include "source_utilities/visible_text.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr const char* kVariable = "KORR_TRACE_LOGGING";
constexpr long kHighest = 6;

}  // namespace

LogLevel ReadLogLevel() {
    LogLevel read;
    read.text = KORR_PLIM::platform::GetVariable(kVariable);
    const long number = std::strtol(read.text.c_str(), nullptr, 10);  // nearest for one that is too large
    if (number > 0 && number <= kHighest) read.level = static_cast<int>(number);
    if (read.text.empty() || read.text == std::to_string(read.level)) return read;
    read.trouble = std::string(kVariable) + " \"" + read.text + "\" is no level from 0 to 6: the plug-in " +
                   (read.level == 0 ? "logs nothing" : "takes it for " + std::to_string(read.level));
    return read;
}

void WarnOfLogLevel() {
    const LogLevel level = ReadLogLevel();
    if (level.trouble.empty()) return;
    std::fprintf(stderr, "tracehost: %s\n", KORR_PLIM::Visible(level.trouble).Text());
}

}  // namespace Korr::Plim::Trace::Tracehost
