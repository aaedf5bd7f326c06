#pragma once

#include <string>

namespace KORR_PLIM {

/// One module's record of the trace environment. Every module that needs it keeps its own; the environment
/// variables that the set-up writes are the process's.
struct TraceEnvironment {
    bool ready = false;
    std::string debugClientPid;  ///< process id of the debug client: digits, hexadecimal ones behind "0x"
    std::string loggingFolder;
    std::string dataFolder;
    std::string settingsFolder;
    std::string logFileName;
};

/// Runs the set-up unless the record is ready: debug-client id, folders, environment variables, log file
/// name. \throws source_utilities_error when the user's home is unknown, a folder cannot be made or a
/// variable cannot be set; the record then stays not ready and the next call runs the whole set-up again
void SetUpTraceEnvironment(TraceEnvironment& environment);
/// Opens the process's shared log with the record's file name. \throws source_utilities_error as
/// uLogManager::Open does
void OpenProcessLog(const TraceEnvironment& environment);

}  // namespace KORR_PLIM
