#include "tracehost/posix/device_holders.h"

#include <sys/sysmacros.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>

namespace Korr::Plim::Trace::Tracehost {

namespace {

namespace fs = std::filesystem;

std::string ProcessName(const std::string& id) {
    std::string name;
    std::getline(std::ifstream("/proc/" + id + "/comm"), name);
    return (name.empty() ? "a program" : name) + " (process " + id + ")";
}

bool IsProcess(const std::string& name) { return name.find_first_not_of("0123456789") == std::string::npos; }

bool HasOpen(const fs::path& process, const struct stat& device) {
    std::error_code failure;
    for (fs::directory_iterator file(process / "fd", failure), end; !failure && file != end;
         file.increment(failure)) {
        struct stat info {};
        const bool known = stat(file->path().c_str(), &info) == 0;
        if (known && S_ISCHR(info.st_mode) && info.st_rdev == device.st_rdev) return true;
    }
    return false;
}

}  // namespace

std::string OpenIn(const struct stat& device) {
    const std::string own = std::to_string(getpid());
    std::error_code failure;
    for (fs::directory_iterator process("/proc", failure), end; !failure && process != end;
         process.increment(failure)) {
        const std::string id = process->path().filename().string();
        if (IsProcess(id) && id != own && HasOpen(process->path(), device)) return ProcessName(id);
    }
    return {};
}

/// A line of the list: "3: FLOCK  ADVISORY  WRITE 4711 00:05:1234 0 EOF", major and minor hexadecimal.
std::string LockedBy(const struct stat& file) {
    std::ifstream locks("/proc/locks");
    for (std::string line; std::getline(locks, line);) {
        long process = 0;
        unsigned high = 0;
        unsigned low = 0;
        unsigned long long node = 0;
        const int read =
            std::sscanf(line.c_str(), "%*s FLOCK %*s %*s %ld %x:%x:%llu", &process, &high, &low, &node);
        const bool same =
            read == 4 && node == file.st_ino && high == major(file.st_dev) && low == minor(file.st_dev);
        if (!same || process == getpid()) continue;
        return process > 0 ? ProcessName(std::to_string(process))
                           : "a program of another system on this machine";
    }
    return {};
}

}  // namespace Korr::Plim::Trace::Tracehost
