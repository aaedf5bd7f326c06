#include "source_utilities/file_system.h"

#include <filesystem>

#include "tests/fakes/scripted_file_system.h"

namespace fakes::file_system {
namespace {

constexpr uint64_t kPlenty = 1'000'000'000;
constexpr auto kOwnSeparator = static_cast<char>(std::filesystem::path::preferred_separator);

struct State {
    CallScript script;
    char separator = kOwnSeparator;
    char alternative = kOwnSeparator == '\\' ? '/' : '\0';
    uint64_t freeSpace = kPlenty;
    std::optional<std::string> workingFolder;
    bool makesFolders = true;
    std::vector<std::string> folderLog;
    std::vector<std::string> freeSpaceLog;
    std::vector<std::string> openLog;
};
State*& TheState() {
    static auto* state = new State;
    return state;
}

/// Notes a folder call. \return whether it must fail
bool NoteFolder(const char* call, const char* path) {
    TheState()->folderLog.push_back(std::string(call) + " " + path);
    return TheState()->script.MustFail(call);
}

/// Makes a folder for real unless told not to. \return whether it was made
bool Make(const char* path) {
    std::error_code ignored;
    return !TheState()->makesFolders || std::filesystem::create_directory(path, ignored);
}

/// A stream that can be read only: whatever is written to it is refused.
std::FILE* OpenRefusingWrites(const char* name) {
    std::FILE* made = std::fopen(name, "a");
    if (made != nullptr) std::fclose(made);
    return std::fopen(name, "r");
}

}  // namespace

void Reset() {
    delete TheState();
    TheState() = new State;
}
CallScript& Script() { return TheState()->script; }
void UseWindowsPaths() {
    TheState()->separator = '\\';
    TheState()->alternative = '/';
}
void UsePosixPaths() {
    TheState()->separator = '/';
    TheState()->alternative = '\0';
}
void SetFreeSpace(uint64_t bytes) { TheState()->freeSpace = bytes; }
void SetWorkingFolder(const std::optional<std::string>& folder) { TheState()->workingFolder = folder; }
void MakeNoFolders() { TheState()->makesFolders = false; }
std::vector<std::string> FolderLog() { return TheState()->folderLog; }
std::vector<std::string> FreeSpaceLog() { return TheState()->freeSpaceLog; }
std::vector<std::string> OpenLog() { return TheState()->openLog; }

}  // namespace fakes::file_system

namespace KORR_PLIM::platform {
namespace fake = fakes::file_system;

char PathSeparator() { return fake::TheState()->separator; }
char AlternativePathSeparator() { return fake::TheState()->alternative; }

// Of the platform's devices the one that the tests name.
bool IsDeviceName(const std::string& part) {
    return fake::TheState()->separator == '\\' && (part == "NUL" || part.rfind("NUL.", 0) == 0);
}

bool MakeFolder(const char* path) { return !fake::NoteFolder("MakeFolder", path) && fake::Make(path); }

bool MakeTreeFolder(const char* path) {
    return !fake::NoteFolder("MakeTreeFolder", path) && (fake::Make(path) || std::filesystem::exists(path));
}

bool FreeSpace(const char* folder, uint64_t& bytes) {
    fake::TheState()->freeSpaceLog.emplace_back(folder);
    if (fake::Script().MustFail("FreeSpace")) return false;
    bytes = fake::TheState()->freeSpace;
    return true;
}

bool WorkingFolder(std::string& folder) {
    constexpr std::size_t kLimit = 260;
    if (fake::Script().MustFail("WorkingFolder")) return false;
    const std::string found =
        fake::TheState()->workingFolder.value_or(std::filesystem::current_path().string());
    if (found.size() >= kLimit) return false;
    folder = found;
    return true;
}

std::FILE* OpenShared(const char* name, const char* mode) {
    fake::TheState()->openLog.push_back(std::string(mode) + " " + name);
    if (fake::Script().MustFail("OpenShared")) return nullptr;
    if (mode[0] == 'r' && std::filesystem::is_directory(name)) {
        errno = EISDIR;
        return nullptr;
    }
    return fake::Script().MustFail("Write") ? fake::OpenRefusingWrites(name) : std::fopen(name, mode);
}

int64_t StreamLength(std::FILE* stream) {
    if (fake::Script().MustFail("StreamLength")) return -1;
    const int64_t position = std::ftell(stream);
    std::fseek(stream, 0, SEEK_END);
    const int64_t length = std::ftell(stream);
    std::fseek(stream, static_cast<long>(position), SEEK_SET);
    return length;
}

bool SeekStream(std::FILE* stream, int64_t offset) {
    return !fake::Script().MustFail("SeekStream") &&
           std::fseek(stream, static_cast<long>(offset), SEEK_SET) == 0;
}

int64_t StreamPosition(std::FILE* stream) {
    return fake::Script().MustFail("StreamPosition") ? -1 : std::ftell(stream);
}

}  // namespace KORR_PLIM::platform
