#include "channel/capture_name.h"

#include <algorithm>

#include "source_utilities/file_system.h"

namespace Korr::Plim::Trace::Tarnel {
namespace {

namespace platform = KORR_PLIM::platform;

std::string FileName(const std::string& shortName) { return "swotrace_" + shortName + ".bin"; }

bool LeadsUpwards(const std::string& part) {
    const bool nothingElse = part.find_first_not_of(". ") == std::string::npos;
    return nothingElse && std::count(part.begin(), part.end(), '.') >= 2;
}

}  // namespace

std::string ShortCpuName(const std::string& cpuName) {
    const std::size_t slash = cpuName.find('/');
    const bool twoParts = slash != std::string::npos && slash == cpuName.rfind('/');
    return twoParts ? cpuName.substr(slash + 1) : cpuName;
}

bool StaysInDataFolder(const std::string& shortName) {
    std::string separators(1, platform::PathSeparator());
    if (platform::AlternativePathSeparator() != '\0') separators += platform::AlternativePathSeparator();
    const std::string path = FileName(shortName);
    for (std::size_t start = 0, end = 0; end != std::string::npos; start = end + 1) {
        end = path.find_first_of(separators, start);
        const std::string part = path.substr(start, end - start);
        if (LeadsUpwards(part) || platform::IsDeviceName(part)) return false;
    }
    return true;
}

std::string CaptureFileName(const std::string& loggingFolder, const std::string& shortName) {
    if (!StaysInDataFolder(shortName)) return {};
    const char separator = platform::PathSeparator();
    return loggingFolder + separator + "data" + separator + FileName(shortName);
}

}  // namespace Korr::Plim::Trace::Tarnel
