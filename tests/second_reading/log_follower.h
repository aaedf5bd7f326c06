#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "source_utilities/environment.h"
#include "source_utilities/trace_environment.h"

namespace second_reading {

/// The process's log, opened at level 1 in a home of its own and read on from where the last look ended.
class LogFollower {
  public:
    static LogFollower& Instance() {
        static LogFollower follower;
        return follower;
    }
    LogFollower(const LogFollower&) = delete;
    LogFollower& operator=(const LogFollower&) = delete;

    /// Lines since the last call, as their mask letter, a blank and their text.
    std::vector<std::string> NewLines() {
        std::vector<std::string> lines;
        file.clear();
        file.seekg(position);  // without a seek the C runtime of Windows stays at the end that it has met
        for (std::string line; std::getline(file, line);) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            lines.push_back(Letter(line) + " " + line.substr(line.find("| ") + 2));
        }
        file.clear();
        position = file.tellg();
        return lines;
    }

  private:
    LogFollower() {
        std::filesystem::create_directories(home);
        KORR_PLIM::SetEnvironment("USERPROFILE", home.string().c_str());
        KORR_PLIM::SetEnvironment("KORR_TRACE_DEBUGCLIENT_PID", "");
        KORR_PLIM::SetEnvironment("KORR_TRACE_LOGGING", "1");
        KORR_PLIM::TraceEnvironment environment;
        KORR_PLIM::SetUpTraceEnvironment(environment);
        KORR_PLIM::OpenProcessLog(environment);
        file.open(std::filesystem::path(environment.loggingFolder) / environment.logFileName,
                  std::ios::binary);
        NewLines();
    }
    ~LogFollower() {
        file.close();
        std::error_code ignored;
        std::filesystem::remove_all(home, ignored);
    }
    static std::string Letter(const std::string& line) {
        const std::size_t letter = line.find_first_not_of(' ');
        return letter < 5 ? line.substr(letter, 1) : std::string("?");
    }

    std::filesystem::path home =
        std::filesystem::temp_directory_path() / ("second_reading_" + std::to_string(std::random_device{}()));
    std::ifstream file;
    std::ifstream::pos_type position = 0;
};

}  // namespace second_reading
