#include "simulator/swosource/pseudo_terminal.h"

#include <asm/termbits.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace Korr::Plim::Trace::Simulator {
namespace {

[[noreturn]] void Fail(const std::string& what) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

}  // namespace

PseudoTerminal::PseudoTerminal(const std::string& path) : link(path) {
    try {
        Open();
    } catch (...) {
        Close();
        throw;
    }
}

PseudoTerminal::~PseudoTerminal() { Close(); }

void PseudoTerminal::Open() {
    nearEnd = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (nearEnd < 0 || grantpt(nearEnd) != 0 || unlockpt(nearEnd) != 0) Fail("cannot make a pseudo-terminal");
    std::array<char, PATH_MAX> name{};
    if (ptsname_r(nearEnd, name.data(), name.size()) != 0) Fail("cannot name the pseudo-terminal");
    farEnd = open(name.data(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (farEnd < 0) Fail(name.data());
    MakeRaw();
    WatchReaders(name.data());
    MakeLink(name.data());
}

void PseudoTerminal::MakeRaw() {
    termios2 settings{};
    if (ioctl(farEnd, TCGETS2, &settings) != 0) Fail("cannot read the line settings");
    settings.c_iflag = 0;
    settings.c_oflag = 0;
    settings.c_lflag = 0;
    settings.c_cflag = B38400 | CS8 | CREAD | CLOCAL;
    settings.c_cc[VMIN] = 1;
    settings.c_cc[VTIME] = 0;
    if (ioctl(farEnd, TCSETS2, &settings) != 0) Fail("cannot set the line settings");
}

void PseudoTerminal::WatchReaders(const std::string& device) {
    watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (watch < 0 || inotify_add_watch(watch, device.c_str(), IN_OPEN | IN_CLOSE) < 0) {
        Fail("cannot watch " + device);
    }
}

void PseudoTerminal::MakeLink(const std::string& device) {
    std::error_code ignored;
    if (std::filesystem::is_symlink(link, ignored)) std::filesystem::remove(link, ignored);
    if (symlink(device.c_str(), link.c_str()) != 0) Fail("cannot make the link " + link);
    linked = true;
}

void PseudoTerminal::Close() {
    if (linked) unlink(link.c_str());
    for (int* end : {&watch, &farEnd, &nearEnd}) {
        if (*end >= 0) close(*end);
        *end = -1;
    }
}

size_t PseudoTerminal::Write(std::span<const uint8_t> bytes) {
    if (bytes.empty()) return 0;
    const ssize_t written = write(nearEnd, bytes.data(), bytes.size());
    if (written >= 0) return static_cast<size_t>(written);
    if (errno != EAGAIN && errno != EINTR) Fail("writing to the pseudo-terminal failed");
    return 0;
}

size_t PseudoTerminal::Unread() {
    int count = 0;
    if (ioctl(farEnd, FIONREAD, &count) != 0) Fail("cannot ask what the far end has not read");
    return static_cast<size_t>(count);
}

/// Asking whether there is something to read makes the kernel finish what is in transit, if nothing is ready
/// yet; if something is ready, it answers at once, and what is in transit follows by itself.
void PseudoTerminal::Settle() {
    pollfd ready{farEnd, POLLIN, 0};
    poll(&ready, 1, 0);
}

size_t PseudoTerminal::TakeBack() {
    std::array<uint8_t, 4096> bytes{};
    size_t count = 0;
    for (;;) {
        Settle();
        const ssize_t taken = read(farEnd, bytes.data(), bytes.size());
        if (taken <= 0) return count;
        count += static_cast<size_t>(taken);
    }
}

uint32_t PseudoTerminal::FarEndBaud() {
    termios2 settings{};
    if (ioctl(farEnd, TCGETS2, &settings) != 0) Fail("cannot read the far end's line settings");
    return settings.c_ospeed;
}

bool PseudoTerminal::Attended() {
    CountReaders();
    return opens > closes;
}

void PseudoTerminal::CountReaders() {
    alignas(inotify_event) std::array<char, 4096> buffer{};
    for (;;) {
        const ssize_t size = read(watch, buffer.data(), buffer.size());
        if (size <= 0) return;
        for (ssize_t at = 0; at < size;) {
            inotify_event event{};
            std::memcpy(&event, buffer.data() + at, sizeof event);
            if ((event.mask & IN_OPEN) != 0) ++opens;
            if ((event.mask & IN_CLOSE) != 0) ++closes;
            at += static_cast<ssize_t>(sizeof event + event.len);
        }
    }
}

}  // namespace Korr::Plim::Trace::Simulator
