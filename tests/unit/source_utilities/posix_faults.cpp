#include "posix_faults.h"

#include <dlfcn.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>

std::set<std::string> PosixFaults::failing;
std::multiset<std::string> PosixFaults::interrupted;
int PosixFaults::failureNumber = EIO;
std::atomic<int> PosixFaults::lockCalls{0};
std::atomic<int> PosixFaults::joinCalls{0};
std::vector<std::string> PosixFaults::opened;
std::atomic<int> PosixFaults::stdoutFlushes{0};
std::function<void(int)> PosixFaults::whileSettingPriority;
std::optional<struct statvfs> PosixFaults::pretendedVolume;
std::optional<timespec> PosixFaults::pretendedTime;

void PosixFaults::Forget() {
    failing.clear();
    interrupted.clear();
    failureNumber = EIO;
    opened.clear();
    whileSettingPriority = nullptr;
    pretendedVolume.reset();
    pretendedTime.reset();
}

bool PosixFaults::Fails(const char* call) {
    const auto signal = interrupted.find(call);
    if (signal != interrupted.end()) {
        interrupted.erase(signal);
        errno = EINTR;
        return true;
    }
    if (failing.count(call) == 0) return false;
    errno = failureNumber;
    return true;
}

namespace {

bool Fails(const char* call) { return PosixFaults::Fails(call); }

}  // namespace

extern "C" {
int __real_mkdir(const char*, mode_t);
int __wrap_mkdir(const char* path, mode_t mode) { return Fails("mkdir") ? -1 : __real_mkdir(path, mode); }
int __real_statvfs(const char*, struct statvfs*);
int __wrap_statvfs(const char* path, struct statvfs* volume) {
    if (PosixFaults::pretendedVolume) *volume = *PosixFaults::pretendedVolume;
    return Fails("statvfs") ? -1 : PosixFaults::pretendedVolume ? 0 : __real_statvfs(path, volume);
}
char* __real_getcwd(char*, size_t);
char* __wrap_getcwd(char* buffer, size_t size) {
    return Fails("getcwd") ? nullptr : __real_getcwd(buffer, size);
}
FILE* __real_fopen(const char*, const char*);
FILE* __wrap_fopen(const char* name, const char* mode) {
    return Fails("fopen") ? nullptr : __real_fopen(name, mode);
}
int __real_open(const char*, int, mode_t);
int __wrap_open(const char* name, int flags, mode_t mode) {
    return Fails("open") ? -1 : __real_open(name, flags, mode);
}
FILE* __real_fdopen(int, const char*);
FILE* __wrap_fdopen(int file, const char* mode) {
    return Fails("fdopen") ? nullptr : __real_fdopen(file, mode);
}
int __real_fclose(FILE*);
int __wrap_fclose(FILE* stream) {
    const int result = __real_fclose(stream);
    return Fails("fclose") ? EOF : result;
}
int __real_fflush(FILE*);
int __wrap_fflush(FILE* stream) {
    if (stream == stdout) ++PosixFaults::stdoutFlushes;
    return Fails("fflush") ? EOF : __real_fflush(stream);
}
int __real_fstat(int, struct stat*);
int __wrap_fstat(int file, struct stat* status) { return Fails("fstat") ? -1 : __real_fstat(file, status); }
int __real_fseeko(FILE*, off_t, int);
int __wrap_fseeko(FILE* stream, off_t offset, int origin) {
    return Fails("fseeko") ? -1 : __real_fseeko(stream, offset, origin);
}
off_t __real_ftello(FILE*);
off_t __wrap_ftello(FILE* stream) { return Fails("ftello") ? -1 : __real_ftello(stream); }
int __real_clock_gettime(clockid_t, timespec*);
int __wrap_clock_gettime(clockid_t clock, timespec* time) {
    if (PosixFaults::pretendedTime) *time = *PosixFaults::pretendedTime;
    return Fails("clock_gettime") ? -1 : PosixFaults::pretendedTime ? 0 : __real_clock_gettime(clock, time);
}
std::tm* __real_localtime_r(const time_t*, std::tm*);
std::tm* __wrap_localtime_r(const time_t* time, std::tm* local) {
    return Fails("localtime_r") ? nullptr : __real_localtime_r(time, local);
}
int __real_setenv(const char*, const char*, int);
int __wrap_setenv(const char* name, const char* value, int overwrite) {
    return Fails("setenv") ? -1 : __real_setenv(name, value, overwrite);
}
int __real_pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                          void* argument) {
    return Fails("pthread_create") ? EAGAIN : __real_pthread_create(thread, attributes, entry, argument);
}
int __real_setpriority(__priority_which_t, id_t, int);
int __wrap_setpriority(__priority_which_t which, id_t who, int nice) {
    if (PosixFaults::whileSettingPriority) PosixFaults::whileSettingPriority(nice);
    return Fails("setpriority") ? -1 : __real_setpriority(which, who, nice);
}
int __real_nanosleep(const timespec*, timespec*);
int __wrap_nanosleep(const timespec* time, timespec* left) {
    if (PosixFaults::failing.erase("nanosleep") != 0) {
        *left = {0, 3'000'000};
        errno = EINTR;
        return -1;
    }
    return __real_nanosleep(time, left);
}
void* __real_dlopen(const char*, int);
void* __wrap_dlopen(const char* name, int mode) {
    PosixFaults::opened.emplace_back(name);
    return Fails("dlopen") ? nullptr : __real_dlopen(name, mode);
}
int __real_dladdr(const void*, Dl_info*);
int __wrap_dladdr(const void* address, Dl_info* info) {
    return Fails("dladdr") ? 0 : __real_dladdr(address, info);
}
int __real_pthread_mutex_lock(pthread_mutex_t*);
int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
    ++PosixFaults::lockCalls;
    return __real_pthread_mutex_lock(mutex);
}
int __real_dlclose(void*);
int __wrap_dlclose(void* library) { return Fails("dlclose") ? -1 : __real_dlclose(library); }
int __real_pthread_join(pthread_t, void**);
int __wrap_pthread_join(pthread_t thread, void** result) {
    ++PosixFaults::joinCalls;
    const int joined = __real_pthread_join(thread, result);
    return Fails("pthread_join") ? ESRCH : joined;
}
int __real_fputs(const char*, FILE*);
int __wrap_fputs(const char* text, FILE* stream) { return Fails("fputs") ? EOF : __real_fputs(text, stream); }
int __real_close(int);
int __wrap_close(int file) {
    const int result = __real_close(file);
    if (PosixFaults::failing.count("close") == 0) return result;
    errno = EBADF;
    return -1;
}
}
