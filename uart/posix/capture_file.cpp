#include "uart/capture_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

#include "uart/posix/uninterrupted.h"

namespace Korr::Plim::Trace::Tarnel {

namespace {

// Empties a file that no capture writes. The lock goes with the handle; a file system without locks gives no
// protection, and what is no plain file has nothing to empty.
bool Claim(int file) {
    const int locked = Uninterrupted([&] { return ::flock(file, LOCK_EX | LOCK_NB); });
    if (locked != 0 && errno == EWOULDBLOCK) return false;
    const int emptied = Uninterrupted([&] { return ::ftruncate(file, 0); });
    return emptied == 0 || errno == EINVAL;
}

}  // namespace

bool CaptureFile::Create(const std::string& name) {
    int file = Uninterrupted([&] { return ::open(name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666); });
    if (file >= 0 && !Claim(file)) {
        const int why = errno;
        ::close(file);
        errno = why;
        file = -1;
    }
    handle = file;
    return file >= 0;
}

// Nothing to write needs no system call.
bool CaptureFile::Write(const void* data, uint32_t count) {
    const char* rest = static_cast<const char*>(data);
    while (count > 0) {
        const ssize_t written = Uninterrupted([&] { return ::write(static_cast<int>(handle), rest, count); });
        if (written == 0) errno = ENOSPC;
        if (written <= 0) return false;
        rest += written;
        count -= static_cast<uint32_t>(written);
    }
    return true;
}

bool CaptureFile::Close() {
    const int file = static_cast<int>(handle);
    handle = kClosed;
    return ::close(file) == 0;
}

uint32_t CaptureFile::LastError() { return static_cast<uint32_t>(errno); }

}  // namespace Korr::Plim::Trace::Tarnel
