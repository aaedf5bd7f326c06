#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <future>
#include <thread>

#include "posix_faults.h"
#include "source_utilities/process.h"

// Which ids of the system are living processes.
namespace {

using KORR_PLIM::platform::CurrentProcessId;
using KORR_PLIM::platform::ProcessExists;

uint32_t Id(long id) { return static_cast<uint32_t>(id); }

TEST_F(PosixFaults, OwnProcessIdIsTheSystemsWord) {
    EXPECT_EQ(CurrentProcessId(), Id(syscall(SYS_getpid)));
    EXPECT_TRUE(ProcessExists(CurrentProcessId()));
    EXPECT_TRUE(ProcessExists(Id(getppid()))) << "the process that started the test";
}
TEST_F(PosixFaults, ThreadIsNoProcess) {
    std::promise<uint32_t> id;
    std::promise<void> end;
    std::thread thread([&] {
        id.set_value(Id(syscall(SYS_gettid)));
        end.get_future().wait();
    });
    const uint32_t threadId = id.get_future().get();
    EXPECT_NE(threadId, CurrentProcessId());
    EXPECT_FALSE(ProcessExists(threadId));
    end.set_value();
    thread.join();
}
TEST_F(PosixFaults, ChildLivesUntilItEndsAlthoughNobodyAskedForItsResult) {
    int gate[2];
    ASSERT_EQ(pipe(gate), 0);
    const pid_t child = fork();
    if (child == 0) {
        char byte = 0;
        ::close(gate[1]);
        _exit(read(gate[0], &byte, 1) == 0 ? 0 : 1);
    }
    ASSERT_GT(child, 0);
    EXPECT_TRUE(ProcessExists(Id(child)));
    ::close(gate[0]);
    ::close(gate[1]);
    siginfo_t ended{};
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT), 0);
    EXPECT_FALSE(ProcessExists(Id(child))) << "a zombie";
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
    EXPECT_FALSE(ProcessExists(Id(child)));
}
TEST_F(PosixFaults, StatusThatCannotBeOpenedIsNoProcess) {
    failing = {"fopen"};
    EXPECT_FALSE(ProcessExists(CurrentProcessId()));
}

}  // namespace
