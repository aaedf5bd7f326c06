#include "tracehost/port_access.h"

#include <asm/ioctls.h>
#include <asm/termbits.h>
#include <fcntl.h>
#include <grp.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <filesystem>

#include "source_utilities/environment_variables.h"
#include "tracehost/platform_words.h"
#include "tracehost/posix/device_holders.h"
#include "tracehost/standard_output.h"
#include "uart/posix/device_path.h"
#include "uart/posix/uninterrupted.h"

extern char** environ;

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr const char* kInUse = "in use by another program";
constexpr const char* kVariable = "KORR_TRACE_COM";
constexpr const char* kUsualDevice = "/dev/ttyACM";
constexpr uint32_t kFirstOwnNumber = 1000;  // for device paths that no number means yet

std::optional<uint32_t> ownNumber;              ///< the one that PortOfDevice gave a device path
constexpr unsigned kFirstPseudoTerminal = 136;  // major numbers of the far ends of pseudo-terminals
constexpr unsigned kLastPseudoTerminal = 143;
constexpr unsigned kTerminalMakers = 5;  // tty, console, ptmx: opened by many, each for another terminal

/// The program that plays a pseudo-terminal has its far end open, too, without harm.
bool IsPseudoTerminal(const struct stat& info) {
    const unsigned kind = major(info.st_rdev);
    return (kind >= kFirstPseudoTerminal && kind <= kLastPseudoTerminal) || kind == kTerminalMakers;
}

bool IsTerminalDevice(const struct stat& info) {
    const std::string number =
        std::to_string(major(info.st_rdev)) + ":" + std::to_string(minor(info.st_rdev));
    std::error_code failure;
    const auto kind = std::filesystem::read_symlink("/sys/dev/char/" + number + "/subsystem", failure);
    return S_ISCHR(info.st_mode) && kind.filename() == "tty";
}

std::string GroupAdvice(const struct stat& info) {
    const group* const owner =
        (info.st_mode & S_IRGRP) != 0 && info.st_gid != 0 ? getgrgid(info.st_gid) : nullptr;
    if (owner == nullptr) return "ask for the right to read it";
    const std::string name = owner->gr_name;
    return "join the group " + name + " (sudo usermod -aG " + name + " \"$USER\", then log in again)";
}

std::string MissingAdvice(uint32_t number) {
    if (number == ownNumber) return "connect the probe; \"tracehost ports\" lists the ports that are there";
    const std::string variable = kVariable + std::to_string(number);
    if (!KORR_PLIM::platform::GetVariable(variable.c_str()).empty()) {
        return "connect the probe, or correct the variable " + variable + ", which names this device";
    }
    return "connect the probe; \"tracehost ports\" lists the ports that are there, and " + variable +
           " can name another device";
}

void SetHeld(PortAccess& access, const std::string& holder) {
    access.problem = kInUse;
    access.holder = holder;
    access.advice = holder.empty() ? "end the program that has it open, a terminal or another recording"
                                   : "end " + holder + " first";
}

void SetOpenFailure(PortAccess& access, int error, const struct stat& info) {
    if (error == EBUSY) return SetHeld(access, OpenIn(info));
    access.problem = ErrorWords(static_cast<uint32_t>(error));
    access.advice = error == EACCES || error == EPERM
                        ? GroupAdvice(info)
                        : "unplug the probe and connect it again; the kernel's log (dmesg) may say more";
}

/// N of "<prefix>N".
std::optional<uint32_t> PortNumberOf(const std::string& text, const std::string& prefix) {
    if (!text.starts_with(prefix)) return std::nullopt;
    const char* const end = text.data() + text.size();
    uint32_t number = 0;
    const auto [stop, failure] = std::from_chars(text.data() + prefix.size(), end, number);
    if (failure != std::errc() || stop != end) return std::nullopt;
    return number;
}

/// Whether a number means a device already.
bool IsTaken(uint32_t number) {
    struct stat info {};
    const std::string usual = kUsualDevice + std::to_string(number);
    return Tarnel::DevicePath(number) != usual || stat(usual.c_str(), &info) == 0;
}

/// What only an open port tells.
void TryToUse(PortAccess& access, const struct stat& info) {
    const int port = Tarnel::Uninterrupted(
        [&] { return open(access.device.c_str(), O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC); });
    if (port < 0) return SetOpenFailure(access, errno, info);
    termios2 settings{};
    int exclusive = 0;
    if (Tarnel::Uninterrupted([&] { return ioctl(port, TCGETS2, &settings); }) != 0) {
        access.problem = ErrorWords(static_cast<uint32_t>(errno));
        access.advice = "this is no serial port: \"tracehost ports\" lists those that are there";
    } else if (flock(port, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        SetHeld(access, LockedBy(info));
    } else if (ioctl(port, TIOCGEXCL, &exclusive) == 0 && exclusive != 0) {  // does not keep root out
        SetHeld(access, OpenIn(info));
    }
    close(port);
}

}  // namespace

PortAccess CheckPort(uint32_t number, PortCheck check) {
    PortAccess access;
    access.device = Tarnel::DevicePath(number);
    struct stat info {};
    if (stat(access.device.c_str(), &info) != 0) {
        access.problem = ErrorWords(static_cast<uint32_t>(errno));
        access.advice = MissingAdvice(number);
        return access;
    }
    const std::string locker = LockedBy(info);
    const std::string reader =
        IsTerminalDevice(info) && !IsPseudoTerminal(info) ? OpenIn(info) : std::string();
    if (!locker.empty() || !reader.empty()) {
        SetHeld(access, !locker.empty() ? locker : reader);
    } else if (check == PortCheck::ByOpening) {
        TryToUse(access, info);
    } else if (faccessat(AT_FDCWD, access.device.c_str(), R_OK, AT_EACCESS) != 0) {
        SetOpenFailure(access, errno, info);
    }
    return access;
}

std::vector<uint32_t> PortsOfEnvironment() {
    std::vector<uint32_t> numbers;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const std::string text = *variable;
        const auto number = PortNumberOf(text.substr(0, text.find('=')), kVariable);
        if (number && text.size() > text.find('=') + 1) numbers.push_back(*number);
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

std::optional<uint32_t> PortOfDevice(const std::string& path) {
    if (path.find('/') == std::string::npos) return std::nullopt;
    for (const uint32_t number : PortsOfEnvironment()) {
        if (Tarnel::DevicePath(number) == path) return number;
    }
    const auto usual = PortNumberOf(path, kUsualDevice);
    if (usual && Tarnel::DevicePath(*usual) == path) return usual;
    uint32_t number = kFirstOwnNumber;
    while (IsTaken(number)) ++number;
    ownNumber = number;
    SetProcessVariable((kVariable + std::to_string(number)).c_str(), path.c_str());
    return number;
}

}  // namespace Korr::Plim::Trace::Tracehost
