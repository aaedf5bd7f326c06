#include "source_utilities/trace_environment.h"

#include "source_utilities/environment.h"
#include "source_utilities/process.h"
#include "source_utilities/source_utilities_error.h"
#include "source_utilities/trace_folders.h"
#include "source_utilities/uLogManager.h"
#include "source_utilities/uString.h"
#include "source_utilities/uTime.h"

namespace KORR_PLIM {
namespace {

constexpr const char* kPidVariable = "KORR_TRACE_DEBUGCLIENT_PID";
constexpr const char* kLevelVariable = "KORR_TRACE_LOGGING";
constexpr const char* kLoggingVariable = "KORR_TRACE_LOGGING_DIR";
constexpr const char* kDataVariable = "KORR_TRACE_DATA_DIR";
constexpr const char* kSettingsVariable = "KORR_TRACE_SETTINGS_DIR";

constexpr std::size_t kLongestPid = 32;

/// Whether a text is a number from its first to its last character, in one of the forms that uString reads.
/// A debug client's id becomes part of a file name as it stands: a number followed by anything, such as
/// "77/../x", would name a path.
bool IsWholeNumber(const std::string& text) {
    if (text.empty() || text.size() > kLongestPid) return false;
    const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
    const char* const digits = isHexadecimal    ? "0123456789ABCDEFabcdef"
                               : text[0] == '0' ? "01234567"
                                                : "0123456789";
    return text.find_first_not_of(digits, isHexadecimal ? 2 : 0) == std::string::npos;
}

/// The debug client is the process that an inherited variable names, if it lives, else this one.
std::string DebugClientPid() {
    std::string pid = GetEnvironment(kPidVariable);
    if (IsWholeNumber(pid) && platform::ProcessExists(uString::ToNumber<uint32_t>(pid.c_str()))) return pid;
    pid = std::to_string(platform::CurrentProcessId());
    SetEnvironment(kPidVariable, pid.c_str());
    return pid;
}

void CreateOrThrow(const std::string& folder) {
    if (!CreateFolderTree(folder)) throw source_utilities_error("failed to create folder \"" + folder + "\"");
}

void SetUpFolders(TraceEnvironment& environment) {
    environment.loggingFolder.clear();
    GetLoggingFolder(environment.loggingFolder);
    GetDataFolder(environment.dataFolder);
    GetSettingsFolder(environment.settingsFolder);
    CreateOrThrow(environment.loggingFolder);
    CreateOrThrow(environment.dataFolder);
    CreateOrThrow(environment.settingsFolder);
}

/// Month, day and year without padding or separators, each from its own reading of the clock.
std::string UnpaddedDate() {
    std::string date = std::to_string(uTime().Month());
    date += std::to_string(uTime().Day());
    date += std::to_string(uTime().Year());
    return date;
}

}  // namespace

void SetUpTraceEnvironment(TraceEnvironment& environment) {
    if (environment.ready) return;
    environment.debugClientPid = DebugClientPid();
    SetUpFolders(environment);
    SetEnvironment(kLoggingVariable, environment.loggingFolder.c_str());
    SetEnvironment(kDataVariable, environment.dataFolder.c_str());
    SetEnvironment(kSettingsVariable, environment.settingsFolder.c_str());
    environment.logFileName = "korr_trace_log_" + UnpaddedDate() + "_" + environment.debugClientPid + ".txt";
    environment.ready = true;
}

void OpenProcessLog(const TraceEnvironment& environment) {
    uLogManager::Instance().Open(environment.logFileName.c_str(), kLevelVariable, kLoggingVariable, true);
}

}  // namespace KORR_PLIM
