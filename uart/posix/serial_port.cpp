#include "uart/serial_port.h"

#include <asm/ioctls.h>
#include <asm/termbits.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "uart/posix/device_path.h"
#include "uart/posix/uninterrupted.h"

namespace Korr::Plim::Trace::Tarnel {

namespace {

int Native(std::intptr_t handle) { return static_cast<int>(handle); }

// Setting a break waits for what is being sent, and any signal ends that with EINTR, even one whose handler
// asks for restarts; setting, purging and ending a break may have to wait for the foreground.
template <typename Argument>
int Control(std::intptr_t handle, unsigned long request, Argument argument) {
    return Uninterrupted([&] { return ::ioctl(Native(handle), request, argument); });
}

// What `native` holds: all settings of the terminal, and its modem lines where it has any.
struct TerminalLine {
    termios2 settings{};
    int modemLines = 0;
    int hasModemLines = 0;
};
static_assert(sizeof(TerminalLine) <= sizeof(LineState::native));

constexpr tcflag_t kInputCooking = IGNBRK | BRKINT | IGNPAR | PARMRK | ISTRIP | INLCR | IGNCR | ICRNL | IUCLC;
constexpr tcflag_t kLocalCooking = ECHO | ECHONL | ICANON | ISIG | IEXTEN;
constexpr tcflag_t kReceive = CREAD | CLOCAL;
constexpr uint8_t kHighestParity = 4;  // none, odd, even, mark, space

// Raw bytes, and an end of the data that differs from having none yet: with VMIN 0 both would read as 0
// bytes.
bool IsRaw(const termios2& settings) {
    return (settings.c_iflag & kInputCooking) == 0 && (settings.c_oflag & OPOST) == 0 &&
           (settings.c_lflag & kLocalCooking) == 0 && (settings.c_cflag & kReceive) == kReceive &&
           settings.c_cc[VMIN] == 1 && settings.c_cc[VTIME] == 0;
}

void MakeRaw(termios2& settings) {
    settings.c_iflag &= ~kInputCooking;
    settings.c_oflag &= ~static_cast<tcflag_t>(OPOST);
    settings.c_lflag &= ~kLocalCooking;
    settings.c_cflag |= kReceive;
    settings.c_cc[VMIN] = 1;
    settings.c_cc[VTIME] = 0;
}

uint8_t DataBits(tcflag_t control) {
    switch (control & CSIZE) {
        case CS5:
            return 5;
        case CS6:
            return 6;
        case CS7:
            return 7;
        default:
            return 8;
    }
}

tcflag_t DataBitsFlag(uint8_t dataBits) {
    constexpr tcflag_t kFlags[] = {CS5, CS6, CS7, CS8};
    return kFlags[dataBits - 5];
}

uint8_t Parity(tcflag_t control) {
    if ((control & PARENB) == 0) return 0;
    const bool odd = (control & PARODD) != 0;
    if ((control & CMSPAR) != 0) return odd ? 3 : 4;
    return odd ? 1 : 2;
}

tcflag_t ParityFlags(uint8_t parity) {
    constexpr tcflag_t kFlags[] = {0, PARENB | PARODD, PARENB, PARENB | PARODD | CMSPAR, PARENB | CMSPAR};
    return kFlags[parity];
}

void Assign(tcflag_t& flags, tcflag_t mask, bool on) { flags = on ? flags | mask : flags & ~mask; }

void FromTerminal(const TerminalLine& line, LineState& state) {
    const termios2& settings = line.settings;
    state = LineState();
    state.length = sizeof line;
    state.baudRate = settings.c_ispeed;
    state.dataBits = DataBits(settings.c_cflag);
    state.parity = Parity(settings.c_cflag);
    state.stopBits = (settings.c_cflag & CSTOPB) != 0 ? 2 : 0;
    state.binary = IsRaw(settings);
    state.checkParity = (settings.c_iflag & INPCK) != 0;
    state.ctsFlow = (settings.c_cflag & CRTSCTS) != 0;
    state.dtrControl = (line.modemLines & TIOCM_DTR) != 0 ? 1 : 0;
    state.xoffOutput = (settings.c_iflag & IXON) != 0;
    state.xoffInput = (settings.c_iflag & IXOFF) != 0;
    state.rtsControl = (line.modemLines & TIOCM_RTS) != 0 ? 1 : 0;
    std::memcpy(state.native.data(), &line, sizeof line);
}

// Framing and rate, where they differ from what was found, so that settings read and written back are the
// same to the bit. False for what no port can do; rate 0 would hang the line up.
bool ApplyFraming(const LineState& asked, const LineState& found, termios2& settings) {
    if (asked.baudRate != found.baudRate) {
        if (asked.baudRate == 0) return false;
        settings.c_cflag &= ~static_cast<tcflag_t>(CBAUD | CIBAUD);
        settings.c_cflag |= BOTHER;
        settings.c_ispeed = asked.baudRate;
        settings.c_ospeed = asked.baudRate;
    }
    if (asked.dataBits < 5 || asked.dataBits > 8 || asked.parity > kHighestParity) return false;
    if (asked.stopBits != 0 && asked.stopBits != 2) return false;
    Assign(settings.c_cflag, CSIZE, false);
    settings.c_cflag |= DataBitsFlag(asked.dataBits);
    if (asked.parity != found.parity) {
        Assign(settings.c_cflag, PARENB | PARODD | CMSPAR, false);
        settings.c_cflag |= ParityFlags(asked.parity);
    }
    Assign(settings.c_cflag, CSTOPB, asked.stopBits == 2);
    return true;
}

// Members without a counterpart here (DSR flow and sensitivity, discarding zeros, abort on error) are
// ignored.
bool ToTerminal(const LineState& asked, TerminalLine& line) {
    std::memcpy(&line, asked.native.data(), sizeof line);
    LineState found;
    FromTerminal(line, found);
    termios2& settings = line.settings;
    if (!ApplyFraming(asked, found, settings)) return false;
    if (asked.binary && !found.binary) MakeRaw(settings);
    Assign(settings.c_iflag, INPCK, asked.checkParity);
    Assign(settings.c_cflag, CRTSCTS, asked.ctsFlow);
    Assign(settings.c_iflag, IXON, asked.xoffOutput);
    Assign(settings.c_iflag, IXOFF, asked.xoffInput);
    line.modemLines = (asked.dtrControl != 0 ? TIOCM_DTR : 0) | (asked.rtsControl != 0 ? TIOCM_RTS : 0);
    return true;
}

// A device may tell its lines and yet refuse to have them set; the bytes come all the same.
void SetModemLines(std::intptr_t port, int lines) {
    const int cleared = ~lines & (TIOCM_DTR | TIOCM_RTS);
    Control(port, TIOCMBIS, &lines);
    Control(port, TIOCMBIC, &cleared);
}

bool Apply(std::intptr_t port, TerminalLine& line) {
    if (Control(port, TCSETS2, &line.settings) != 0) return false;
    if (line.hasModemLines != 0) SetModemLines(port, line.modemLines);
    return true;
}

bool AreSame(const TerminalLine& one, const TerminalLine& other) {
    const int linesThatDiffer = (one.modemLines ^ other.modemLines) & (TIOCM_DTR | TIOCM_RTS);
    return std::memcmp(&one.settings, &other.settings, sizeof one.settings) == 0 && linesThatDiffer == 0;
}

// Takes an open port for this object alone, by both conventions: the lock for programs that ask for it, the
// exclusive mode for those that only open. A terminal or a file system without one of them gives less
// protection.
bool Claim(int port) {
    const bool locked =
        Uninterrupted([&] { return ::flock(port, LOCK_EX | LOCK_NB); }) != 0 && errno == EWOULDBLOCK;
    int exclusive = 0;
    const bool held = Control(port, TIOCGEXCL, &exclusive) == 0 && exclusive != 0;
    if (locked || held) {
        errno = EBUSY;
        return false;
    }
    Control(port, TIOCEXCL, 0);
    return true;
}

constexpr int kWait = 1;             // ms
constexpr int kWaitInSilence = 100;  // ms
constexpr uint32_t kSilence = 50;    // waits in vain, one after another

}  // namespace

const uint32_t SerialPort::kCaptureReadSize = 4096;

// Read only is enough: settings, break and purge need no right to write. Opening does not wait for a carrier
// and does not make the port the process's terminal.
bool SerialPort::Open(uint32_t portNumber) {
    const std::string path = DevicePath(portNumber);
    int port =
        Uninterrupted([&] { return ::open(path.c_str(), O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC); });
    if (port >= 0 && !Claim(port)) {
        const int why = errno;
        ::close(port);
        errno = why;
        port = -1;
    }
    handle = port;
    waker = port >= 0 ? ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK) : -1;
    silentWaits = 0;
    foundState.reset();
    changed = false;
    return port >= 0;
}

