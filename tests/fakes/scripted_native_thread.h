#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/fakes/call_script.h"

/// \file
/// Controls of the scripted threads. Threads run for real once they are resumed. Calls that can fail:
/// CreateSuspendedThread, SetThreadPriority, ResumeThread (the thread then never runs).

namespace fakes::native_thread {

/// Waits for threads that run, then forgets everything.
void Reset();
CallScript& Script();
/// Previous suspend count that the next resumes tell; 1 at first. The thread runs whatever it is.
void SetSuspendCount(uint32_t count);
/// Calls in order: "create <stack size>", "priority <n>", "resume", "close". Sleeps are not noted.
std::vector<std::string> Log();
/// Until the next reset sleeps only give the rest of a time slice away.
void SkipSleeps();
/// Milliseconds of each sleep; nothing sleeps longer than a moment.
std::vector<uint32_t> SleepLog();

}  // namespace fakes::native_thread
