#include "tracehost/temporary_folder.h"

#include <filesystem>
#include <fstream>
#include <random>

#include "source_utilities/environment_variables.h"
#include "source_utilities/process.h"
#include "tracehost/errors.h"

namespace Korr::Plim::Trace::Tracehost {

namespace fs = std::filesystem;

namespace {

constexpr const char* kPrefix = "tracehost-";

/// What cannot be removed, because it belongs to another user, stays.
void RemoveLeftovers(const fs::path& base) {
    std::error_code failure;
    for (fs::directory_iterator entry(base, failure), end; !failure && entry != end;
         entry.increment(failure)) {
        std::error_code ignored;
        const bool isOurs = entry->path().filename().string().starts_with(kPrefix) &&
                            entry->symlink_status(ignored).type() == fs::file_type::directory;
        if (isOurs && FolderHold::IsLeftBehind(entry->path().string())) {
            fs::remove_all(entry->path(), ignored);
        }
    }
}

/// The variable that says where temporary files lie, in the platform's order; the first one when none is set.
std::string TemporaryVariable() {
    for (const char* const name : {"TMPDIR", "TMP", "TEMP", "TEMPDIR"}) {
        if (!KORR_PLIM::platform::GetVariable(name).empty()) return name;
    }
    return "TMPDIR";
}

}  // namespace

TemporaryFolder::TemporaryFolder() {
    std::error_code failure;
    const auto base = fs::temp_directory_path(failure);
    if (failure) {
        const std::string variable = TemporaryVariable();
        throw HostError("\"" + KORR_PLIM::platform::GetVariable(variable.c_str()) +
                        "\" is no folder for temporary files (" + failure.message() + "): set " + variable +
                        " to one that is there");
    }
    RemoveLeftovers(base);
    const std::string name = kPrefix + std::to_string(KORR_PLIM::platform::CurrentProcessId()) + "-" +
                             std::to_string(std::random_device()());
    const auto path = base / name;
    if (!fs::create_directory(path, failure)) {
        throw HostError("no temporary folder can be made in \"" + base.string() + "\" (" + failure.message() +
                        "): set " + TemporaryVariable() + " to a folder that you may write in");
    }
    folder = path.string();
    hold.Take(folder);  // without the mark it is not swept, should this process be killed
    fs::permissions(path, fs::perms::owner_all, failure);
}

TemporaryFolder::~TemporaryFolder() {
    hold.Release();
    std::error_code ignored;
    fs::remove_all(folder, ignored);
}

std::string TemporaryFolder::Path(const std::string& name) const {
    return (fs::path(folder) / name).string();
}

std::string TemporaryFolder::Write(const std::string& name, const std::string& text) const {
    std::string path = Path(name);
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.flush();
    if (!file) throw HostError("\"" + path + "\" cannot be written: is the disk full?");
    return path;
}

std::string TemporaryFolder::MakeFolder(const std::string& name) const {
    std::string path = Path(name);
    std::error_code failure;
    if (fs::create_directory(path, failure)) return path;
    throw HostError("\"" + path + "\" cannot be made: is the disk full?");
}

}  // namespace Korr::Plim::Trace::Tracehost
