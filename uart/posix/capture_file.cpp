#include "uart/capture_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

namespace Korr::Plim::Trace::Tarnel {

namespace {

bool IsInterrupted(int result) { return result != 0 && errno == EINTR; }

// Empties a file that no capture writes. The lock goes with the handle; a file system without locks gives no
// protection, and what is no plain file has nothing to empty.
bool Claim(int file) {
    int locked = -1;
    do {
        locked = ::flock(file, LOCK_EX | LOCK_NB);
    } while (IsInterrupted(locked));
    if (locked != 0 && errno == EWOULDBLOCK) return false;
    int emptied = -1;
    do {
        emptied = ::ftruncate(file, 0);
    } while (IsInterrupted(emptied));
    return emptied == 0 || errno == EINVAL;
}

}  // namespace

bool CaptureFile::Create(const std::string& name) {
    int file = -1;
    do {
        file = ::open(name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    } while (file < 0 && errno == EINTR);
    if (file >= 0 && !Claim(file)) {
        const int why = errno;
        ::close(file);
        errno = why;
        file = -1;
    }
    handle = file;
    return file >= 0;
}

// Nothing to write needs no system call: the capture loop turns mostly on empty reads.
bool CaptureFile::Write(const void* data, uint32_t count) {
    const char* rest = static_cast<const char*>(data);
    while (count > 0) {
        const ssize_t written = ::write(static_cast<int>(handle), rest, count);
        if (written > 0) {
            rest += written;
            count -= static_cast<uint32_t>(written);
        } else if (written == 0) {
            errno = ENOSPC;
            return false;
        } else if (errno != EINTR) {
            return false;
        }
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
