#include "source_utilities/native_thread.h"

#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <condition_variable>
#include <ctime>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

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

/// The threads made here, in so far as they have to be joined. Nobody waits for a thread when its handle is
/// closed; but its last instructions are code of this module, so the module must not go before they are
/// through.
class Threads {
  public:
    void Begun() {
        const std::lock_guard guard(mutex);
        ++living;
        JoinEnded();
    }
    void NotBegun() {
        const std::lock_guard guard(mutex);
        --living;
    }
    /// The calling thread's last step but returning.
    void Ending() {
        const std::lock_guard guard(mutex);
        ended.push_back(pthread_self());
        --living;
        changed.notify_all();
    }
    /// Waits for threads that are about to end. \return false when some go on
    bool WaitForAll() {
        std::unique_lock guard(mutex);
        const bool none = changed.wait_for(guard, kPatience, [this] { return living == 0; });
        JoinEnded();
        return none;
    }

  private:
    static constexpr std::chrono::seconds kPatience{2};

    void JoinEnded() {
        for (const pthread_t thread : ended) pthread_join(thread, nullptr);
        ended.clear();
    }

    std::mutex mutex;
    std::condition_variable changed;
    uint32_t living = 0;
    std::vector<pthread_t> ended;
};

/// Goes when the module is unloaded or the process ends. Threads that run on then keep what they need.
struct ThreadsOfThisModule {
    Threads* threads = new Threads;
    ThreadsOfThisModule() = default;
    ThreadsOfThisModule(const ThreadsOfThisModule&) = delete;
    ThreadsOfThisModule& operator=(const ThreadsOfThisModule&) = delete;
    ~ThreadsOfThisModule() {
        if (threads->WaitForAll()) delete threads;
    }
};

Threads& ModuleThreads() {
    static const ThreadsOfThisModule module;
    return *module.threads;
}

/// What a new thread is given; its own.
struct Begin {
    SharedState state;
    Threads* threads;
};

void WaitForResume(ThreadState& state) {
    std::unique_lock guard(state.mutex);
    state.id = static_cast<uint32_t>(gettid());
    state.changed.notify_all();
    state.changed.wait(guard, [&state] { return state.suspendCount == 0; });
}

void* RunThread(void* argument) {
    std::unique_ptr<Begin> begin(static_cast<Begin*>(argument));
    Threads* const threads = begin->threads;
    {
        const SharedState state = std::move(begin->state);
        begin.reset();
        WaitForResume(*state);
        state->entry(state->argument);
        const std::lock_guard guard(state->mutex);
        state->ended = true;
    }
    threads->Ending();
    return nullptr;
}

bool CreateThread(uint32_t stackSize, Begin* argument) {
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0) return false;
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
    Threads& threads = ModuleThreads();
    auto forThread = std::make_unique<Begin>(Begin{*handle, &threads});
    threads.Begun();
    if (!CreateThread(stackSize, forThread.get())) {
        threads.NotBegun();
        return kNoThread;
    }
    static_cast<void>(forThread.release());  // the thread's own now
    std::unique_lock guard(state.mutex);
    state.changed.wait(guard, [&state] { return state.id != 0; });
    threadId = state.id;
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
