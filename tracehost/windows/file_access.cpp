#include "tracehost/file_access.h"

#include <windows.h>

#include "tracehost/platform_words.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

bool IsFolder(const std::string& path) {
    const DWORD attributes = GetFileAttributesA(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

/// Opens and closes. \return the platform's error number, 0 for none
DWORD TryToOpen(const std::string& path, DWORD access, DWORD disposition, DWORD flags) {
    const HANDLE file =
        CreateFileA(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    disposition, flags, nullptr);
    if (file == INVALID_HANDLE_VALUE) return GetLastError();
    CloseHandle(file);
    return ERROR_SUCCESS;
}

/// Opens for no more than questions about it, which whoever holds it open allows.
HANDLE OpenToAsk(const std::string& path) {
    return CreateFileA(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                       OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
}

std::string Words(DWORD number) { return number != ERROR_SUCCESS ? ErrorWords(number) : std::string(); }

}  // namespace

std::string WhyNotReadable(const std::string& path) {
    if (IsFolder(path)) return "Is a directory";
    return Words(TryToOpen(path, GENERIC_READ, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL));
}

std::string WhyNotWritable(const std::string& path) {
    if (IsFolder(path)) return "Is a directory";
    const DWORD number = TryToOpen(path, GENERIC_WRITE, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL);
    if (number != ERROR_FILE_NOT_FOUND) return Words(number);
    return Words(TryToOpen(path, GENERIC_WRITE | DELETE, CREATE_NEW, FILE_FLAG_DELETE_ON_CLOSE));
}

std::string FileIdentity(const std::string& path) {
    const HANDLE file = OpenToAsk(path);
    if (file == INVALID_HANDLE_VALUE) return {};
    BY_HANDLE_FILE_INFORMATION info{};
    const bool told = GetFileInformationByHandle(file, &info) != 0;
    CloseHandle(file);
    if (!told) return {};
    return std::to_string(info.dwVolumeSerialNumber) + ":" + std::to_string(info.nFileIndexHigh) + ":" +
           std::to_string(info.nFileIndexLow);
}

}  // namespace Korr::Plim::Trace::Tracehost
