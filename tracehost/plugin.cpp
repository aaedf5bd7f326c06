#include "tracehost/plugin.h"

#include <filesystem>

namespace Korr::Plim::Trace::Tracehost {

namespace fs = std::filesystem;

/// Installed on Windows, the plug-in lies alone in the folder above the program's.
std::string PluginToLoad(const std::string& path) {
    if (path != kDefaultPlugin) return path;
    const fs::path folder = ProgramFolder();
    const fs::path above = folder.parent_path();
    const std::string file = std::string(kDefaultPlugin) + "." + KORR_PLIM::platform::LibraryExtension();
    std::error_code ignored;
    const bool isAboveAlone = !fs::exists(folder / file, ignored) && fs::exists(above / file, ignored);
    return isAboveAlone ? (above / kDefaultPlugin).string() : path;
}

}  // namespace Korr::Plim::Trace::Tracehost
