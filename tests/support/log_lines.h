#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "source_utilities/trace_environment.h"
#include "source_utilities/uLogManager.h"
#include "tests/support/log_home.h"

namespace support {

/// A home with the trace folders in it and the process's log open at level 3. The environment variables and
/// the log are set as the plug-in sets them. Made with the first use.
class TraceFolder : public LogHome {
  public:
    static TraceFolder& Instance() {
        static TraceFolder instance;
        return instance;
    }

    const std::string& LoggingFolder() const { return environment.loggingFolder; }
    const std::string& DataFolder() const { return environment.dataFolder; }
    const std::string& SettingsFolder() const { return environment.settingsFolder; }
    std::string LogFile() const {
        return (std::filesystem::path(environment.loggingFolder) / environment.logFileName).string();
    }
    /// Closes the log's file; its next line opens it again.
    static void CloseLog() {
        KORR_PLIM::uLogger* const logger = KORR_PLIM::uLogManager::Instance().CurrentLogger();
        logger->SetEnabled(logger->SetEnabled(false));
    }

  private:
    TraceFolder() : LogHome("3") {
        KORR_PLIM::SetUpTraceEnvironment(environment);
        KORR_PLIM::OpenProcessLog(environment);
    }

    KORR_PLIM::TraceEnvironment environment;
};

/// The lines of the process's log from its construction on.
class LogLines {
  public:
    LogLines() : from(TraceFolder::ReadFile(TraceFolder::Instance().LogFile()).size()) {}
    /// Each as its mask letter, a blank and its text: "E Tarnel_Receiver: ...".
    std::vector<std::string> Get() const {
        return TraceFolder::LinesOf(TraceFolder::Instance().LogFile(), from);
    }
    bool Has(const std::string& line) const { return Count(line) != 0; }
    std::size_t Count(const std::string& line) const {
        std::size_t count = 0;
        for (const std::string& written : Get()) count += written == line ? 1 : 0;
        return count;
    }

  private:
    std::size_t from;
};

/// A log of its own at another level, current until the object goes; then the process's log is again.
class LogAtLevel {
  public:
    explicit LogAtLevel(const std::string& level) {
        static int count = 0;
        const std::string name = "level_" + std::to_string(++count) + ".txt";
        file = (std::filesystem::path(TraceFolder::Instance().LoggingFolder()) / name).string();
        Open(level, name);
    }
    ~LogAtLevel() {
        static int count = 0;
        Open("3", "back_" + std::to_string(++count) + ".txt");
        Open("3", std::filesystem::path(TraceFolder::Instance().LogFile()).filename().string());
    }
    LogAtLevel(const LogAtLevel&) = delete;
    LogAtLevel& operator=(const LogAtLevel&) = delete;

    /// Without the two lines of the opening.
    std::vector<std::string> Get() const {
        std::vector<std::string> lines = TraceFolder::LinesOf(file, 0);
        lines.erase(lines.begin(), lines.begin() + (lines.size() < 2 ? 0 : 2));
        return lines;
    }

  private:
    static void Open(const std::string& level, const std::string& name) {
        KORR_PLIM::SetEnvironment("KORR_TRACE_LOGGING", level.c_str());
        KORR_PLIM::uLogManager::Instance().Open(name.c_str(), "KORR_TRACE_LOGGING", "KORR_TRACE_LOGGING_DIR",
                                                true);
    }
    std::string file;
};

/// Lines of an action, each with the lowest level at which it is written.
using LevelledLines = std::vector<std::pair<int, std::string>>;

/// The lines that there are at a level.
inline std::vector<std::string> LinesUpTo(int level, const LevelledLines& lines) {
    std::vector<std::string> written;
    for (const auto& [lowest, line] : lines) {
        if (lowest <= level) written.push_back(line);
    }
    return written;
}

}  // namespace support
