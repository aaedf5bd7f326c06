#include <asm/ioctls.h>
#include <asm/termbits.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/serial.h>
#include <malloc.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <map>
#include <optional>
#include <random>
#include <thread>

#include "tracehost/capture_thread.h"
#include "tracehost/check/platform.h"
#include "tracehost/check/stage.h"
#include "tracehost/check/verdict.h"
#include "tracehost/folder_hold.h"
#include "tracehost/log_space.h"
#include "tracehost/output_stream.h"
#include "tracehost/own_process.h"
#include "tracehost/port_counters.h"
#include "tracehost/port_presence.h"
#include "tracehost/temporary_folder.h"

namespace {

/// Which call of a name fails next, and with what.
std::map<std::string, int> failures;
bool heapCounts = true;  ///< else the heap tells of no byte, as one that another allocator has replaced
/// What a port's driver has counted; absent: it is asked.
std::optional<serial_icounter_struct> counted;

bool MustFail(const char* call) {
    const auto found = failures.find(call);
    if (found == failures.end()) return false;
    errno = found->second;
    failures.erase(found);
    return true;
}

}  // namespace

extern "C" {
int __real_open(const char* path, int flags, ...);
int __real_flock(int file, int operation);
int __real_rename(const char* from, const char* to);
int __real_fcntl(int file, int command, ...);
FILE* __real_fdopen(int file, const char* mode);
int __real_fallocate(int file, int mode, off_t from, off_t length);
int __real_ioctl(int file, unsigned long request, ...);
struct mallinfo2 __real_mallinfo2();

int __wrap_open(const char* path, int flags, ...) {
    std::va_list rest;
    va_start(rest, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    return MustFail("open") ? -1 : __real_open(path, flags, mode);
}
int __wrap_flock(int file, int operation) { return MustFail("flock") ? -1 : __real_flock(file, operation); }
int __wrap_rename(const char* from, const char* to) {
    return MustFail("rename") ? -1 : __real_rename(from, to);
}
int __wrap_fcntl(int file, int command, ...) {
    std::va_list rest;
    va_start(rest, command);
    const long argument = va_arg(rest, long);
    va_end(rest);
    const char* const call = command == F_GETFL ? "F_GETFL" : command == F_SETFL ? "F_SETFL" : "fcntl";
    return MustFail(call) ? -1 : __real_fcntl(file, command, argument);
}
FILE* __wrap_fdopen(int file, const char* mode) {
    return MustFail("fdopen") ? nullptr : __real_fdopen(file, mode);
}
int __wrap_fallocate(int file, int mode, off_t from, off_t length) {
    return MustFail("fallocate") ? -1 : __real_fallocate(file, mode, from, length);
}
int __wrap_ioctl(int file, unsigned long request, ...) {
    std::va_list rest;
    va_start(rest, request);
    void* const argument = va_arg(rest, void*);
    va_end(rest);
    if (request == TCGETS2 && MustFail("TCGETS2")) return -1;
    if (request == TIOCGICOUNT && MustFail("TIOCGICOUNT")) return -1;
    if (request != TIOCGICOUNT || !counted) return __real_ioctl(file, request, argument);
    *static_cast<serial_icounter_struct*>(argument) = *counted;
    return 0;
}
struct mallinfo2 __wrap_mallinfo2() {
    struct mallinfo2 nothing {};
    return heapCounts ? __real_mallinfo2() : nothing;
}
}

namespace Korr::Plim::Trace::Tracehost {

namespace {

namespace fs = std::filesystem;

std::size_t OpenFiles() {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()));
}

class HostBodies : public testing::Test {
  protected:
    HostBodies()
        : folder(fs::temp_directory_path() / ("tarnel-host-" + std::to_string(std::random_device()()))) {
        failures.clear();
        heapCounts = true;
        fs::create_directories(folder);
    }
    ~HostBodies() override {
        failures.clear();
        fs::remove_all(folder);
    }
    std::string Path(const char* name) const { return (folder / name).string(); }

    fs::path folder;
    std::size_t openBefore = OpenFiles();
};

TEST_F(HostBodies, HeldFolderIsNotLeftBehindUntilItsHolderEnds) {
    FolderHold hold;
    ASSERT_TRUE(hold.Take(folder.string()));
    EXPECT_FALSE(FolderHold::IsLeftBehind(folder.string()));
    hold.Release();
    EXPECT_TRUE(FolderHold::IsLeftBehind(folder.string()));
    EXPECT_EQ(OpenFiles(), openBefore);
}

TEST_F(HostBodies, FolderWithoutAMarkIsNobodysLeftover) {
    EXPECT_FALSE(FolderHold::IsLeftBehind(folder.string()));
    EXPECT_FALSE(FolderHold::IsLeftBehind(Path("none")));
}

TEST_F(HostBodies, MarkThatIsALinkIsNotFollowed) {
    std::ofstream(Path("other")) << "x";
    fs::create_symlink(Path("other"), Path("in-use"));
    EXPECT_FALSE(FolderHold::IsLeftBehind(folder.string()));
}

TEST_F(HostBodies, EachFailedCallOfAHoldIsToldAndNothingStaysOpen) {
    for (const char* const call : {"open", "flock", "rename"}) {
        {
            FolderHold hold;
            failures = {{call, EIO}};
            EXPECT_FALSE(hold.Take(folder.string())) << call;
            EXPECT_TRUE(failures.empty()) << call;
            EXPECT_FALSE(fs::exists(Path("in-use"))) << call;
        }
        EXPECT_EQ(OpenFiles(), openBefore) << call;
        fs::remove(Path("in-use.new"));
    }
}

TEST_F(HostBodies, FolderThatSomebodyMarksIsNotMarkedTwice) {
    std::ofstream(Path("in-use.new")) << "";
    FolderHold hold;
    EXPECT_FALSE(hold.Take(folder.string()));
}

TEST_F(HostBodies, LeftoverThatCannotBeLookedAtStays) {
    {
        FolderHold hold;
        ASSERT_TRUE(hold.Take(folder.string()));
    }
    for (const char* const call : {"open", "flock"}) {
        failures = {{call, EACCES}};
        EXPECT_FALSE(FolderHold::IsLeftBehind(folder.string())) << call;
        EXPECT_EQ(OpenFiles(), openBefore) << call;
    }
    EXPECT_TRUE(FolderHold::IsLeftBehind(folder.string()));
}

TEST_F(HostBodies, EachFailedCallOfAStreamIsToldWithItsReasonAndNothingStaysOpen) {
    for (const char* const call : {"open", "F_GETFL", "F_SETFL", "fdopen"}) {
        failures = {{call, EMFILE}};
        errno = 0;
        EXPECT_EQ(OpenStream("/dev/null"), nullptr) << call;
        EXPECT_EQ(errno, EMFILE) << call;
        EXPECT_TRUE(failures.empty()) << call;
        EXPECT_EQ(OpenFiles(), openBefore) << call;
    }
    std::FILE* const stream = OpenStream("/dev/null");
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(::fcntl(::fileno(stream), F_GETFL) & O_NONBLOCK, 0);
    std::fclose(stream);
}

TEST_F(HostBodies, BeginningThatIsForgottenReadsAsZerosAndTheLengthStays) {
    const std::string file = Path("log");
    std::ofstream(file) << std::string(1 << 16, 'x') << "end";
    ASSERT_TRUE(ForgetBeginning(file, 1 << 16));
    std::string now(1 << 17, '\0');
    std::ifstream stream(file, std::ios::binary);
    stream.read(now.data(), 1 << 17);
    now.resize(static_cast<std::size_t>(stream.gcount()));
    EXPECT_EQ(now, std::string(1 << 16, '\0') + "end");
    EXPECT_EQ(OpenFiles(), openBefore + 1);
}

TEST_F(HostBodies, EachFailedCallOfForgettingIsToldAndTheFileStaysWhole) {
    const std::string file = Path("log");
    std::ofstream(file) << "whole";
    for (const char* const call : {"open", "fallocate"}) {
        failures = {{call, EOPNOTSUPP}};
        EXPECT_FALSE(ForgetBeginning(file, 3)) << call;
        EXPECT_EQ(OpenFiles(), openBefore) << call;
    }
    std::string text;
    std::ifstream(file) >> text;
    EXPECT_EQ(text, "whole");
}

TEST_F(HostBodies, DeviceThatIsHeldHasVanishedWhateverTakesItsPlace) {
    const std::string device = Path("device");
    std::ofstream(device) << "x";
    const std::ifstream held(device);
    EXPECT_FALSE(HeldDeviceVanished(device));
    fs::remove(device);
    EXPECT_TRUE(HeldDeviceVanished(device));
    std::ofstream(device) << "another";
    EXPECT_TRUE(HeldDeviceVanished(device));
    EXPECT_FALSE(HeldDeviceVanished(Path("other")));
    EXPECT_FALSE(HeldDeviceVanished(""));
}

TEST_F(HostBodies, TemporaryFolderIsItsUsersAloneAndGoesWithItsObject) {
    std::string path;
    {
        const TemporaryFolder temporary;
        path = temporary.Path("");
        EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_all);
        EXPECT_FALSE(FolderHold::IsLeftBehind(path));
    }
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(HostBodies, ThreadOfACaptureLivesUntilItEnds) {
    CaptureThread capture;
    EXPECT_EQ(capture.Lives(), std::nullopt);
    std::promise<void> end;
    capture.BeforeStart();
    std::thread thread([&end] { end.get_future().wait(); });
    capture.AfterStart();
    EXPECT_EQ(capture.Lives(), true);
    end.set_value();
    thread.join();
    // A thread that was joined can be listed for another moment.
    for (int tries = 0; tries < 1000 && capture.Lives() == true; ++tries) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(capture.Lives(), false);
}

/// This process opens no file while the object lives.
class NoMoreFiles {
  public:
    NoMoreFiles() {
        EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
        const rlimit none{0, before.rlim_max};
        EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    }
    ~NoMoreFiles() { ::setrlimit(RLIMIT_NOFILE, &before); }
    NoMoreFiles(const NoMoreFiles&) = delete;
    NoMoreFiles& operator=(const NoMoreFiles&) = delete;

  private:
    rlimit before{};
};

TEST_F(HostBodies, HandlesAndThreadsAreCounted) {
    EXPECT_EQ(Validation::CountHandles(), openBefore);
    const std::ifstream held("/dev/null");
    EXPECT_EQ(Validation::CountHandles(), openBefore + 1);
    EXPECT_EQ(Validation::CountThreads(), OwnThreads().size());
}

TEST_F(HostBodies, BytesOfTheHeapAreCounted) {
    const std::optional<uint64_t> before = Validation::CountHeapBytes();
    if (!before) GTEST_SKIP() << "another allocator stands in this one's place";
    const std::string block(1'000'000, 'x');
    EXPECT_GE(Validation::CountHeapBytes().value_or(0), *before + block.size());
}

TEST_F(HostBodies, HandlesAndThreadsThatTheSystemDoesNotTellAreNotZero) {
    std::optional<uint64_t> handles;
    std::vector<uint64_t> threads;
    {
        const NoMoreFiles none;
        handles = Validation::CountHandles();
        threads = OwnThreads();
    }
    EXPECT_EQ(handles, std::nullopt);
    EXPECT_TRUE(threads.empty());
}

TEST_F(HostBodies, HeapThatTellsNothingIsNotEmpty) {
    heapCounts = false;
    EXPECT_EQ(Validation::CountHeapBytes(), std::nullopt);
}

/// The verdict of a check that counts what is not told.
TEST_F(HostBodies, CheckWhoseCountIsNotToldIsSkipped) {
    const std::string file = Path("verdict");
    const auto verdict = [&file] { return Validation::ReadVerdict(file); };
    for (const std::optional<uint64_t> untold : {std::optional<uint64_t>(), std::optional<uint64_t>(0)}) {
        EXPECT_EXIT(
            {
                Validation::OpenVerdict(file);
                Validation::Counted("open handles", untold);
            },
            testing::ExitedWithCode(0), "");
        EXPECT_EQ(verdict().kind, Validation::Verdict::Kind::Skipped);
        EXPECT_EQ(verdict().words, "the open handles cannot be counted");
    }
    EXPECT_EXIT(
        {
            Validation::OpenVerdict(file);
            const NoMoreFiles none;
            Validation::CountThreads();
        },
        testing::ExitedWithCode(0), "");
    EXPECT_EQ(verdict().kind, Validation::Verdict::Kind::Skipped);
    EXPECT_EQ(verdict().words, "the threads cannot be counted");
    EXPECT_EQ(Validation::Counted("threads", 3), 3u);
}

/// A pseudo-terminal as COM41, whose driver counts as a test wants it.
class PortCounts : public HostBodies {
  protected:
    PortCounts() : nearEnd(::posix_openpt(O_RDWR | O_NOCTTY)) {
        EXPECT_EQ(::grantpt(nearEnd), 0);
        EXPECT_EQ(::unlockpt(nearEnd), 0);
        farEnd = ::ptsname(nearEnd);
        ::setenv("KORR_TRACE_COM41", farEnd.c_str(), 1);
        counted.emplace();
        counted->cts = counted->dsr = counted->rng = counted->dcd = 1;
        counted->rx = counted->tx = 2;
        counted->frame = 13;
        counted->overrun = 11;
        counted->parity = 14;
        counted->brk = 15;
        counted->buf_overrun = 12;
        openBefore = OpenFiles();
    }
    ~PortCounts() override {
        counted.reset();
        ::unsetenv("KORR_TRACE_COM41");
        ::close(nearEnd);
    }
    PortGlance Look() {
        PortGlance glance = LookAtPort(41);
        EXPECT_EQ(OpenFiles(), openBefore);
        return glance;
    }

    static constexpr uint32_t kBaud = 38400;  // of a pseudo-terminal that nobody has set up
    const PortCounters kTold{11, 12, 13, 14, 15};
    int nearEnd;
    std::string farEnd;
};

TEST_F(PortCounts, CountersAndRateOfAPortAreTold) {
    const PortGlance glance = Look();
    ASSERT_TRUE(glance.counters);
    EXPECT_EQ(glance.counters->overrun, 11u);
    EXPECT_EQ(glance.counters->bufferOverrun, 12u);
    EXPECT_EQ(glance.counters->framing, 13u);
    EXPECT_EQ(glance.counters->parity, 14u);
    EXPECT_EQ(glance.counters->breaks, 15u);
    EXPECT_EQ(glance.note, "");
    EXPECT_EQ(glance.baud, kBaud);
}

TEST_F(PortCounts, CounterThatIsFullOnceIsNotNegative) {
    counted->overrun = -1;
    EXPECT_EQ(Look().counters.value_or(PortCounters{}).overrun, UINT32_MAX);
}

TEST_F(PortCounts, PortThatThisProcessHasOpenIsNotOpenedAgain) {
    const int own = __real_open(farEnd.c_str(), O_RDWR | O_NOCTTY);
    ASSERT_GE(own, 0);
    ++openBefore;
    failures = {{"open", EBUSY}};
    EXPECT_EQ(Look().counters, kTold);
    EXPECT_EQ(failures.count("open"), 1u);
    failures = {{"fcntl", EMFILE}};
    const PortGlance refused = Look();
    EXPECT_TRUE(failures.empty());
    EXPECT_EQ(refused.note, "the port cannot be opened a second time: Too many open files");
    EXPECT_EQ(refused.counters, std::nullopt);
    EXPECT_EQ(refused.baud, std::nullopt);
    ::close(own);
}

TEST_F(PortCounts, PortThatThisProcessHasJustClosedIsOpenedAsAnyOther) {
    const int own = __real_open(farEnd.c_str(), O_RDWR | O_NOCTTY);
    ASSERT_GE(own, 0);
    ++openBefore;
    failures = {{"fcntl", EBADF}, {"open", EBUSY}};
    EXPECT_EQ(Look().note, "the port cannot be opened a second time: Device or resource busy");
    EXPECT_TRUE(failures.empty());
    ::close(own);
}

TEST_F(PortCounts, PortThatCannotBeOpenedTellsNothingButWhy) {
    failures = {{"open", EBUSY}};
    const PortGlance glance = Look();
    EXPECT_TRUE(failures.empty());
    EXPECT_EQ(glance.counters, std::nullopt);
    EXPECT_EQ(glance.note, "the port cannot be opened a second time: Device or resource busy");
    EXPECT_EQ(glance.baud, std::nullopt);
}

TEST_F(PortCounts, PortThatDoesNotTellItsRateTellsItsCounters) {
    failures = {{"TCGETS2", ENOTTY}};
    const PortGlance glance = Look();
    EXPECT_TRUE(failures.empty());
    EXPECT_EQ(glance.baud, std::nullopt);
    EXPECT_EQ(glance.counters, kTold);
    EXPECT_EQ(glance.note, "");
}

TEST_F(PortCounts, PortThatDoesNotCountTellsItsRate) {
    failures = {{"TIOCGICOUNT", ENOTTY}};
    PortGlance glance = Look();
    EXPECT_TRUE(failures.empty());
    EXPECT_EQ(glance.counters, std::nullopt);
    EXPECT_EQ(glance.note, "not told by this port");
    EXPECT_EQ(glance.baud, kBaud);
    counted.reset();  // the pseudo-terminal itself
    glance = Look();
    EXPECT_EQ(glance.counters, std::nullopt);
    EXPECT_EQ(glance.note, "not told by this port");
}

TEST_F(HostBodies, LimitOnFileSizesIsTheProcesss) {
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    rlimit limit = before;
    limit.rlim_cur = 123'456'789;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
    EXPECT_EQ(FileSizeLimit(), 123'456'789u);
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
    if (before.rlim_cur == RLIM_INFINITY) {
        EXPECT_EQ(FileSizeLimit(), std::nullopt);
    }
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tracehost
