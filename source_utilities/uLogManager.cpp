#include "source_utilities/uLogManager.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <memory>

#include "source_utilities/environment.h"
#include "source_utilities/file_system.h"
#include "source_utilities/trace_folders.h"
#include "source_utilities/visible_text.h"

namespace KORR_PLIM {
namespace {

constexpr uint64_t kLeastFreeBytes = 5'120'000;

bool HasRoomForLog(const std::string& folder) {
    uint64_t bytes = 0;
    return !folder.empty() && platform::FreeSpace(folder.c_str(), bytes) && bytes >= kLeastFreeBytes;
}

int32_t ReadLevel(const char* variable) {
    const long value = std::strtol(GetEnvironment(variable), nullptr, 10);
    return static_cast<int32_t>(
        std::clamp<long>(value, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()));
}

void LogFolders(uLogger& logger) {
    std::string folder;
    logger.Log(kLogMessage, 2, "Logger : trace user settings directory is %s",
               Visible(GetSettingsFolder(folder)).Text());
    logger.Log(kLogMessage, 2, "Logger : trace temporary data directory is %s",
               Visible(GetDataFolder(folder)).Text());
}

}  // namespace

uLogManager& uLogManager::Instance() {
    static auto* manager = new uLogManager;
    return *manager;
}

bool uLogManager::Open(const char* fileName, const char* levelVariable, const char* folderVariable,
                       bool shareByName) {
    if (fileName == nullptr || levelVariable == nullptr) return false;
    shared = shareByName;
    if (shared) {
        const auto found = loggers.find(fileName);
        current = found != loggers.end() ? found->second : nullptr;
    }
    if (current != nullptr) return true;
    const std::string folder = folderVariable != nullptr ? GetEnvironment(folderVariable) : "";
    if (!HasRoomForLog(folder)) return false;
    platform::MakeFolder(folder.c_str());
    level = ReadLevel(levelVariable);
    uLogger* const logger =
        made.emplace_back(std::make_unique<uLogger>(folder + platform::PathSeparator() + fileName, true))
            .get();
    if (shared) loggers[fileName] = logger;
    ++openCount;
    ApplyLevel(*logger);
    current = logger;
    LogFolders(*logger);
    return true;
}

void uLogManager::ApplyLevel(uLogger& logger) {
    const int32_t read = level;
    if (read < 1 || read > 6) {
        logger.SetEnabled(false);
        return;
    }
    logger.SetConsole(read == 2 || read >= 4);
    logger.SetDebugger(read >= 5);
    level = read <= 2 ? 1 : read <= 5 ? 2 : 3;
}

}  // namespace KORR_PLIM
