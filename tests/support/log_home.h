#pragma once

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "source_utilities/environment.h"

namespace support {

/// A home of its own for the test program, so that the process's log lands there once it is opened, which
/// happens once in a process. Deleted at the end as far as the platform allows.
class LogHome {
  public:
    /// \param level of the log, as in the environment: 3 writes all lines, to the file only
    explicit LogHome(const char* level) {
        std::random_device random;
        home = std::filesystem::temp_directory_path() / ("tarnel-test-" + std::to_string(random()));
        std::filesystem::create_directories(home);
        KORR_PLIM::SetEnvironment("USERPROFILE", home.string().c_str());
        KORR_PLIM::SetEnvironment("KORR_TRACE_DEBUGCLIENT_PID", "");
        KORR_PLIM::SetEnvironment("KORR_TRACE_LOGGING", level);
    }
    ~LogHome() {
        std::error_code ignored;
        std::filesystem::remove_all(home, ignored);
    }
    LogHome(const LogHome&) = delete;
    LogHome& operator=(const LogHome&) = delete;

    const std::filesystem::path& Path() const { return home; }
    /// Path of a file in the home.
    std::string Path(const std::string& name) const { return (home / name).string(); }

    /// Lines of all logs in the home so far, each as its mask letter, a blank and its text.
    std::vector<std::string> Lines() const {
        std::vector<std::string> lines;
        std::error_code ignored;
        for (const auto& entry : std::filesystem::directory_iterator(home / ".KORR-trace", ignored)) {
            if (entry.path().filename().string().rfind("korr_trace_log", 0) != 0) continue;
            const std::vector<std::string> more = LinesOf(entry.path().string(), 0);
            lines.insert(lines.end(), more.begin(), more.end());
        }
        return lines;
    }
    /// Lines written to a log file since `from`, each as its mask letter, a blank and the message.
    static std::vector<std::string> LinesOf(const std::string& file, std::size_t from) {
        std::vector<std::string> lines;
        std::istringstream text(ReadFile(file).substr(from));
        for (std::string line; std::getline(text, line);) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            lines.push_back(WithoutTime(line));
        }
        return lines;
    }
    static std::string ReadFile(const std::string& name) {
        std::ifstream file(name, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    static void WriteFile(const std::string& name, const std::string& content) {
        std::ofstream(name, std::ios::binary | std::ios::trunc) << content;
    }

  private:
    // "M     12:34:56:789 | text" becomes "M text".
    static std::string WithoutTime(const std::string& line) {
        const std::size_t bar = line.find("| ");
        const std::size_t letter = line.find_first_not_of(' ');
        if (bar == std::string::npos || letter > 4) return line;
        return line.substr(letter, 1) + " " + line.substr(bar + 2);
    }

    std::filesystem::path home;
};

}  // namespace support