bool SerialPort::SetPollingTimeouts() {
    const int flags = ::fcntl(Native(handle), F_GETFL);
    return flags >= 0 && ::fcntl(Native(handle), F_SETFL, flags | O_NONBLOCK) == 0;
}

bool SerialPort::GetState(LineState& state) {
    TerminalLine line;
    if (Control(handle, TCGETS2, &line.settings) != 0) return false;
    line.hasModemLines = Control(handle, TIOCMGET, &line.modemLines) == 0 ? 1 : 0;
    FromTerminal(line, state);
    if (!foundState) foundState = state;
    return true;
}

bool SerialPort::SetState(const LineState& state) {
    TerminalLine line;
    if (!ToTerminal(state, line)) {
        errno = EINVAL;
        return false;
    }
    if (!Apply(handle, line)) return false;
    TerminalLine found;
    if (foundState) std::memcpy(&found, foundState->native.data(), sizeof found);
    changed = foundState && !AreSame(line, found);
    return true;
}

bool SerialPort::Purge() { return Control(handle, TCFLSH, TCIOFLUSH) == 0; }

bool SerialPort::QueryQueue(PortQueue& queue) {
    int waiting = 0;
    if (Control(handle, FIONREAD, &waiting) != 0) return false;
    queue.errors = 0;
    queue.bytesWaiting = static_cast<uint32_t>(waiting);
    return true;
}

