#include "source_utilities/trace_folders.h"

#include <algorithm>

#include "source_utilities/environment.h"
#include "source_utilities/environment_variables.h"
#include "source_utilities/file_system.h"
#include "source_utilities/source_utilities_error.h"

namespace KORR_PLIM {
namespace {

std::string UserHome() {
    std::string home = GetEnvironment("USERPROFILE");
    if (home.empty() && platform::HomeFallbackVariable() != nullptr) {
        home = GetEnvironment(platform::HomeFallbackVariable());
    }
    if (home.empty()) throw source_utilities_error("failed to read environment variable \"USERPROFILE\"");
    return home;
}

std::string BaseFolder() { return JoinPath(UserHome(), ".KORR-trace"); }

std::string& CreateAs(std::string& folder, const std::string& path) {
    CreateFolderTree(path);
    return folder = path;
}

}  // namespace

std::string JoinPath(const std::string& path, const std::string& component) {
    const char separator = platform::PathSeparator();
    std::string joined = path;
    if (!joined.empty() && joined.back() != separator) joined += separator;
    joined += component;
    if (platform::AlternativePathSeparator() != '\0') {
        std::replace(joined.begin(), joined.end(), platform::AlternativePathSeparator(), separator);
    }
    const auto isDoubled = [separator](char left, char right) {
        return left == separator && right == separator;
    };
    joined.erase(std::unique(joined.begin(), joined.end(), isDoubled), joined.end());
    return joined;
}

bool CreateFolderTree(const std::string& path) {
    const char separator = platform::PathSeparator();
    bool there = false;
    for (std::size_t end = 0; end < path.size();) {
        const std::size_t begin = end;
        end = std::min(path.find(separator, begin), path.size());
        // An empty part is the root or a doubled separator, one that ends in ':' a drive.
        if (end > begin && path[end - 1] != ':') {
            there = platform::MakeTreeFolder(path.substr(0, end).c_str());
        }
        ++end;
    }
    return there;
}

std::string& GetLoggingFolder(std::string& folder) { return CreateAs(folder, BaseFolder()); }

std::string& GetDataFolder(std::string& folder) { return CreateAs(folder, JoinPath(BaseFolder(), "data")); }

std::string& GetSettingsFolder(std::string& folder) {
    return CreateAs(folder, JoinPath(BaseFolder(), "settings"));
}

std::string GetWorkingFolder() {
    std::string folder;
    if (!platform::WorkingFolder(folder)) {
        throw source_utilities_error("failed to get current working directory");
    }
    return folder;
}

}  // namespace KORR_PLIM
