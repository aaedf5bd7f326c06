#pragma once

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "temporary_folder.h"

/// The platform's calls below the Windows bodies, noted and failing on demand: a program that is linked with
/// windows_calls.cpp has import pointers of its own.
class WindowsCalls : public testing::Test {
  public:
    /// GetDiskFreeSpaceExA tells of a volume of 5,000,000,001 bytes, of which 5,000,000,003 are the caller's.
    static bool pretendsVolume;

  protected:
    using Calls = std::vector<std::string>;

    WindowsCalls() { Begin({}); }
    ~WindowsCalls() override { Noted(); }
    /// Notes the calls from now on, and lets those with the given names fail.
    static void Begin(const std::set<std::string>& failing);
    /// The calls since Begin; noting and failing end.
    static Calls Noted();
    /// A moment of sleep that is not noted.
    static void Pause();

    TemporaryFolder folder;
};
