#include <asm/ioctls.h>
#include <asm/termbits.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "tests/support/log_home.h"
#include "tests/unit/uart/posix_system.h"
#include "uart/UARTDataCollector.h"
#include "uart/capture_file.h"
#include "uart/serial_port.h"

namespace Korr::Plim::Trace::Tarnel {

using support::LogHome;

namespace {

using posix_system::replaced;
using Calls = std::vector<std::string>;

const std::string kPortFlags = std::to_string(O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
const std::string kFileFlags = std::to_string(O_WRONLY | O_CREAT | O_CLOEXEC);
const std::string kLock = "flock " + std::to_string(LOCK_EX | LOCK_NB);
const std::string kLongWait =
    "poll 5 for " + std::to_string(POLLIN) + " and 9 for " + std::to_string(POLLIN) + " within 100";
const uint64_t kOnce = 1;
const std::string kEventSet = "write " + std::string(reinterpret_cast<const char*>(&kOnce), sizeof kOnce);

class PosixBodies : public ::testing::Test {
  protected:
    void SetUp() override { replaced = &system; }
    void TearDown() override { replaced = nullptr; }
    std::string Ioctl(unsigned long request) { return "ioctl " + std::to_string(request); }
    // What an open of a device makes of the calls.
    Calls Opening(const std::string& device) {
        return {"open " + device + " " + kPortFlags, kLock, Ioctl(TIOCGEXCL), Ioctl(TIOCEXCL)};
    }

    // Port 5 with event 9, no call noted.
    void OpenWithAnEvent() {
        system.event = 9;
        system.answers = {{5, 0}};
        ASSERT_TRUE(port.Open(3));
        system.calls.clear();
    }
    // As many waits in vain as make a port count as silent; no call noted.
    void KeepSilent() {
        system.answers.clear();
        for (int i = 0; i < 50; ++i) port.AwaitMore(0);
        system.calls.clear();
    }

    posix_system::System system;
    SerialPort port;
    CaptureFile file;
    uint32_t bytesRead = 99;
    char buffer[100] = {};
};

TEST_F(PosixBodies, PortNumberIsAnAcmDeviceUnlessTheEnvironmentNamesAnother) {
    ::unsetenv("KORR_TRACE_COM3");
    EXPECT_TRUE(port.Open(3));
    ::setenv("KORR_TRACE_COM3", "/dev/ttyUSB9", 1);
    EXPECT_TRUE(port.Open(3));
    ::setenv("KORR_TRACE_COM3", "", 1);
    EXPECT_TRUE(port.Open(3));
    ::unsetenv("KORR_TRACE_COM3");
    EXPECT_TRUE(port.Open(4294967295U));
    Calls expected;
    for (const char* device : {"/dev/ttyACM3", "/dev/ttyUSB9", "/dev/ttyACM3", "/dev/ttyACM4294967295"}) {
        const Calls calls = Opening(device);
        expected.insert(expected.end(), calls.begin(), calls.end());
    }
    EXPECT_EQ(system.calls, expected);
}

TEST_F(PosixBodies, InterruptedOpenIsRepeated) {
    system.answers = {{-1, EINTR}, {-1, EINTR}, {5, 0}, {0, 0}, {0, 0}, {0, 0}, {-1, EINTR}, {-1, EACCES}};
    EXPECT_TRUE(port.Open(3));
    EXPECT_TRUE(port.IsOpen());
    EXPECT_FALSE(file.Create("name"));
    EXPECT_FALSE(file.IsOpen());
    EXPECT_EQ(CaptureFile::LastError(), static_cast<uint32_t>(EACCES));
    EXPECT_EQ(system.calls.size(), 8U);
    EXPECT_EQ(system.calls.back(), "open name " + kFileFlags);
}

TEST_F(PosixBodies, FailedOpenLeavesThePortClosed) {
    system.answers = {{-1, EBUSY}};
    EXPECT_FALSE(port.Open(3));
    EXPECT_FALSE(port.IsOpen());
    EXPECT_EQ(SerialPort::LastError(), static_cast<uint32_t>(EBUSY));
}

TEST_F(PosixBodies, PortThatAnotherProgramLocksIsClosedUntouched) {
    system.answers = {{5, 0}, {-1, EWOULDBLOCK}, {0, 0}, {-1, EIO}};
    EXPECT_FALSE(port.Open(3));
    EXPECT_FALSE(port.IsOpen());
    EXPECT_EQ(SerialPort::LastError(), static_cast<uint32_t>(EBUSY));
    EXPECT_EQ(system.calls, (Calls{"open /dev/ttyACM3 " + kPortFlags, kLock, Ioctl(TIOCGEXCL), "close 5"}));
}

TEST_F(PosixBodies, PortThatAnotherProgramHoldsExclusivelyIsClosedUntouched) {
    system.exclusive = 1;
    EXPECT_FALSE(port.Open(3));
    EXPECT_FALSE(port.IsOpen());
    EXPECT_EQ(SerialPort::LastError(), static_cast<uint32_t>(EBUSY));
    EXPECT_EQ(system.calls, (Calls{"open /dev/ttyACM3 " + kPortFlags, kLock, Ioctl(TIOCGEXCL), "close 3"}));
}

TEST_F(PosixBodies, PortWithoutLocksOrExclusiveModeIsTakenAsItIs) {
    system.answers = {{5, 0}, {-1, ENOLCK}, {-1, ENOTTY}, {-1, ENOTTY}};
    EXPECT_TRUE(port.Open(3));
    EXPECT_EQ(system.calls, Opening("/dev/ttyACM3"));
}

TEST_F(PosixBodies, DescriptorZeroIsAPortLikeAnyOther) {
    system.answers = {{0, 0}};
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

TEST_F(PosixBodies, CaptureWaitsAMillisecondAtMostAndOnlyWhereLittleCame) {
    EXPECT_EQ(SerialPort::kCaptureReadSize, 4096U);
    port.AwaitMore(4096);
    port.AwaitMore(2048);
    EXPECT_EQ(system.calls, Calls{});
    system.answers = {{5, 0}};
    ASSERT_TRUE(port.Open(3));
    system.calls.clear();
    port.AwaitMore(2047);
    port.AwaitMore(0);
    EXPECT_EQ(system.calls, Calls(2, "poll 5 for " + std::to_string(POLLIN) + " within 1"));
}

TEST_F(PosixBodies, CaptureWaitsForTheStopAsWellOnceFiftyWaitsWereInVain) {
    const std::string shortWait = "poll 5 for " + std::to_string(POLLIN) + " within 1";
    OpenWithAnEvent();
    EXPECT_EQ(system.eventMade, "eventfd 0 " + std::to_string(EFD_CLOEXEC | EFD_NONBLOCK));
    system.answers.assign(50, {0, 0});
    for (int i = 0; i < 50; ++i) port.AwaitMore(0);
    EXPECT_EQ(system.calls, Calls(50, shortWait));
    system.calls.clear();
    port.AwaitMore(0);
    port.AwaitMore(0);
    EXPECT_EQ(system.calls, Calls(2, kLongWait));
    for (const uint32_t heard : {1U, 4096U}) {
        KeepSilent();
        port.AwaitMore(heard);
        system.calls.clear();
        port.AwaitMore(0);
        EXPECT_EQ(system.calls, Calls{shortWait}) << "it speaks again";
    }
}

TEST_F(PosixBodies, LongWaitThatASignalEndsOrThatFailsIsOverAndTheNextIsLongAgain) {
    OpenWithAnEvent();
    KeepSilent();
    system.answers = {{-1, EINTR}, {-1, ENOMEM}, {1, 0}, {0, 0}};
    for (int i = 0; i < 4; ++i) port.AwaitMore(0);
    EXPECT_EQ(system.calls, Calls(4, kLongWait));
}

TEST_F(PosixBodies, WaitThatWasNotInVainIsNoSilence) {
    OpenWithAnEvent();
    for (int i = 0; i < 200; ++i) {
        system.answers = {i % 2 == 0 ? posix_system::Answer{1, 0} : posix_system::Answer{-1, EINTR}};
        port.AwaitMore(0);
    }
    EXPECT_EQ(system.calls, Calls(200, "poll 5 for " + std::to_string(POLLIN) + " within 1"));
}

TEST_F(PosixBodies, PortThatIsOpenedAgainIsNeitherSilentNorStopped) {
    OpenWithAnEvent();
    KeepSilent();
    port.EndWaits();
    ASSERT_TRUE(port.Close());
    system.event = 10;
    system.answers = {{6, 0}};
    ASSERT_TRUE(port.Open(3));
    system.calls.clear();
    port.AwaitMore(0);
    EXPECT_EQ(system.calls, Calls{"poll 6 for " + std::to_string(POLLIN) + " within 1"});
    KeepSilent();
    port.AwaitMore(0);
    const std::string data = std::to_string(POLLIN);
    EXPECT_EQ(system.calls, Calls{"poll 6 for " + data + " and 10 for " + data + " within 100"});
}

TEST_F(PosixBodies, WaitsStayShortWhereNoEventCouldBeMade) {
    system.answers = {{5, 0}};
    ASSERT_TRUE(port.Open(3));
    system.calls.clear();
    for (int i = 0; i < 200; ++i) port.AwaitMore(0);
    EXPECT_EQ(system.calls, Calls(200, "poll 5 for " + std::to_string(POLLIN) + " within 1"));
    system.calls.clear();
    port.EndWaits();
    EXPECT_EQ(system.calls, Calls{});
}

TEST_F(PosixBodies, WaitsAreEndedByAnEventThatIsClosedWithThePort) {
    OpenWithAnEvent();
    system.answers = {{-1, EINTR}, {8, 0}};
    port.EndWaits();
    EXPECT_EQ(system.calls, Calls(2, kEventSet));
    system.calls.clear();
    system.answers = {{0, 0}, {0, 0}, {-1, EBADF}, {-1, EIO}};
    EXPECT_FALSE(port.Close());
    EXPECT_EQ(SerialPort::LastError(), static_cast<uint32_t>(EIO)) << "the port's own failure";
    EXPECT_EQ(system.calls, (Calls{Ioctl(TIOCCBRK), Ioctl(TIOCNXCL), "close 9", "close 5"}));
    system.calls.clear();
    port.EndWaits();
    EXPECT_EQ(system.calls, Calls{});
}

TEST_F(PosixBodies, WaitThatASignalEndsOrThatFailsIsOver) {
    system.answers = {{-1, EINTR}, {-1, ENOMEM}};
    port.AwaitMore(0);
    EXPECT_EQ(system.calls.size(), 1U);
    port.AwaitMore(0);
    EXPECT_EQ(system.calls.size(), 2U);
}

// The event stays set: a write that it refuses says that it is set already.
TEST_F(PosixBodies, EventThatTakesNoMoreIsSetAlready) {
    OpenWithAnEvent();
    system.answers = {{-1, EAGAIN}};
    port.EndWaits();
    EXPECT_EQ(system.calls, Calls{kEventSet});
}

TEST_F(PosixBodies, EachStopOfACollectorEndsItsWaits) {
    const LogHome home("0");
    uint32_t prescaler = 24;
    system.event = 9;
    UARTDataCollector collector(5, 48e6, false, prescaler, "capture.bin", false);
    system.calls.clear();
    collector.Stop();
    collector.Stop();
    EXPECT_EQ(system.calls, Calls(2, kEventSet));
    system.calls.clear();
    collector.Run();
    EXPECT_EQ(system.calls, Calls{}) << "stopped before it ran";
    EXPECT_TRUE(collector.IsFinished());
}

TEST_F(PosixBodies, CollectorReadsWritesAndOnlyThenWaits) {
    const LogHome home("0");
    uint32_t prescaler = 24;
    UARTDataCollector collector(5, 48e6, false, prescaler, "capture.bin", true);
    system.calls.clear();
    system.answers = {{3, 0},    {3, 0},    {1, 0},    {-1, EAGAIN}, {0, 0},
                      {2100, 0}, {2100, 0}, {-1, EIO}, {0, 0},       {-1, EIO}};
    collector.Run();
    EXPECT_TRUE(collector.IsFinished());
    const std::string wait = "poll 3 for " + std::to_string(POLLIN) + " within 1";
    Calls calls = system.calls;
    for (std::string& call : calls) call = call.substr(0, call.find('\0'));
    EXPECT_EQ(calls, (Calls{"read 4096", "write ", wait, "read 4096", wait, "read 4096", "write ",
                            "read 4096", Ioctl(TIOCSBRK), "read 4096"}));
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
    system.calls.clear();
    system.answers = {{-1, ENOTTY}, {-1, ENOTTY}, {-1, EIO}, {-1, EINTR}};
    EXPECT_FALSE(port.Close());
    EXPECT_FALSE(port.IsOpen());
    EXPECT_FALSE(file.Close());
    EXPECT_FALSE(file.IsOpen());
    EXPECT_EQ(system.calls, (Calls{Ioctl(TIOCCBRK), Ioctl(TIOCNXCL), "close 3", "close 3"}));
}

TEST_F(PosixBodies, ClosingEndsABreakAndGivesThePortFree) {
    ASSERT_TRUE(port.Open(3));
    system.calls.clear();
    ASSERT_TRUE(port.SetBreak());
    ASSERT_TRUE(port.Close());
    EXPECT_EQ(system.calls, (Calls{Ioctl(TIOCSBRK), Ioctl(TIOCCBRK), Ioctl(TIOCNXCL), "close 3"}));
}

TEST_F(PosixBodies, ClosingGivesTheLineTheSettingsThatItWasFoundWith) {
    system.settings.c_ispeed = 9600;
    system.settings.c_lflag = ICANON;
    system.modemLines = TIOCM_DTR;
    const termios2 before = system.settings;
    ASSERT_TRUE(port.Open(3));
    LineState state;
    ASSERT_TRUE(port.GetState(state));
    state.baudRate = 115200;
    state.binary = true;
    state.dtrControl = 0;
    ASSERT_TRUE(port.SetState(state));
    ASSERT_TRUE(port.GetState(state));
    EXPECT_NE(std::memcmp(&before, &system.settings, sizeof before), 0);
    EXPECT_EQ(system.modemLines, 0);
    ASSERT_TRUE(port.Close());
    EXPECT_EQ(std::memcmp(&before, &system.settings, sizeof before), 0);
    EXPECT_EQ(system.modemLines, TIOCM_DTR);
    EXPECT_EQ(system.settingsSet, 2);
}

TEST_F(PosixBodies, WhatHasNoCounterpartReadsAsFalseWhateverTheRecordHeld) {
    ASSERT_TRUE(port.Open(3));
    LineState state;
    state.dsrFlow = state.dsrSensitivity = state.discardNull = state.abortOnError = true;
    ASSERT_TRUE(port.GetState(state));
    EXPECT_FALSE(state.dsrFlow || state.dsrSensitivity || state.discardNull || state.abortOnError);
}

TEST_F(PosixBodies, LineThatItsOwnerRestoredIsNotSetAgainByClosing) {
    system.settings.c_ispeed = 9600;
    LineState found;
    ASSERT_TRUE(port.Open(3));
    ASSERT_TRUE(port.GetState(found));
    LineState state = found;
    state.baudRate = 115200;
    ASSERT_TRUE(port.SetState(state));
    ASSERT_TRUE(port.SetState(found));
    ASSERT_TRUE(port.Close());
    EXPECT_EQ(system.settingsSet, 2);
    ASSERT_TRUE(port.Open(3));
    ASSERT_TRUE(port.Close());
    EXPECT_EQ(system.settingsSet, 2);
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

TEST_F(PosixBodies, InterruptedControlCallsAreRepeated) {
    LineState state;
    PortQueue queue;
    ASSERT_TRUE(port.GetState(state));
    const auto interruptEach = [&](std::size_t calls) {
        system.calls.clear();
        system.answers.clear();
        for (std::size_t call = 0; call < calls; ++call) {
            system.answers.insert(system.answers.end(), {{-1, EINTR}, {-1, EINTR}, {0, 0}});
        }
    };
    const auto threeTimes = [&](const std::vector<unsigned long>& requests) {
        Calls calls;
        for (const unsigned long request : requests) calls.insert(calls.end(), 3, Ioctl(request));
        return calls;
    };
    interruptEach(2);
    system.modemLines = TIOCM_DTR;
    EXPECT_TRUE(port.GetState(state));
    EXPECT_EQ(state.dtrControl, 1);
    EXPECT_EQ(system.calls, threeTimes({TCGETS2, TIOCMGET}));
    interruptEach(3);
    EXPECT_TRUE(port.SetState(state));
    EXPECT_EQ(system.calls, threeTimes({TCSETS2, TIOCMBIS, TIOCMBIC}));
    interruptEach(3);
    EXPECT_TRUE(port.Purge());
    EXPECT_TRUE(port.QueryQueue(queue));
    EXPECT_TRUE(port.SetBreak());
    EXPECT_EQ(system.calls, threeTimes({TCFLSH, FIONREAD, TIOCSBRK}));
    system.answers = {{-1, EINTR}, {-1, ENXIO}};
    EXPECT_FALSE(port.SetBreak());
    EXPECT_EQ(SerialPort::LastError(), static_cast<uint32_t>(ENXIO));
    system.answers.clear();
    ASSERT_TRUE(port.Open(3));
    interruptEach(2);
    EXPECT_TRUE(port.Close());
    Calls closing = threeTimes({TIOCCBRK, TIOCNXCL});
    closing.push_back("close 3");
    EXPECT_EQ(system.calls, closing);
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
        for (std::size_t i = 0; i < sizeof system.settings; ++i) {
            bytes[i] = static_cast<unsigned char>(std::rand() / 64);
        }
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

TEST_F(PosixBodies, RateIsAskedForInBothDirections) {
    ASSERT_TRUE(port.Open(5));
    system.settings.c_ispeed = 9600;
    system.settings.c_ospeed = 9600;
    LineState state;
    ASSERT_TRUE(port.GetState(state));
    state.baudRate = 1920000;
    ASSERT_TRUE(port.SetState(state));
    EXPECT_EQ(system.settings.c_ispeed, 1920000U);
    EXPECT_EQ(system.settings.c_ospeed, 1920000U);
    EXPECT_EQ(system.settings.c_cflag & CBAUD, static_cast<tcflag_t>(BOTHER));
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tarnel
