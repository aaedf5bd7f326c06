#include "source_utilities/file_system.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace KORR_PLIM::platform {
namespace {

bool IsInterrupted(bool failed) { return failed && errno == EINTR; }

/// Whether an open file is one with bytes and a length of its own; else errno says why not.
bool IsRegular(int file) {
    struct stat status {};
    if (fstat(file, &status) != 0) return false;
    errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    return S_ISREG(status.st_mode);
}

/// Does not wait where a pipe or a device stands in the file's place, and refuses both, as it does a folder.
std::FILE* OpenForReading(const char* name, const char* mode) {
    int file = -1;
    do {
        file = open(name, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    } while (IsInterrupted(file < 0));
    if (file < 0) return nullptr;
    std::FILE* const stream = IsRegular(file) ? fdopen(file, mode) : nullptr;
    if (stream == nullptr) {
        const int reason = errno;
        close(file);
        errno = reason;
    }
    return stream;
}

std::FILE* OpenForWriting(const char* name, const char* mode) {
    std::FILE* stream = nullptr;
    do {
        stream = std::fopen(name, mode);
    } while (IsInterrupted(stream == nullptr));
    return stream;
}

}  // namespace

char PathSeparator() { return '/'; }
char AlternativePathSeparator() { return '\0'; }

bool IsDeviceName(const std::string&) { return false; }

bool MakeFolder(const char* path) { return mkdir(path, 0777) == 0; }

bool MakeTreeFolder(const char* path) { return mkdir(path, 0777) == 0 || errno == EEXIST; }

bool FreeSpace(const char* folder, uint64_t& bytes) {
    struct statvfs volume {};
    int asked = -1;
    do {
        asked = statvfs(folder, &volume);
    } while (IsInterrupted(asked != 0));
    if (asked != 0) return false;
    bytes = static_cast<uint64_t>(volume.f_bavail) * volume.f_frsize;
    return true;
}

bool WorkingFolder(std::string& folder) {
    std::array<char, 260> buffer{};
    if (getcwd(buffer.data(), buffer.size()) == nullptr) return false;
    folder = buffer.data();
    return true;
}

std::FILE* OpenShared(const char* name, const char* mode) {
    const bool readsOnly = mode[0] == 'r' && std::strchr(mode, '+') == nullptr;
    return readsOnly ? OpenForReading(name, mode) : OpenForWriting(name, mode);
}

int64_t StreamLength(std::FILE* stream) {
    struct stat status {};
    return fstat(fileno(stream), &status) == 0 ? status.st_size : -1;
}

bool SeekStream(std::FILE* stream, int64_t offset) { return fseeko(stream, offset, SEEK_SET) == 0; }

int64_t StreamPosition(std::FILE* stream) { return ftello(stream); }

}  // namespace KORR_PLIM::platform
