#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "fuzz/targets.h"
#include "source_utilities/environment.h"
#include "source_utilities/trace_environment.h"

namespace fuzz {

/// The trace environment of this process below its folder, with the log open at the level of ordinary lines.
/// To be made before the plug-in makes its own.
class TraceHome {
  public:
    static const TraceHome& Instance() {
        static const TraceHome home;
        return home;
    }
    const std::string& DataFolder() const { return environment.dataFolder; }
    const std::string& SettingsFolder() const { return environment.settingsFolder; }
    std::string LogFile() const { return environment.loggingFolder + "/" + environment.logFileName; }
    /// Empties a log that has grown. \return its length
    std::uintmax_t TrimLog() const {
        std::error_code missing;
        const auto size = std::filesystem::file_size(LogFile(), missing);
        if (missing) return 0;
        if (size <= kLongLog) return size;
        std::filesystem::resize_file(LogFile(), 0);
        return 0;
    }

  private:
    static constexpr std::uintmax_t kLongLog = 1 << 20;

    TraceHome() {
        const std::string home = Folder::Instance().Path("home");
        std::filesystem::create_directories(home);
        KORR_PLIM::SetEnvironment("USERPROFILE", home.c_str());
        KORR_PLIM::SetEnvironment("KORR_TRACE_LOGGING", "1");
        KORR_PLIM::SetUpTraceEnvironment(environment);
        KORR_PLIM::OpenProcessLog(environment);
    }

    KORR_PLIM::TraceEnvironment environment;
};

}  // namespace fuzz
