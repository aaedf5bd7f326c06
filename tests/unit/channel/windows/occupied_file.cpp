#include "tests/unit/channel/occupied_file.h"

#include <windows.h>

#include <stdexcept>

namespace channel_tests {

OccupiedFile::OccupiedFile(const std::string& fileName, Occupation how) : name(fileName) {
    const DWORD shared = how == Occupation::kReadOnly ? FILE_SHARE_READ : 0;
    HANDLE const file = CreateFileA(name.c_str(), GENERIC_READ, shared, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) throw std::runtime_error("cannot occupy " + name);
    held = reinterpret_cast<std::intptr_t>(file);
}

OccupiedFile::~OccupiedFile() { CloseHandle(reinterpret_cast<HANDLE>(held)); }

uint32_t OccupiedFile::ErrorNumber() const { return ERROR_SHARING_VIOLATION; }

uint32_t OtherCaptureErrorNumber() { return ERROR_SHARING_VIOLATION; }

}  // namespace channel_tests
