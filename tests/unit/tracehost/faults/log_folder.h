#pragma once

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "source_utilities/environment.h"
#include "tracehost/standard_output.h"

namespace log_folder {

namespace fs = std::filesystem;

/// A folder with a log in it, and an environment that names it, as the plug-in leaves them after CreateRcvr.
class LogFolder {
  public:
    LogFolder() {
        folder = fs::temp_directory_path() / ("tarnel-log-" + std::to_string(std::random_device()()));
        fs::create_directories(folder);
        Set("KORR_TRACE_LOGGING_DIR", folder.string());
        Set("KORR_TRACE_DATA_DIR", "data");
        Set("KORR_TRACE_SETTINGS_DIR", "settings");
        Set("KORR_TRACE_DEBUGCLIENT_PID", "77");
        Set("KORR_TRACE_LOGGING", "1");
        Set("USERPROFILE", folder.string());
        Append("M     00:00:00:000 | Logger : begun\n");
    }
    ~LogFolder() {
        std::error_code ignored;
        fs::remove_all(folder, ignored);
    }
    static void Set(const char* name, const std::string& value) {
        Korr::Plim::Trace::Tracehost::SetProcessVariable(name, value.c_str());
    }
    std::string Path() const { return folder.string(); }
    std::string Log() const { return (folder / "korr_trace_log_11222026_77.txt").string(); }
    void Append(const std::string& text) const {
        std::ofstream(Log(), std::ios::app | std::ios::binary) << text;
    }
    void Error(const std::string& text) const { Append("    E 00:00:01:000 | " + text + "\n"); }

  private:
    fs::path folder;
};

}  // namespace log_folder
