#include <asm/ioctls.h>
#include <asm/termbits.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "uart/capture_file.h"
#include "uart/serial_port.h"

/// The system calls below the bodies, replaced at link time (--wrap): every call of a test comes here, and
/// none reaches the system.
namespace {

struct Answer {
    long result;
    int error;
};

struct System {
    std::vector<std::string> calls;
    std::deque<Answer> answers;  ///< of the calls to come; success, with nothing moved, when there are none
    termios2 settings{};
    int modemLines = 0;
    int settingsSet = 0;

    long Next(const std::string& call, long success) {
        calls.push_back(call);
        if (answers.empty()) return success;
        const Answer answer = answers.front();
        answers.pop_front();
        if (answer.result < 0) errno = answer.error;
        return answer.result;
    }
};
System* replaced = nullptr;

}  // namespace

extern "C" {
int __real_open(const char* path, int flags, ...);
ssize_t __real_read(int file, void* buffer, size_t size);
ssize_t __real_write(int file, const void* data, size_t size);
int __real_close(int file);
int __real_ioctl(int file, unsigned long request, ...);
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

namespace Korr::Plim::Trace::Tarnel {

namespace {

using Calls = std::vector<std::string>;

class PosixBodies : public ::testing::Test {
  protected:
    void SetUp() override { replaced = &system; }
    void TearDown() override { replaced = nullptr; }
    std::string Ioctl(unsigned long request) { return "ioctl " + std::to_string(request); }

    System system;
    SerialPort port;
    CaptureFile file;
    uint32_t bytesRead = 99;
    char buffer[100] = {};
};

const std::string kPortFlags = std::to_string(O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
const std::string kFileFlags = std::to_string(O_WRONLY | O_CREAT | O_CLOEXEC);

TEST_F(PosixBodies, PortNumberIsAnAcmDeviceUnlessTheEnvironmentNamesAnother) {
    ::unsetenv("KORR_TRACE_COM3");
    EXPECT_TRUE(port.Open(3));
    ::setenv("KORR_TRACE_COM3", "/dev/ttyUSB9", 1);
    EXPECT_TRUE(port.Open(3));
    ::setenv("KORR_TRACE_COM3", "", 1);
    EXPECT_TRUE(port.Open(3));
    ::unsetenv("KORR_TRACE_COM3");
    EXPECT_TRUE(port.Open(4294967295U));
    EXPECT_EQ(system.calls,
              (Calls{"open /dev/ttyACM3 " + kPortFlags, "open /dev/ttyUSB9 " + kPortFlags,
                     "open /dev/ttyACM3 " + kPortFlags, "open /dev/ttyACM4294967295 " + kPortFlags}));
}

TEST_F(PosixBodies, InterruptedOpenIsRepeated) {
    system.answers = {{-1, EINTR}, {-1, EINTR}, {5, 0}, {-1, EINTR}, {-1, EACCES}};
    EXPECT_TRUE(port.Open(3));
    EXPECT_TRUE(port.IsOpen());
    EXPECT_FALSE(file.Create("name"));
    EXPECT_FALSE(file.IsOpen());
    EXPECT_EQ(CaptureFile::LastError(), static_cast<uint32_t>(EACCES));
    EXPECT_EQ(system.calls.size(), 5U);
    EXPECT_EQ(system.calls.back(), "open name " + kFileFlags);
}

TEST_F(PosixBodies, FailedOpenLeavesThePortClosed) {
    system.answers = {{-1, EBUSY}};
    EXPECT_FALSE(port.Open(3));
    EXPECT_FALSE(port.IsOpen());
    EXPECT_EQ(SerialPort::LastError(), static_cast<uint32_t>(EBUSY));
}

TEST_F(PosixBodies, DescriptorZeroIsAPortLikeAnyOther) {
    system.answers = {{0, 0}, {0, 0}};
    EXPECT_TRUE(port.Open(3));
    EXPECT_TRUE(port.IsOpen());
    EXPECT_TRUE(port.Close());
    EXPECT_EQ(system.calls.back(), "close 0");
}

TEST_F(PosixBodies, PollingIsANonBlockingDescriptor) {
    EXPECT_TRUE(port.SetPollingTimeouts());
    EXPECT_EQ(system.calls, (Calls{"getfl", "setfl " + std::to_string(O_APPEND | O_NONBLOCK)}));
    system.answers = {{-1, EBADF}};
    EXPECT_FALSE(port.SetPollingTimeouts());
    system.answers = {{0, 0}, {-1, EPERM}};
    EXPECT_FALSE(port.SetPollingTimeouts());
    EXPECT_EQ(SerialPort::LastError(), static_cast<uint32_t>(EPERM));
}

TEST_F(PosixBodies, ReadTellsNothingFromGone) {
    system.answers = {{-1, EAGAIN}, {0, 0}, {-1, EIO}, {-1, EINTR}, {17, 0}};
    EXPECT_TRUE(port.Read(buffer, 100, bytesRead));
    EXPECT_EQ(bytesRead, 0U);
    EXPECT_FALSE(port.Read(buffer, 100, bytesRead));
    EXPECT_EQ(SerialPort::LastError(), static_cast<uint32_t>(EIO));
    EXPECT_FALSE(port.Read(buffer, 100, bytesRead));
    EXPECT_EQ(SerialPort::LastError(), static_cast<uint32_t>(EIO));
    EXPECT_TRUE(port.Read(buffer, 100, bytesRead));
    EXPECT_EQ(bytesRead, 17U);
    EXPECT_EQ(system.calls.size(), 5U);
}

TEST_F(PosixBodies, EmptyPollIsOneReadAndNoWrite) {
    system.answers = {{-1, EAGAIN}};
    EXPECT_TRUE(port.Read(buffer, 100, bytesRead));
    EXPECT_TRUE(file.Write(buffer, bytesRead));
    EXPECT_EQ(system.calls, Calls{"read 100"});
}

TEST_F(PosixBodies, ReadOfNothingSucceeds) {
    EXPECT_TRUE(port.Read(buffer, 0, bytesRead));
    EXPECT_EQ(bytesRead, 0U);
}

TEST_F(PosixBodies, CaptureFileIsLockedThenEmptied) {
    EXPECT_TRUE(file.Create("name"));
    EXPECT_EQ(system.calls, (Calls{"open name " + kFileFlags, "flock " + std::to_string(LOCK_EX | LOCK_NB),
                                   "ftruncate 0"}));
}

TEST_F(PosixBodies, CaptureFileOfAnotherCaptureIsClosedUntouched) {
    system.answers = {{5, 0}, {-1, EWOULDBLOCK}, {-1, EIO}};
    EXPECT_FALSE(file.Create("name"));
    EXPECT_FALSE(file.IsOpen());
    EXPECT_EQ(CaptureFile::LastError(), static_cast<uint32_t>(EWOULDBLOCK));
    EXPECT_EQ(system.calls.size(), 3U);
    EXPECT_EQ(system.calls.back(), "close 5");
}

TEST_F(PosixBodies, FileSystemWithoutLocksIsTakenAsItIs) {
    system.answers = {{5, 0}, {-1, ENOLCK}};
    EXPECT_TRUE(file.Create("name"));
    EXPECT_EQ(system.calls.back(), "ftruncate 0");
}

TEST_F(PosixBodies, InterruptedLockIsAskedForAgain) {
    const std::string lock = "flock " + std::to_string(LOCK_EX | LOCK_NB);
    system.answers = {{5, 0}, {-1, EINTR}, {-1, EINTR}, {0, 0}};
    EXPECT_TRUE(file.Create("name"));
    EXPECT_EQ(system.calls, (Calls{"open name " + kFileFlags, lock, lock, lock, "ftruncate 0"}));
    system.answers = {{5, 0}, {-1, EINTR}, {-1, EWOULDBLOCK}};
    EXPECT_FALSE(file.Create("name"));
    EXPECT_EQ(CaptureFile::LastError(), static_cast<uint32_t>(EWOULDBLOCK));
    EXPECT_EQ(system.calls.back(), "close 5");
}

TEST_F(PosixBodies, InterruptedEmptyingIsRepeatedAndARefusedOneFails) {
    system.answers = {{5, 0}, {0, 0}, {-1, EINTR}, {0, 0}};
    EXPECT_TRUE(file.Create("name"));
    system.answers = {{5, 0}, {0, 0}, {-1, EPERM}};
    EXPECT_FALSE(file.Create("name"));
    EXPECT_EQ(CaptureFile::LastError(), static_cast<uint32_t>(EPERM));
    EXPECT_EQ(system.calls.back(), "close 5");
}

TEST_F(PosixBodies, DeviceInPlaceOfTheCaptureFileHasNothingToEmpty) {
    system.answers = {{5, 0}, {0, 0}, {-1, EINVAL}};
    EXPECT_TRUE(file.Create("name"));
}

TEST_F(PosixBodies, ShortAndInterruptedWritesAreContinued) {
    system.answers = {{2, 0}, {-1, EINTR}, {1, 0}, {3, 0}};
    EXPECT_TRUE(file.Write("abcdef", 6));
    EXPECT_EQ(system.calls, (Calls{"write abcdef", "write cdef", "write cdef", "write def"}));
}

TEST_F(PosixBodies, FullFileSystemFailsTheWrite) {
    system.answers = {{4, 0}, {-1, ENOSPC}};
    EXPECT_FALSE(file.Write("abcdef", 6));
    EXPECT_EQ(CaptureFile::LastError(), static_cast<uint32_t>(ENOSPC));
    EXPECT_EQ(system.calls, (Calls{"write abcdef", "write ef"}));
}

TEST_F(PosixBodies, WriteThatTakesNothingFails) {
    system.answers = {{0, 0}};
    EXPECT_FALSE(file.Write("abc", 3));
    EXPECT_EQ(CaptureFile::LastError(), static_cast<uint32_t>(ENOSPC));
    EXPECT_EQ(system.calls.size(), 1U);
}

TEST_F(PosixBodies, FailedCloseCountsAsClosed) {
    ASSERT_TRUE(port.Open(3));
    ASSERT_TRUE(file.Create("name"));
    system.answers = {{-1, ENOTTY}, {-1, EIO}, {-1, EINTR}};
    EXPECT_FALSE(port.Close());
    EXPECT_FALSE(port.IsOpen());
    EXPECT_FALSE(file.Close());
    EXPECT_FALSE(file.IsOpen());
    EXPECT_EQ(system.calls.size(), 7U);
}

TEST_F(PosixBodies, ClosingEndsABreak) {
    ASSERT_TRUE(port.Open(3));
    ASSERT_TRUE(port.SetBreak());
    ASSERT_TRUE(port.Close());
    ASSERT_EQ(system.calls.size(), 4U);
    EXPECT_EQ(system.calls[1], Ioctl(TIOCSBRK));
    EXPECT_EQ(system.calls[2], Ioctl(TIOCCBRK));
}

TEST_F(PosixBodies, ControlCallsReportTheirFailure) {
    const std::vector<bool (*)(SerialPort&)> operations = {[](SerialPort& one) { return one.Purge(); },
                                                           [](SerialPort& one) { return one.SetBreak(); },
                                                           [](SerialPort& one) {
                                                               PortQueue queue;
                                                               return one.QueryQueue(queue);
                                                           },
                                                           [](SerialPort& one) {
                                                               LineState state;
                                                               return one.GetState(state);
                                                           }};
    for (const auto operation : operations) {
        EXPECT_TRUE(operation(port));
        system.answers = {{-1, ENXIO}};
        EXPECT_FALSE(operation(port));
        EXPECT_EQ(SerialPort::LastError(), static_cast<uint32_t>(ENXIO));
    }
    EXPECT_EQ(system.calls[0], Ioctl(TCFLSH));
    EXPECT_EQ(system.calls[2], Ioctl(TIOCSBRK));
    EXPECT_EQ(system.calls[4], Ioctl(FIONREAD));
    EXPECT_EQ(system.calls[6], Ioctl(TCGETS2));
}

TEST_F(PosixBodies, QueueIsWhatTheDriverHolds) {
    PortQueue queue;
    EXPECT_TRUE(port.QueryQueue(queue));
    EXPECT_EQ(queue.bytesWaiting, 42U);
}

TEST_F(PosixBodies, RefusedSettingsAreAFailure) {
    LineState state;
    ASSERT_TRUE(port.GetState(state));
    state.baudRate = 9600;
    system.answers = {{-1, EINVAL}};
    EXPECT_FALSE(port.SetState(state));
    EXPECT_EQ(SerialPort::LastError(), static_cast<uint32_t>(EINVAL));
}

TEST_F(PosixBodies, SettingsThatNoPortHasAreRefusedWithoutAskingTheDriver) {
    LineState found;
    system.settings.c_ispeed = 9600;
    ASSERT_TRUE(port.GetState(found));
    for (int broken = 0; broken < 5; ++broken) {
        LineState state = found;
        if (broken == 0) state.dataBits = 4;
        if (broken == 1) state.dataBits = 9;
        if (broken == 2) state.parity = 5;
        if (broken == 3) state.stopBits = 1;
        if (broken == 4) state.baudRate = 0;
        EXPECT_FALSE(port.SetState(state)) << broken;
        EXPECT_EQ(SerialPort::LastError(), static_cast<uint32_t>(EINVAL));
    }
    EXPECT_EQ(system.settingsSet, 0);
}

TEST_F(PosixBodies, SettingsReadAndWrittenBackAreTheSameToTheBit) {
    for (int variant = 0; variant < 2000; ++variant) {
        std::srand(static_cast<unsigned>(variant));
        auto* bytes = reinterpret_cast<unsigned char*>(&system.settings);
        for (std::size_t i = 0; i < sizeof system.settings; ++i)
            bytes[i] = static_cast<unsigned char>(std::rand() / 64);
        system.modemLines = std::rand() & (TIOCM_DTR | TIOCM_RTS);
        const termios2 before = system.settings;
        const int linesBefore = system.modemLines;
        LineState state;
        ASSERT_TRUE(port.GetState(state));
        ASSERT_TRUE(port.SetState(state)) << variant;
        EXPECT_EQ(std::memcmp(&before, &system.settings, sizeof before), 0) << variant;
        EXPECT_EQ(system.modemLines, linesBefore);
    }
}

TEST_F(PosixBodies, FramingIsProgrammedAsAsked) {
    LineState state;
    ASSERT_TRUE(port.GetState(state));
    const tcflag_t dataFlags[] = {CS5, CS6, CS7, CS8};
    const tcflag_t parityFlags[] = {0, PARENB | PARODD, PARENB, PARENB | PARODD | CMSPAR, PARENB | CMSPAR};
    for (uint8_t parity = 0; parity < 5; ++parity) {
        for (uint8_t bits = 5; bits < 9; ++bits) {
            state.dataBits = bits;
            state.parity = parity;
            state.stopBits = bits % 2 == 0 ? 0 : 2;
            ASSERT_TRUE(port.SetState(state));
            const tcflag_t control = system.settings.c_cflag;
            EXPECT_EQ(control & CSIZE, dataFlags[bits - 5]);
            EXPECT_EQ(control & (PARENB | PARODD | CMSPAR), parityFlags[parity]);
            EXPECT_EQ((control & CSTOPB) != 0, bits % 2 != 0);
            LineState reported;
            ASSERT_TRUE(port.GetState(reported));
            EXPECT_EQ(reported.dataBits, bits);
            EXPECT_EQ(reported.parity, parity);
            EXPECT_EQ(reported.stopBits, state.stopBits);
        }
    }
}

TEST_F(PosixBodies, FlowControlAndParityCheckAreProgrammedAsAsked) {
    LineState state;
    ASSERT_TRUE(port.GetState(state));
    state.ctsFlow = state.xoffInput = state.xoffOutput = state.checkParity = true;
    ASSERT_TRUE(port.SetState(state));
    EXPECT_EQ(system.settings.c_cflag & CRTSCTS, static_cast<tcflag_t>(CRTSCTS));
    EXPECT_EQ(system.settings.c_iflag & (IXON | IXOFF | INPCK), static_cast<tcflag_t>(IXON | IXOFF | INPCK));
    LineState reported;
    ASSERT_TRUE(port.GetState(reported));
    EXPECT_TRUE(reported.ctsFlow && reported.xoffInput && reported.xoffOutput && reported.checkParity);
}

TEST_F(PosixBodies, ModemLinesFollowTheStateAndComeBack) {
    system.modemLines = TIOCM_DTR | TIOCM_RTS | TIOCM_CTS;
    LineState found;
    ASSERT_TRUE(port.GetState(found));
    EXPECT_EQ(found.dtrControl, 1);
    EXPECT_EQ(found.rtsControl, 1);
    LineState state = found;
    state.dtrControl = state.rtsControl = 0;
    ASSERT_TRUE(port.SetState(state));
    EXPECT_EQ(system.modemLines, TIOCM_CTS);
    ASSERT_TRUE(port.SetState(found));
    EXPECT_EQ(system.modemLines, TIOCM_DTR | TIOCM_RTS | TIOCM_CTS);
}

TEST_F(PosixBodies, PortWithoutModemLinesIsLeftAlone) {
    system.answers = {{0, 0}, {-1, EINVAL}};
    LineState state;
    ASSERT_TRUE(port.GetState(state));
    EXPECT_EQ(state.dtrControl, 0);
    system.calls.clear();
    ASSERT_TRUE(port.SetState(state));
    EXPECT_EQ(system.calls, Calls{Ioctl(TCSETS2)});
}

TEST_F(PosixBodies, RefusedModemLinesAreNoFailure) {
    LineState state;
    ASSERT_TRUE(port.GetState(state));
    system.answers = {{0, 0}, {-1, EIO}, {-1, EIO}};
    EXPECT_TRUE(port.SetState(state));
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tarnel
