#pragma once

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "source_utilities/environment.h"
#include "source_utilities/trace_environment.h"
#include "source_utilities/uLogManager.h"

namespace support {

/// The lines that this process wrote to its log. Opens the process's log in a folder of its own at the level
/// of chatty lines; lines of before the construction do not count.
class LogLines {
  public:
    LogLines() : start(Text().size()) {}

    /// Lines since the construction, as their mask letters, a blank and their text: "E Tarnel_Receiver: ...".
    std::vector<std::string> Get() const { return LinesOf(Text().substr(start)); }
    /// Whether exactly this line (as Get gives it) was written.
    bool Has(const std::string& line) const {
        for (const std::string& written : Get()) {
            if (written == line) return true;
        }
        return false;
    }

    /// Lines that an action writes at another level of the environment, "0" to "6", to a log of its own. The
    /// action must not open the process's log. Afterwards the log is as it was.
    template <typename Action>
    static std::vector<std::string> AtLevel(const char* level, Action&& action) {
        Text();  // the process's log is there first
        const std::filesystem::path path = OpenAnother(level);
        const std::vector<std::string> atStart = LinesOf(Content(path));
        action();
        std::vector<std::string> lines = LinesOf(Content(path));
        lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(atStart.size()));
        OpenAnother(kUsualLevel);
        KORR_PLIM::OpenProcessLog(TheHome().environment);
        return lines;
    }

  private:
    static constexpr const char* kUsualLevel = "3";  // chatty lines too

    /// The trace environment of this process under a home of its own, deleted at the end as far as the
    /// platform allows. The log is the one that the plug-in opens.
    struct Home {
        std::filesystem::path path = std::filesystem::temp_directory_path() /
                                     ("tarnel_test_home_" + std::to_string(std::random_device{}()));
        KORR_PLIM::TraceEnvironment environment;
        Home() {
            std::filesystem::create_directories(path);
            KORR_PLIM::SetEnvironment("USERPROFILE", path.string().c_str());
            KORR_PLIM::SetEnvironment("KORR_TRACE_DEBUGCLIENT_PID", "");
            KORR_PLIM::SetEnvironment("KORR_TRACE_LOGGING", kUsualLevel);
            KORR_PLIM::SetUpTraceEnvironment(environment);
            KORR_PLIM::OpenProcessLog(environment);
        }
        ~Home() {
            std::error_code ignored;
            std::filesystem::remove_all(path, ignored);
        }
    };

    static const Home& TheHome() {
        static const Home home;
        return home;
    }
    static std::string Text() {
        const KORR_PLIM::TraceEnvironment& environment = TheHome().environment;
        return Content(std::filesystem::path(environment.loggingFolder) / environment.logFileName);
    }
    /// The level of a log that is open stays: a new level needs a new log.
    static std::filesystem::path OpenAnother(const char* level) {
        static int opened = 0;
        const std::string name = "another_log_" + std::to_string(++opened) + ".txt";
        KORR_PLIM::SetEnvironment("KORR_TRACE_LOGGING", level);
        KORR_PLIM::uLogManager::Instance().Open(name.c_str(), "KORR_TRACE_LOGGING", "KORR_TRACE_LOGGING_DIR",
                                                true);
        return std::filesystem::path(TheHome().environment.loggingFolder) / name;
    }
    static std::string Content(const std::filesystem::path& path) {
        std::ifstream file(path);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }
    static std::vector<std::string> LinesOf(std::string text) {
        std::vector<std::string> lines;
        for (std::size_t end = 0; (end = text.find('\n')) != std::string::npos; text.erase(0, end + 1)) {
            lines.push_back(WithoutTime(text.substr(0, end)));
        }
        return lines;
    }
    /// Turns "M     12:34:56:789 | text" into "M text".
    static std::string WithoutTime(const std::string& line) {
        const std::size_t bar = line.find("| ");
        if (bar == std::string::npos) return line;
        std::string mask;
        for (const char letter : line.substr(0, 5)) {
            if (letter != ' ') mask += letter;
        }
        return mask + " " + line.substr(bar + 2);
    }

    std::size_t start;
};

}  // namespace support
