#include "source_utilities/native_thread.h"

#include <list>
#include <map>
#include <memory>
#include <thread>

#include "tests/fakes/scripted_native_thread.h"

namespace fakes::native_thread {
namespace {

using KORR_PLIM::platform::ThreadEntry;
using KORR_PLIM::platform::ThreadHandle;

struct Suspended {
    ThreadEntry entry;
    void* argument;
};

struct State {
    CallScript script;
    std::map<ThreadHandle, Suspended> suspended;
    std::list<std::thread> running;
    ThreadHandle nextHandle = 1;
    uint32_t suspendCount = 1;
    bool sleeps = true;
    std::vector<std::string> log;
    std::vector<uint32_t> sleepLog;
    std::mutex mutex;

    ~State() { WaitForThreads(); }
    void WaitForThreads() {
        for (std::thread& thread : running) thread.join();
        running.clear();
    }
};
std::unique_ptr<State>& TheState() {
    static auto state = std::make_unique<State>();
    return state;
}

/// Notes a call. \return whether it must fail
bool Note(const char* call, const std::string& text) {
    State& state = *TheState();
    const std::lock_guard guard(state.mutex);
    state.log.push_back(text);
    return state.script.MustFail(call);
}

ThreadHandle Create(ThreadEntry entry, void* argument) {
    State& state = *TheState();
    const std::lock_guard guard(state.mutex);
    state.suspended[state.nextHandle] = {entry, argument};
    return state.nextHandle++;
}

uint32_t Resume(ThreadHandle thread) {
    State& state = *TheState();
    const std::lock_guard guard(state.mutex);
    const auto found = state.suspended.find(thread);
    if (found == state.suspended.end()) return 0;
    const Suspended body = found->second;
    state.suspended.erase(found);
    state.running.emplace_back([body] { body.entry(body.argument); });
    return state.suspendCount;
}

}  // namespace

void Reset() {
    TheState()->WaitForThreads();  // they may still call
    TheState() = std::make_unique<State>();
}
CallScript& Script() { return TheState()->script; }
void SkipSleeps() { TheState()->sleeps = false; }
void SetSuspendCount(uint32_t count) { TheState()->suspendCount = count; }
std::vector<std::string> Log() {
    const std::lock_guard guard(TheState()->mutex);
    return TheState()->log;
}
std::vector<uint32_t> SleepLog() {
    const std::lock_guard guard(TheState()->mutex);
    return TheState()->sleepLog;
}

}  // namespace fakes::native_thread

namespace KORR_PLIM::platform {
namespace fake = fakes::native_thread;

ThreadHandle CreateSuspendedThread(uint32_t stackSize, ThreadEntry entry, void* argument,
                                   uint32_t& threadId) {
    if (fake::Note("CreateSuspendedThread", "create " + std::to_string(stackSize))) return kNoThread;
    const ThreadHandle handle = fake::Create(entry, argument);
    threadId = static_cast<uint32_t>(handle);
    return handle;
}

bool SetThreadPriority(ThreadHandle, int32_t priority) {
    return !fake::Note("SetThreadPriority", "priority " + std::to_string(priority));
}

uint32_t ResumeThread(ThreadHandle thread) {
    return fake::Note("ResumeThread", "resume") ? 0xFFFFFFFF : fake::Resume(thread);
}

bool CloseThread(ThreadHandle) { return !fake::Note("CloseThread", "close"); }

void SleepMilliseconds(uint32_t milliseconds) {
    bool sleeps = milliseconds > 0;
    {
        const std::lock_guard guard(fake::TheState()->mutex);
        fake::TheState()->sleepLog.push_back(milliseconds);
        sleeps = sleeps && fake::TheState()->sleeps;
    }
    if (!sleeps) return std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

}  // namespace KORR_PLIM::platform
