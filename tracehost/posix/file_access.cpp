#include "tracehost/file_access.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "tracehost/platform_words.h"
#include "uart/posix/uninterrupted.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

std::string LastWords() { return ErrorWords(static_cast<uint32_t>(errno)); }

bool IsOfType(const std::string& path, mode_t type) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && (info.st_mode & S_IFMT) == type;
}

bool IsFolder(const std::string& path) { return IsOfType(path, S_IFDIR); }

/// With the rights that an open has, root's included. \param mode R_OK or W_OK
bool May(int mode, const std::string& path) {
    return faccessat(AT_FDCWD, path.c_str(), mode, AT_EACCESS) == 0;
}

std::string Folder(const std::string& path) {
    const std::string folder = std::filesystem::path(path).parent_path().string();
    return folder.empty() ? "." : folder;
}

}  // namespace

std::string WhyNotReadable(const std::string& path) {
    if (IsFolder(path)) return ErrorWords(EISDIR);
    // Its writer would see a reader that goes away, and so might he who opens it to read.
    if (IsOfType(path, S_IFIFO)) return May(R_OK, path) ? std::string() : LastWords();
    const int file = Tarnel::Uninterrupted(
        [&] { return open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC); });
    if (file < 0) return LastWords();
    close(file);
    return {};
}

std::string WhyNotWritable(const std::string& path) {
    if (IsFolder(path)) return ErrorWords(EISDIR);
    if (May(W_OK, path)) return {};
    if (errno != ENOENT) return LastWords();
    struct stat link {};
    if (lstat(path.c_str(), &link) == 0) return LastWords();  // a link that leads nowhere, or in a circle
    if (!May(W_OK, Folder(path))) return LastWords();
    return IsFolder(Folder(path)) ? std::string() : ErrorWords(ENOTDIR);
}

std::string FileIdentity(const std::string& path) {
    struct stat node {};
    if (stat(path.c_str(), &node) != 0) return {};
    return std::to_string(node.st_dev) + ":" + std::to_string(node.st_ino);
}

}  // namespace Korr::Plim::Trace::Tracehost
