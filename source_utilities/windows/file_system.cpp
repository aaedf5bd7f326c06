#include "source_utilities/file_system.h"

#include <direct.h>
#include <io.h>
#include <share.h>
#include <windows.h>

#include <array>
#include <cerrno>

namespace KORR_PLIM::platform {

char PathSeparator() { return '\\'; }
char AlternativePathSeparator() { return '/'; }

bool MakeFolder(const char* path) { return CreateDirectoryA(path, nullptr) != 0; }

bool MakeTreeFolder(const char* path) { return _mkdir(path) == 0 || errno == EEXIST; }

bool FreeSpace(const char* folder, uint64_t& bytes) {
    ULARGE_INTEGER available{};
    if (GetDiskFreeSpaceExA(folder, &available, nullptr, nullptr) == 0) {
        return false;
    }
    bytes = available.QuadPart;
    return true;
}

bool WorkingFolder(std::string& folder) {
    std::array<char, 260> buffer{};
    if (_getcwd(buffer.data(), static_cast<int>(buffer.size())) == nullptr) {
        return false;
    }
    folder = buffer.data();
    return true;
}

std::FILE* OpenShared(const char* name, const char* mode) { return _fsopen(name, mode, _SH_DENYNO); }

int64_t StreamLength(std::FILE* stream) { return _filelengthi64(_fileno(stream)); }

bool SeekStream(std::FILE* stream, int64_t offset) { return _fseeki64(stream, offset, SEEK_SET) == 0; }

int64_t StreamPosition(std::FILE* stream) { return _ftelli64(stream); }

}  // namespace KORR_PLIM::platform
