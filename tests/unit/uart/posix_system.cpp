#include "tests/unit/uart/posix_system.h"

#include <asm/ioctls.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdarg>

posix_system::System* posix_system::replaced = nullptr;

using posix_system::replaced;

extern "C" {
int __real_open(const char* path, int flags, ...);
ssize_t __real_read(int file, void* buffer, size_t size);
ssize_t __real_write(int file, const void* data, size_t size);
int __real_close(int file);
int __real_ioctl(int file, unsigned long request, ...);
int __real_poll(pollfd* files, nfds_t count, int timeout);
int __real_eventfd(unsigned count, int flags);
int __real_fcntl(int file, int command, ...);
int __real_flock(int file, int operation);
int __real_ftruncate(int file, off_t size);

int __wrap_open(const char* path, int flags, ...) {
    std::va_list rest;
    va_start(rest, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    if (replaced == nullptr) return __real_open(path, flags, mode);
    return static_cast<int>(replaced->Next(std::string("open ") + path + " " + std::to_string(flags), 3));
}
ssize_t __wrap_read(int file, void* buffer, size_t size) {
    if (replaced == nullptr) return __real_read(file, buffer, size);
    return replaced->Next("read " + std::to_string(size), 0);
}
ssize_t __wrap_write(int file, const void* data, size_t size) {
    if (replaced == nullptr) return __real_write(file, data, size);
    return replaced->Next("write " + std::string(static_cast<const char*>(data), size),
                          static_cast<long>(size));
}
int __wrap_close(int file) {
    if (replaced == nullptr) return __real_close(file);
    return static_cast<int>(replaced->Next("close " + std::to_string(file), 0));
}
int __wrap_ioctl(int file, unsigned long request, ...) {
    std::va_list rest;
    va_start(rest, request);
    void* argument = va_arg(rest, void*);
    va_end(rest);
    if (replaced == nullptr) return __real_ioctl(file, request, argument);
    const long result = replaced->Next("ioctl " + std::to_string(request), 0);
    if (result < 0) return -1;
    if (request == TCGETS2) *static_cast<termios2*>(argument) = replaced->settings;
    if (request == TIOCMGET) *static_cast<int*>(argument) = replaced->modemLines;
    if (request == TIOCMBIS) replaced->modemLines |= *static_cast<int*>(argument);
    if (request == TIOCMBIC) replaced->modemLines &= ~*static_cast<int*>(argument);
    if (request == TIOCGEXCL) *static_cast<int*>(argument) = replaced->exclusive;
    if (request == FIONREAD) *static_cast<int*>(argument) = 42;
    if (request == TCSETS2) {
        replaced->settings = *static_cast<termios2*>(argument);
        ++replaced->settingsSet;
    }
    return 0;
}
int __wrap_flock(int file, int operation) {
    if (replaced == nullptr) return __real_flock(file, operation);
    return static_cast<int>(replaced->Next("flock " + std::to_string(operation), 0));
}
int __wrap_ftruncate(int file, off_t size) {
    if (replaced == nullptr) return __real_ftruncate(file, size);
    return static_cast<int>(replaced->Next("ftruncate " + std::to_string(size), 0));
}
int __wrap_poll(pollfd* files, nfds_t count, int timeout) {
    if (replaced == nullptr) return __real_poll(files, count, timeout);
    std::string awaited;
    for (nfds_t i = 0; i < count; ++i) {
        awaited +=
            (i == 0 ? "" : " and ") + std::to_string(files[i].fd) + " for " + std::to_string(files[i].events);
    }
    return static_cast<int>(replaced->Next("poll " + awaited + " within " + std::to_string(timeout), 0));
}
int __wrap_eventfd(unsigned count, int flags) {
    if (replaced == nullptr) return __real_eventfd(count, flags);
    replaced->eventMade = "eventfd " + std::to_string(count) + " " + std::to_string(flags);
    return replaced->event;
}
int __wrap_fcntl(int file, int command, ...) {
    std::va_list rest;
    va_start(rest, command);
    const int argument = va_arg(rest, int);
    va_end(rest);
    if (replaced == nullptr) return __real_fcntl(file, command, argument);
    if (command == F_GETFL) return static_cast<int>(replaced->Next("getfl", O_RDONLY | O_APPEND));
    return static_cast<int>(replaced->Next("setfl " + std::to_string(argument), 0));
}
}
