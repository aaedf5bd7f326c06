#include "source_utilities/file_system.h"

#include <direct.h>
#include <io.h>
#include <share.h>
#include <windows.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>

namespace KORR_PLIM::platform {
namespace {

constexpr std::array kDevices = {"CON", "PRN", "AUX", "NUL", "CONIN$", "CONOUT$"};

/// The digits of a port's name, with the superscript ones of the Latin-1 character set.
bool IsPortDigit(char character) {
    return (character >= '0' && character <= '9') || character == '\xB9' || character == '\xB2' ||
           character == '\xB3';
}

/// Whether the text up to its first full stop or colon is a device's name, blanks around it left out.
bool IsDevice(const std::string& text) {
    std::string name = text.substr(0, text.find_first_of(".:"));
    name.erase(name.find_last_not_of(' ') + 1);
    name.erase(0, name.find_first_not_of(' '));
    for (char& character : name) {
        if (character >= 'a' && character <= 'z') character = static_cast<char>(character - 'a' + 'A');
    }
    const bool isPort = name.size() == 4 && IsPortDigit(name[3]) &&
                        (name.compare(0, 3, "COM") == 0 || name.compare(0, 3, "LPT") == 0);
    return isPort || std::find(kDevices.begin(), kDevices.end(), name) != kDevices.end();
}

}  // namespace

char PathSeparator() { return '\\'; }
char AlternativePathSeparator() { return '/'; }

bool IsDeviceName(const std::string& part) {
    const std::size_t colon = part.rfind(':');
    return IsDevice(part) || (colon != std::string::npos && IsDevice(part.substr(colon + 1)));
}

bool MakeFolder(const char* path) { return CreateDirectoryA(path, nullptr) != 0; }

bool MakeTreeFolder(const char* path) { return _mkdir(path) == 0 || errno == EEXIST; }

bool FreeSpace(const char* folder, uint64_t& bytes) {
    ULARGE_INTEGER available{};
    if (GetDiskFreeSpaceExA(folder, &available, nullptr, nullptr) == 0) return false;
    bytes = available.QuadPart;
    return true;
}

bool WorkingFolder(std::string& folder) {
    std::array<char, 260> buffer{};
    if (_getcwd(buffer.data(), static_cast<int>(buffer.size())) == nullptr) return false;
    folder = buffer.data();
    return true;
}

std::FILE* OpenShared(const char* name, const char* mode) { return _fsopen(name, mode, _SH_DENYNO); }

int64_t StreamLength(std::FILE* stream) { return _filelengthi64(_fileno(stream)); }

bool SeekStream(std::FILE* stream, int64_t offset) { return _fseeki64(stream, offset, SEEK_SET) == 0; }

int64_t StreamPosition(std::FILE* stream) { return _ftelli64(stream); }

}  // namespace KORR_PLIM::platform
