#pragma once

#include <array>

namespace Korr::Plim::Trace::Tracehost {

/// Exit statuses of the program, the same for every command.
inline constexpr int kDone = 0;
inline constexpr int kFailed = 1;
inline constexpr int kWrongUsage = 2;
inline constexpr int kTraceLost = 3;
inline constexpr int kNothingUsable = 4;
inline constexpr int kCutShort = 5;

struct ExitStatus {
    int status;
    const char* meaning;  ///< one line, as help, documents and man page show it
};

/// All of them, in ascending order. docs/exit-status.md and the man page hold the same table; a test
/// compares.
inline constexpr std::array<ExitStatus, 6> kExitStatuses = {{
    {kDone, "done"},
    {kFailed, "the plug-in refused, or something failed"},
    {kWrongUsage, "wrong usage: a command, an option or a file that cannot be meant"},
    {kTraceLost, "done, but trace was lost"},
    {kNothingUsable, "done, but nothing usable came"},
    {kCutShort, "the recording was cut short; what came until then is saved"},
}};

}  // namespace Korr::Plim::Trace::Tracehost
