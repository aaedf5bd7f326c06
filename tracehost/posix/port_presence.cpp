#include "tracehost/port_presence.h"

#include <sys/stat.h>

#include <filesystem>
#include <system_error>

#include "uart/posix/device_path.h"

namespace Korr::Plim::Trace::Tracehost {

namespace fs = std::filesystem;

/// A device that comes again gets a new node in its folder.
std::string PortIdentity(uint32_t number) {
    struct stat node {};
    if (::stat(Tarnel::DevicePath(number).c_str(), &node) != 0) return {};
    return std::to_string(node.st_dev) + ":" + std::to_string(node.st_ino) + ":" +
           std::to_string(node.st_rdev);
}

std::string PortDevice(uint32_t number) {
    std::error_code failure;
    const fs::path device = fs::canonical(Tarnel::DevicePath(number), failure);
    return failure ? std::string() : device.string();
}

/// The system says so of the files that a process has open. A pseudo-terminal's number, and its node's, are
/// taken again by the next one.
bool HeldDeviceVanished(const std::string& device) {
    if (device.empty()) return false;
    std::error_code failure;
    for (fs::directory_iterator file("/proc/self/fd", failure), end; !failure && file != end;
         file.increment(failure)) {
        std::error_code closed;  // meanwhile, by another thread
        if (fs::read_symlink(file->path(), closed).string() == device + " (deleted)") return true;
    }
    return false;
}

std::string PortName(uint32_t number) {
    return "COM" + std::to_string(number) + " (" + Tarnel::DevicePath(number) + ")";
}

}  // namespace Korr::Plim::Trace::Tracehost
