#pragma once

#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "source_utilities/environment.h"
#include "tests/support/log_lines.h"

namespace Korr::Plim::Trace::Tarnel {

/// A home of its own for the test program, so that the process's log lands there. Made before the first
/// collector, because the process opens its log once.
class LogHome {
  public:
    explicit LogHome(const char* level) {
        std::random_device random;
        home = std::filesystem::temp_directory_path() / ("collector_test_" + std::to_string(random()));
        std::filesystem::create_directories(home);
        KORR_PLIM::SetEnvironment("USERPROFILE", home.string().c_str());
        KORR_PLIM::SetEnvironment("KORR_TRACE_LOGGING", level);
        KORR_PLIM::SetEnvironment("KORR_TRACE_DEBUGCLIENT_PID", "0");
    }
    ~LogHome() {
        std::error_code ignored;
        std::filesystem::remove_all(home, ignored);
    }
    LogHome(const LogHome&) = delete;
    LogHome& operator=(const LogHome&) = delete;

    const std::filesystem::path& Path() const { return home; }

    /// Lines of the log so far, each as its mask letter, a blank and the text behind the time stamp.
    std::vector<std::string> Lines() const {
        std::vector<std::string> lines;
        std::error_code ignored;
        for (const auto& entry : std::filesystem::directory_iterator(home / ".KORR-trace", ignored)) {
            if (entry.path().filename().string().rfind("korr_trace_log", 0) != 0) continue;
            const std::vector<std::string> more = support::TraceFolder::LinesOf(entry.path().string(), 0);
            lines.insert(lines.end(), more.begin(), more.end());
        }
        return lines;
    }

  private:
    std::filesystem::path home;
};

}  // namespace Korr::Plim::Trace::Tarnel
