#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "source_utilities/uLogger.h"

namespace KORR_PLIM {

/// The process's log: the current logger and the level. Made on first use, never destroyed, nor are its
/// loggers. Takes no lock: Open is called from the host's thread; Level and CurrentLogger from any.
class uLogManager {
  public:
    static uLogManager& Instance();

    /// Makes the logger of a file, unless there is one already.
    /// \param fileName name of the log file
    /// \param levelVariable environment variable that holds the level
    /// \param folderVariable environment variable that holds the folder
    /// \param shareByName keep one logger per file name
    /// \return false, and the process then runs without a log, for a null file name or level variable, an
    /// unknown folder, and a folder with less than 5,120,000 bytes free
    /// \throws source_utilities_error when the user's home is unknown; the logger is then open nevertheless
    bool Open(const char* fileName, const char* levelVariable, const char* folderVariable, bool shareByName);
    /// Effective level; a caller writes a line only when this reaches the line's threshold.
    int32_t Level() const { return level; }
    /// The current logger, or null.
    uLogger* CurrentLogger() const { return current; }
    /// Loggers made so far.
    int32_t OpenCount() const { return openCount; }

  private:
    uLogManager() = default;
    void ApplyLevel(uLogger& logger);

    std::atomic<uLogger*> current{nullptr};
    std::atomic<int32_t> level{0};
    bool shared = false;
    int32_t openCount = 0;
    std::vector<std::unique_ptr<uLogger>> made;  ///< all of them, so that none is lost
    std::map<std::string, uLogger*> loggers;     ///< the shared ones, by file name
};

}  // namespace KORR_PLIM
