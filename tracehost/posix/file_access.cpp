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

bool IsFolder(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

/// With the rights that an open has, root's included.
bool MayWrite(const std::string& path) { return faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0; }

std::string Folder(const std::string& path) {
    const std::string folder = std::filesystem::path(path).parent_path().string();
    return folder.empty() ? "." : folder;
}

}  // namespace

std::string WhyNotReadable(const std::string& path) {
    if (IsFolder(path)) return ErrorWords(EISDIR);
    const int file = Tarnel::Uninterrupted(
        [&] { return open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC); });
    if (file < 0) return LastWords();
    close(file);
    return {};
}

std::string WhyNotWritable(const std::string& path) {
    if (IsFolder(path)) return ErrorWords(EISDIR);
    if (MayWrite(path)) return {};
    if (errno != ENOENT) return LastWords();
    struct stat link {};
    if (lstat(path.c_str(), &link) == 0) return LastWords();  // a link that leads nowhere, or in a circle
    if (!MayWrite(Folder(path))) return LastWords();
    return IsFolder(Folder(path)) ? std::string() : ErrorWords(ENOTDIR);
}

std::string FileIdentity(const std::string& path) {
    struct stat node {};
    if (stat(path.c_str(), &node) != 0) return {};
    return std::to_string(node.st_dev) + ":" + std::to_string(node.st_ino);
}

}  // namespace Korr::Plim::Trace::Tracehost
