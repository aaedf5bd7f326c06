#pragma once

#include <string>

#include "tests/fakes/scripted_calls.h"

namespace fakes {

/// The files that capture files made, held in memory. Any thread.
class ScriptedFiles {
  public:
    /// Bytes of a file; empty also for one that was never made.
    static std::string Content(const std::string& name);
    static bool Exists(const std::string& name);
    /// Files that are open for writing.
    static std::size_t OpenCount();
    /// Lets a file of that name never be made: error 3.
    static void MakeUnreachable(const std::string& name);
    /// From now on the files are on the disk as well, where others can read them.
    static void KeepOnDisk();
    /// Forgets all files, calls and failures.
    static void Reset();
};

}  // namespace fakes
