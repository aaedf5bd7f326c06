#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <iterator>
#include <memory>
#include <thread>

#include "host_api/cPelkitError.h"
#include "simulator/pelkit/error_reading.h"
#include "source_utilities/uThread.h"
#include "tests/support/log_home.h"
#include "tests/unit/uart/pseudo_terminal.h"
#include "uart/UARTDataCollector.h"

namespace Korr::Plim::Trace::Tarnel {

using support::LogHome;

namespace {

// Every byte value, control characters included, in changing neighbourhoods.
std::string Numbered(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i + i / 256 * 3);
    return bytes;
}

std::size_t SizeOf(int descriptor) {
    struct stat status {};
    return ::fstat(descriptor, &status) == 0 ? static_cast<std::size_t>(status.st_size) : 0;
}

/// A collector on a pseudo-terminal, with a capture file on disk.
class CollectorOnATerminal : public ::testing::Test {
  protected:
    static LogHome& Home() {
        static LogHome home("1");
        return home;
    }

    void Make(bool autoPrescaler = false, bool sendBreak = false) {
        collector = std::make_unique<UARTDataCollector>(7, traceClock, autoPrescaler, prescaler,
                                                        file.string(), sendBreak);
    }
    void Start() {
        thread = std::make_unique<KORR_PLIM::uThread>(collector.get());
        ASSERT_TRUE(thread->Start());
    }
    void AwaitEnd() {
        ASSERT_TRUE(Eventually([this] { return collector->IsFinished(); }));
    }
    void AwaitSize(std::uintmax_t size) {
        EXPECT_TRUE(Eventually([&] { return std::filesystem::file_size(file) >= size; }));
    }
    // The thread must not outlive what it runs on, also when a test gives up.
    void TearDown() override {
        if (!thread) return;
        collector->Stop();
        while (!collector->IsFinished()) KORR_PLIM::uThread::Yield();
    }
    /// Handles of this process on files that are named so, deleted ones included.
    static int OpenHandles(const std::string& name) {
        int open = 0;
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            std::error_code ignored;
            std::string target = std::filesystem::read_symlink(entry, ignored).string();
            target = target.substr(0, target.find(" (deleted)"));
            open +=
                target.size() >= name.size() && target.substr(target.size() - name.size()) == name ? 1 : 0;
        }
        return open;
    }
    /// Gives the collector back, expects that only the test's own handles are left, and captures again.
    void ExpectTheNextCaptureWorks(PseudoTerminal& next, int ownHandles) {
        thread.reset();
        collector.reset();
        EXPECT_EQ(OpenHandles("/capture.bin"), 0);
        EXPECT_EQ(OpenHandles(terminal.Path()), ownHandles);
        file = Home().Path() / "capture.bin";
        Make();
        Start();
        ASSERT_TRUE(next.Send("again"));
        AwaitSize(5);
        collector->Stop();
        AwaitEnd();
        EXPECT_EQ(LogHome::ReadFile(file), "again");
        thread.reset();
        collector.reset();
        EXPECT_EQ(OpenHandles("/capture.bin"), 0);
    }
    std::string Refusal() {
        try {
            Make();
        } catch (const cPelkitError& error) {
            return pelkit::TextOf(error);
        }
        return "none";
    }

    PseudoTerminal terminal{7};
    std::filesystem::path file = Home().Path() / "capture.bin";
    double traceClock = 48e6;
    uint32_t prescaler = 24;
    std::unique_ptr<UARTDataCollector> collector;
    std::unique_ptr<KORR_PLIM::uThread> thread;
};

TEST_F(CollectorOnATerminal, CapturesEveryByteAsItWasSent) {
    const std::string bytes = Numbered(300000);
    Make();
    Start();
    ASSERT_TRUE(terminal.Send(bytes));
    AwaitSize(bytes.size());
    collector->Stop();
    AwaitEnd();
    EXPECT_EQ(LogHome::ReadFile(file), bytes);
}

