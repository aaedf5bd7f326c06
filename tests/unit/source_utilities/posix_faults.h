#pragma once

#include <gtest/gtest.h>

#include <sys/statvfs.h>

#include <atomic>
#include <ctime>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "temporary_folder.h"

/// System calls below the Linux bodies that fail: a program with posix_faults.cpp is linked so that each of
/// them goes through a __wrap_ function.
class PosixFaults : public testing::Test {
  public:
    static std::set<std::string> failing;           ///< names of the calls that fail
    static std::multiset<std::string> interrupted;  ///< names of those that a signal interrupts, once each
    static int failureNumber;
    static std::atomic<int> lockCalls;
    static std::atomic<int> joinCalls;
    static std::vector<std::string> opened;  ///< what dlopen was asked for
    static std::atomic<int> stdoutFlushes;
    static std::function<void(int)> whileSettingPriority;  ///< called by setpriority with the nice value
    /// What statvfs and clock_gettime answer instead of the truth.
    static std::optional<struct statvfs> pretendedVolume;
    static std::optional<timespec> pretendedTime;
    /// Whether the call of that name is to fail now; errno is set then.
    static bool Fails(const char* call);

  protected:
    PosixFaults() { Forget(); }
    ~PosixFaults() override { Forget(); }
    static void Forget();

    TemporaryFolder folder;
};
