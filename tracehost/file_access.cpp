#include "tracehost/file_access.h"

#include <filesystem>

namespace Korr::Plim::Trace::Tracehost {

namespace fs = std::filesystem;

std::string WhyNoFolder(const std::string& path) {
    std::error_code failure;
    fs::path folder = fs::absolute(path, failure);
    while (!failure && folder.has_relative_path() && !fs::exists(folder, failure)) {
        if (fs::is_symlink(folder, failure)) break;  // leads nowhere
        failure.clear();
        folder = folder.parent_path();
    }
    return WhyNotWritable((folder / ".tracehost-test").string());
}

}  // namespace Korr::Plim::Trace::Tracehost
