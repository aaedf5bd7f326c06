#include "source_utilities/native_thread.h"

#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <condition_variable>
#include <ctime>
#include <memory>
#include <mutex>
#include <utility>

namespace KORR_PLIM::platform {
namespace {

/// What a handle and its thread share; the last of the two gives it back.
struct ThreadState {
    std::mutex mutex;
    std::condition_variable changed;
    ThreadEntry entry = nullptr;
    void* argument = nullptr;
    uint32_t id = 0;  ///< 0 until the thread has come up
    uint32_t suspendCount = 1;
    bool ended = false;
};
using SharedState = std::shared_ptr<ThreadState>;

void WaitForResume(ThreadState& state) {
    std::unique_lock guard(state.mutex);
    state.id = static_cast<uint32_t>(gettid());
    state.changed.notify_all();
    state.changed.wait(guard, [&state] { return state.suspendCount == 0; });
}

void* RunThread(void* argument) {
    const std::unique_ptr<SharedState> owned(static_cast<SharedState*>(argument));
    ThreadState& state = **owned;
    WaitForResume(state);
    state.entry(state.argument);
    const std::lock_guard guard(state.mutex);
    state.ended = true;
    return nullptr;
}

bool CreateDetached(uint32_t stackSize, SharedState* argument) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    if (stackSize != 0) {
        const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        const auto least = static_cast<std::size_t>(PTHREAD_STACK_MIN);
        const std::size_t bytes = std::max<std::size_t>(stackSize, least);
        pthread_attr_setstacksize(&attributes, (bytes + page - 1) / page * page);
    }
    pthread_t thread{};
    const bool created = pthread_create(&thread, &attributes, &RunThread, argument) == 0;
    pthread_attr_destroy(&attributes);
    return created;
}

ThreadState& StateOf(ThreadHandle thread) { return **reinterpret_cast<SharedState*>(thread); }

/// Nice values of the Windows priorities. \return false for a number that is none of them
bool ToNice(int32_t priority, int& nice) {
    static constexpr std::array<std::pair<int32_t, int>, 7> kNice{
        {{-15, 19}, {-2, 10}, {-1, 5}, {0, 0}, {1, -5}, {2, -10}, {15, -15}}};
    for (const auto& [known, value] : kNice) {
        if (known == priority) {
            nice = value;
            return true;
        }
    }
    return false;
}

}  // namespace

ThreadHandle CreateSuspendedThread(uint32_t stackSize, ThreadEntry entry, void* argument,
                                   uint32_t& threadId) {
    auto handle = std::make_unique<SharedState>(std::make_shared<ThreadState>());
    ThreadState& state = **handle;
    state.entry = entry;
    state.argument = argument;
    auto forThread = std::make_unique<SharedState>(*handle);
    if (!CreateDetached(stackSize, forThread.get())) {
        return kNoThread;
    }
    static_cast<void>(forThread.release());  // the thread's own now
    std::unique_lock guard(state.mutex);
    state.changed.wait(guard, [&state] { return state.id != 0; });
    threadId = state.id;
    guard.unlock();
    return reinterpret_cast<ThreadHandle>(handle.release());
}

bool SetThreadPriority(ThreadHandle thread, int32_t priority) {
    ThreadState& state = StateOf(thread);
    const std::lock_guard guard(state.mutex);
    int nice = 0;
    return !state.ended && ToNice(priority, nice) && setpriority(PRIO_PROCESS, state.id, nice) == 0;
}

uint32_t ResumeThread(ThreadHandle thread) {
    ThreadState& state = StateOf(thread);
    const std::lock_guard guard(state.mutex);
    const uint32_t previous = state.suspendCount;
    if (previous > 0) {
        --state.suspendCount;
        state.changed.notify_all();
    }
    return previous;
}

bool CloseThread(ThreadHandle thread) {
    delete reinterpret_cast<SharedState*>(thread);
    return true;
}

void SleepMilliseconds(uint32_t milliseconds) {
    if (milliseconds == 0) {
        sched_yield();
        return;
    }
    std::timespec left{static_cast<std::time_t>(milliseconds / 1000),
                       static_cast<long>(milliseconds % 1000) * 1'000'000};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

}  // namespace KORR_PLIM::platform