// Some 10 ms into the third of the long waits, which a byte and a stop end at once: without them it would go
// on for another 90 ms.
TEST_F(CollectorOnATerminal, SilentPortIsHeardAndStoppedAtOnce) {
    constexpr auto kSilence = std::chrono::milliseconds(265);
    constexpr auto kAtOnce = std::chrono::milliseconds(40);
    using Clock = std::chrono::steady_clock;
    auto soonestHeard = Clock::duration::max();
    auto soonestStopped = Clock::duration::max();
    for (int i = 0; i < 10 && std::max(soonestHeard, soonestStopped) > kAtOnce;
         ++i) {  // a busy machine may take a while
        Make();
        Start();
        std::this_thread::sleep_for(kSilence);
        const Clock::time_point sent = Clock::now();
        ASSERT_TRUE(terminal.Send("heard"));
        AwaitSize(5);
        soonestHeard = std::min(soonestHeard, Clock::now() - sent);
        std::this_thread::sleep_for(kSilence);
        const Clock::time_point stopped = Clock::now();
        collector->Stop();
        while (!collector->IsFinished()) KORR_PLIM::uThread::Yield();
        soonestStopped = std::min(soonestStopped, Clock::now() - stopped);
        thread.reset();
        collector.reset();
    }
    EXPECT_LT(soonestHeard, kAtOnce);
    EXPECT_LT(soonestStopped, kAtOnce);
}

TEST_F(CollectorOnATerminal, FarEndThatGoesAwayInSilenceEndsTheThreadAndIsLogged) {
    Make();
    Start();
    std::this_thread::sleep_for(std::chrono::milliseconds(265));
    terminal.Unplug();
    AwaitEnd();
    EXPECT_EQ(Home().Lines().back(), "E Tarnel_UARTCollector: Reading COM port failed with error code 5");
}

TEST_F(CollectorOnATerminal, CapturesARecordedStreamAsItWasSent) {
    const char* recording = std::getenv("TARNEL_SWO_RECORDING");
    if (recording == nullptr) GTEST_SKIP() << "TARNEL_SWO_RECORDING names no recorded stream";
    const std::string bytes = LogHome::ReadFile(recording);
    ASSERT_FALSE(bytes.empty());
    Make();
    Start();
    ASSERT_TRUE(terminal.Send(bytes));
    AwaitSize(bytes.size());
    collector->Stop();
    AwaitEnd();
    EXPECT_EQ(LogHome::ReadFile(file), bytes);
}

TEST_F(CollectorOnATerminal, AnotherReaderSeesTheFileGrow) {
    Make();
    Start();
    std::ifstream reader(file, std::ios::binary);
    for (const char* part : {"first", "second"}) {
        ASSERT_TRUE(terminal.Send(part));
        std::string seen(std::strlen(part), '\0');
        std::size_t got = 0;
        EXPECT_TRUE(Eventually([&] {
            reader.clear();
            reader.read(seen.data() + got, static_cast<std::streamsize>(seen.size() - got));
            got += static_cast<std::size_t>(reader.gcount());
            return got == seen.size();
        }));
        EXPECT_EQ(seen, part);
    }
}

TEST_F(CollectorOnATerminal, BytesSentBeforeTheCaptureAreDiscarded) {
    termios2 raw = terminal.Settings();
    raw.c_lflag = 0;
    terminal.SetSettings(raw);
    ASSERT_TRUE(terminal.Send("stale"));
    Make();
    Start();
    ASSERT_TRUE(terminal.Send("fresh"));
    AwaitSize(5);
    EXPECT_EQ(LogHome::ReadFile(file), "fresh");
}

TEST_F(CollectorOnATerminal, FarEndThatGoesAwayEndsTheThreadAndIsLogged) {
    const std::string bytes = Numbered(3000);
    Make();
    Start();
    ASSERT_TRUE(terminal.Send(bytes));
    AwaitSize(bytes.size());
    terminal.Unplug();
    AwaitEnd();
    EXPECT_EQ(LogHome::ReadFile(file), bytes);
    EXPECT_EQ(Home().Lines().back(), "E Tarnel_UARTCollector: Reading COM port failed with error code 5");
    PseudoTerminal again{7};
    ExpectTheNextCaptureWorks(again, again.Path() == terminal.Path() ? 1 : 0);
}

