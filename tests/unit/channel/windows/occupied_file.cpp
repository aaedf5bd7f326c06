#include "tests/unit/channel/occupied_file.h"

#include <windows.h>

#include <stdexcept>

namespace channel_tests {

OccupiedFile::OccupiedFile(const std::string& fileName, Occupation how) : name(fileName), occupation(how) {
    if (occupation == Occupation::kReadOnly) {
        if (SetFileAttributesA(name.c_str(), FILE_ATTRIBUTE_READONLY) != 0) return;
    } else {
        HANDLE const file = CreateFileA(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                        FILE_ATTRIBUTE_NORMAL, nullptr);
        held = reinterpret_cast<std::intptr_t>(file);
        if (file != INVALID_HANDLE_VALUE) return;
    }
    throw std::runtime_error("cannot occupy " + name);
}

OccupiedFile::~OccupiedFile() {
    if (occupation == Occupation::kLocked) CloseHandle(reinterpret_cast<HANDLE>(held));
    SetFileAttributesA(name.c_str(), FILE_ATTRIBUTE_NORMAL);
}

uint32_t OccupiedFile::ErrorNumber() const {
    return occupation == Occupation::kLocked ? ERROR_SHARING_VIOLATION : ERROR_ACCESS_DENIED;
}

}  // namespace channel_tests
