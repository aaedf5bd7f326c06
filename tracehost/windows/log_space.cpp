#include "tracehost/log_space.h"

#include <windows.h>
#include <winioctl.h>

namespace Korr::Plim::Trace::Tracehost {

namespace {

/// What FSCTL_SET_ZERO_DATA takes; not every winioctl.h has it. Bytes from the file's beginning.
struct ZeroData {
    LARGE_INTEGER first;
    LARGE_INTEGER beyondLast;
};

}  // namespace

/// Zeros take no room in a file that is marked as sparse.
bool ForgetBeginning(const std::string& file, uint64_t bytes) {
    const DWORD shared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const HANDLE handle = ::CreateFileA(file.c_str(), GENERIC_WRITE, shared, nullptr, OPEN_EXISTING,
                                        FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return false;
    DWORD returned = 0;
    ZeroData zeros{};
    zeros.beyondLast.QuadPart = static_cast<LONGLONG>(bytes);
    const bool done =
        ::DeviceIoControl(handle, FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &returned, nullptr) != FALSE &&
        ::DeviceIoControl(handle, FSCTL_SET_ZERO_DATA, &zeros, sizeof zeros, nullptr, 0, &returned,
                          nullptr) != FALSE;
    ::CloseHandle(handle);
    return done;
}

}  // namespace Korr::Plim::Trace::Tracehost
