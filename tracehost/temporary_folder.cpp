#include "tracehost/temporary_folder.h"

#include <filesystem>
#include <fstream>
#include <random>

#include "source_utilities/process.h"
#include "tracehost/errors.h"

namespace Korr::Plim::Trace::Tracehost {

TemporaryFolder::TemporaryFolder() {
    std::error_code failure;
    const auto base = std::filesystem::temp_directory_path(failure);
    const std::string name = "tracehost-" + std::to_string(KORR_PLIM::platform::CurrentProcessId()) + "-" +
                             std::to_string(std::random_device()());
    const auto path = base / name;
    if (failure || !std::filesystem::create_directory(path, failure)) {
        throw HostError("no temporary folder can be made in \"" + base.string() + "\"");
    }
    folder = path.string();
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

std::string TemporaryFolder::Path(const std::string& name) const {
    return (std::filesystem::path(folder) / name).string();
}

std::string TemporaryFolder::Write(const std::string& name, const std::string& text) const {
    std::string path = Path(name);
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.flush();
    if (!file) throw HostError("\"" + path + "\" cannot be written: is the disk full?");
    return path;
}

}  // namespace Korr::Plim::Trace::Tracehost
