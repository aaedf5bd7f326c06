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

namespace support {

/// The lines that this process wrote to its log. Opens the process's log in a folder of its own at the level
/// of chatty lines; lines of before the construction do not count.
class LogLines {
  public:
    LogLines() : start(Text().size()) {}

    /// Lines since the construction, as their mask letters, a blank and their text: "E Tarnel_Receiver: ...".
    std::vector<std::string> Get() const {
        std::vector<std::string> lines;
        std::string text = Text().substr(start);
        for (std::size_t end = 0; (end = text.find('\n')) != std::string::npos; text.erase(0, end + 1)) {
            lines.push_back(WithoutTime(text.substr(0, end)));
        }
        return lines;
    }
    /// Whether exactly this line (as Get gives it) was written.
    bool Has(const std::string& line) const {
        for (const std::string& written : Get()) {
            if (written == line) return true;
        }
        return false;
    }

  private:
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
            KORR_PLIM::SetEnvironment("KORR_TRACE_LOGGING", "3");
            KORR_PLIM::SetUpTraceEnvironment(environment);
            KORR_PLIM::OpenProcessLog(environment);
        }
        ~Home() {
            std::error_code ignored;
            std::filesystem::remove_all(path, ignored);
        }
    };

    static std::string Text() {
        static const Home home;
        std::ifstream file(std::filesystem::path(home.environment.loggingFolder) /
                           home.environment.logFileName);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
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
