#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "source_utilities/uLogger.h"

namespace KORR_PLIM {

/// The process's log: the current logger and the level. Made on first use, never destroyed. Takes no lock:
/// Open is called from the host's thread.
class uLogManager {
  public:
    static uLogManager& Instance();

    /// Makes the logger of a file, unless there is one already.
    /// \param fileName name of the log file
    /// \param levelVariable environment variable that holds the level
    /// \param folderVariable environment variable that holds the folder, or null
    /// \param shared keep one logger per file name
    /// \return false without a name or level variable, and when the folder has too little free space
    bool Open(const char* fileName, const char* levelVariable, const char* folderVariable, bool shared);
    /// Effective level; a caller writes a line only when this reaches the line's threshold.
    int32_t Level() const { return level; }
    /// The current logger, or null.
    uLogger* CurrentLogger() const { return current; }

  private:
    uLogManager() = default;

    uLogger* current = nullptr;
    int32_t level = 0;
    bool shared = false;
    int32_t openCount = 0;
    std::map<std::string, uLogger*> loggers;
};

}  // namespace KORR_PLIM