TEST_F(CollectorOnATerminal, FarEndThatGoesAwayEndsABreakingCollectorToo) {
    Make(false, true);
    Start();
    terminal.Unplug();
    AwaitEnd();
    EXPECT_EQ(Home().Lines().back(), "E Tarnel_UARTCollector: Reading COM port failed with error code 5");
    PseudoTerminal again{7};
    ExpectTheNextCaptureWorks(again, again.Path() == terminal.Path() ? 1 : 0);
}

TEST_F(CollectorOnATerminal, PortOfAnotherCaptureIsRefusedUntouched) {
    Make();
    Start();
    const termios2 before = terminal.Settings();
    ASSERT_TRUE(terminal.Send("first"));
    AwaitSize(5);
    uint32_t otherPrescaler = 0;
    const auto makeAnother = [&] {
        UARTDataCollector(7, 1e6, false, otherPrescaler, (Home().Path() / "other.bin").string(), true);
    };
    EXPECT_THROW(makeAnother(), cPelkitError);
    EXPECT_EQ(Home().Lines().back(), "E Tarnel_UARTCollector: Failed to open COM7 with error code = 16");
    const termios2 after = terminal.Settings();
    EXPECT_EQ(std::memcmp(&before, &after, sizeof before), 0);
    EXPECT_FALSE(std::filesystem::exists(Home().Path() / "other.bin"));
    ASSERT_TRUE(terminal.Send("second"));
    AwaitSize(11);
    collector->Stop();
    AwaitEnd();
    EXPECT_EQ(LogHome::ReadFile(file), "firstsecond");
    thread.reset();
    collector.reset();
    EXPECT_NO_THROW(makeAnother());
}