bool SerialPort::SetBreak() { return Control(handle, TIOCSBRK, 0) == 0; }

// A port without data says EAGAIN. One that is gone says EIO, or that its data has ended.
bool SerialPort::Read(void* buffer, uint32_t size, uint32_t& bytesRead) {
    const ssize_t count = Uninterrupted([&] { return ::read(Native(handle), buffer, size); });
    if (count > 0) {
        bytesRead = static_cast<uint32_t>(count);
        return true;
    }
    bytesRead = 0;
    if (count == 0 && size != 0) errno = EIO;
    return size == 0 || errno == EAGAIN;
}

// After a read that brought much more is likely there already: asking first would only cost time. After one
// that brought little, waiting before the next read saves that read. Where bytes come one after another the
// event is left out of the wait, which would cost more with it.
void SerialPort::AwaitMore(uint32_t bytesRead) {
    if (bytesRead != 0) silentWaits = 0;
    if (bytesRead >= kCaptureReadSize / 2) return;
    pollfd awaited[] = {{Native(handle), POLLIN, 0}, {waker, POLLIN, 0}};
    if (waker >= 0 && silentWaits >= kSilence) {
        ::poll(awaited, 2, kWaitInSilence);
    } else if (::poll(awaited, 1, kWait) == 0 && silentWaits < kSilence) {
        ++silentWaits;
    }
}

// The event stays set, so that a wait that begins just now ends, too.
void SerialPort::EndWaits() {
    const eventfd_t once = 1;
    if (waker >= 0) Uninterrupted([&] { return ::write(waker, &once, sizeof once); });
}

// A device keeps break, settings and exclusive mode until it is told otherwise, also when the port is closed.
bool SerialPort::Close() {
    const int port = Native(handle);
    Control(handle, TIOCCBRK, 0);
    if (changed) {
        TerminalLine found;
        std::memcpy(&found, foundState->native.data(), sizeof found);
        Apply(handle, found);
    }
    Control(handle, TIOCNXCL, 0);
    handle = kClosed;
    if (waker >= 0) ::close(waker);
    waker = -1;
    return ::close(port) == 0;
}

uint32_t SerialPort::LastError() { return static_cast<uint32_t>(errno); }

}  // namespace Korr::Plim::Trace::Tarnel