TEST_F(CollectorOnATerminal, PortThatAnotherProgramLocksIsRefusedUntouched) {
    const termios2 before = terminal.Settings();
    const int other = ::open(terminal.Path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_EQ(::flock(other, LOCK_EX), 0);
    ASSERT_TRUE(terminal.Send("theirs\n"));
    EXPECT_EQ(Refusal(), "Failed to open COM port");
    const termios2 after = terminal.Settings();
    EXPECT_EQ(std::memcmp(&before, &after, sizeof before), 0);
    char bytes[8] = {};
    EXPECT_EQ(::read(other, bytes, sizeof bytes), 7);
    ::close(other);
    EXPECT_EQ(Refusal(), "none");
}

TEST_F(CollectorOnATerminal, RefusedCaptureFileLeavesTheLineAsItWasFound) {
    const termios2 before = terminal.Settings();
    file = Home().Path() / "no such folder" / "capture.bin";
    EXPECT_EQ(Refusal(), "Failed to open binary file for trace data storage");
    const termios2 after = terminal.Settings();
    EXPECT_EQ(std::memcmp(&before, &after, sizeof before), 0);
}

TEST_F(CollectorOnATerminal, MissingFolderOfTheFileIsRefusedAndThePortIsClosed) {
    file = Home().Path() / "no such folder" / "capture.bin";
    EXPECT_EQ(Refusal(), "Failed to open binary file for trace data storage");
    EXPECT_EQ(Home().Lines().back(),
              "E Tarnel_UARTCollector: Failed to open binary file " + file.string() + " with error code 2");
}

TEST_F(CollectorOnATerminal, PlainFileIsNoPort) {
    const std::string plain = (Home().Path() / "plain").string();
    std::ofstream(plain) << "text";
    ::setenv("KORR_TRACE_COM7", plain.c_str(), 1);
    EXPECT_EQ(Refusal(), "Failed to get COM port state");
    EXPECT_EQ(Home().Lines().back(),
              "E Tarnel_UARTCollector: Failed to get current Comm state with error code = 25");
}

TEST_F(CollectorOnATerminal, AbsentDeviceIsRefused) {
    ::setenv("KORR_TRACE_COM7", (Home().Path() / "absent").c_str(), 1);
    EXPECT_EQ(Refusal(), "Failed to open COM port");
    EXPECT_EQ(Home().Lines().back(), "E Tarnel_UARTCollector: Failed to open COM7 with error code = 2");
}

TEST_F(CollectorOnATerminal, ZeroRateIsRefused) {
    traceClock = 0.0;
    EXPECT_EQ(Refusal(), "Failed to set requested COM port state");
    EXPECT_EQ(Home().Lines().back(), "E Tarnel_UARTCollector: Failed to set Comm state with error code = 22");
}

TEST_F(CollectorOnATerminal, LineRunsAtTheExactRateAndIsRestored) {
    termios2 cooked = terminal.Settings();
    cooked.c_iflag |= IXON | ICRNL;
    cooked.c_cc[VMIN] = 3;
    cooked.c_cc[VSTOP] = 17;
    terminal.SetSettings(cooked);
    const termios2 before = terminal.Settings();
    EXPECT_NE(before.c_lflag & ICANON, 0U);
    traceClock = 80e6;
    prescaler = 2;
    Make();
    const termios2 during = terminal.Settings();
    EXPECT_EQ(during.c_ispeed, 26666666U);
    EXPECT_EQ(during.c_ospeed, 26666666U);
    EXPECT_EQ(during.c_lflag & (ICANON | ECHO | ISIG), 0U);
    EXPECT_EQ(during.c_iflag & (IXON | ICRNL), 0U);
    EXPECT_EQ(during.c_cflag & (CSIZE | PARENB | CSTOPB | CRTSCTS), static_cast<tcflag_t>(CS8));
    EXPECT_EQ(during.c_cc[VSTOP], 17);
    collector.reset();
    const termios2 after = terminal.Settings();
    EXPECT_EQ(std::memcmp(&after, &before, sizeof after), 0);
}

TEST_F(CollectorOnATerminal, LineThatEndsReadsWithNothingIsMadeToTellNothingFromGone) {
    termios2 polling = terminal.Settings();
    polling.c_lflag = 0;
    polling.c_cc[VMIN] = 0;
    terminal.SetSettings(polling);
    Make();
    Start();
    ASSERT_TRUE(terminal.Send("x"));
    AwaitSize(1);
    EXPECT_FALSE(collector->IsFinished());
}

TEST_F(CollectorOnATerminal, SearchTakesTheRateThatTheDriverReports) {
    prescaler = 99;
    Make(true);
    EXPECT_EQ(prescaler, 0U);
    EXPECT_EQ(terminal.Settings().c_ospeed, 48000000U);
}

TEST_F(CollectorOnATerminal, FullFileSystemEndsTheThreadWithTheBytesThatFitted) {
    const std::filesystem::path folder = Home().Path() / "tiny";
    std::filesystem::create_directory(folder);
    if (::mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=64k") != 0) {
        GTEST_SKIP() << "no right to mount a tiny file system: " << std::strerror(errno);
    }
    file = folder / "capture.bin";
    Make();
    const int reader = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    ::umount2(folder.c_str(), MNT_DETACH);  // goes away with the last open file
    Start();
    const std::string bytes = Numbered(100000);
    for (std::size_t sent = 0; sent < bytes.size(); sent += 1000) {
        ASSERT_TRUE(terminal.Send(bytes.substr(sent, 1000)));
        ASSERT_TRUE(Eventually([&] { return collector->IsFinished() || SizeOf(reader) >= sent + 1000; }));
        if (collector->IsFinished()) break;
    }
    AwaitEnd();
    EXPECT_EQ(SizeOf(reader), 65536U);
    std::string captured(65536, '\0');
    EXPECT_EQ(::pread(reader, captured.data(), captured.size(), 0), 65536);
    EXPECT_EQ(captured, bytes.substr(0, captured.size()));
    ::close(reader);
    EXPECT_EQ(Home().Lines().back(),
              "E Tarnel_UARTCollector: Writing to binary file failed with error code 28");
    ExpectTheNextCaptureWorks(terminal, 1);
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tarnel
