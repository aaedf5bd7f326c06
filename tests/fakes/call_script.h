#pragma once

#include <map>
#include <mutex>
#include <string>

/// \file
/// What every scripted body of a seam has: it works first, fails on demand at a named call, and counts. The
/// name of a call is the name of the seam's function.

namespace fakes {

class CallScript {
  public:
    /// Lets every call of this name fail, from `first` (counted from 1 over all calls of the name) to `last`.
    void Fail(const std::string& call, int first = 1, int last = 1 << 30) {
        const std::lock_guard guard(mutex);
        calls[call].first = first;
        calls[call].last = last;
    }
    /// Calls of this name so far, failed ones included.
    int Calls(const std::string& call) const {
        const std::lock_guard guard(mutex);
        const auto found = calls.find(call);
        return found != calls.end() ? found->second.made : 0;
    }
    /// Calls of this name that were made to fail.
    int Failures(const std::string& call) const {
        const std::lock_guard guard(mutex);
        const auto found = calls.find(call);
        return found != calls.end() ? found->second.failed : 0;
    }
    /// For the bodies: counts a call. \return whether it must fail
    bool MustFail(const std::string& call) {
        const std::lock_guard guard(mutex);
        Call& entry = calls[call];
        ++entry.made;
        const bool fails = entry.made >= entry.first && entry.made <= entry.last;
        entry.failed += fails ? 1 : 0;
        return fails;
    }
    void Reset() {
        const std::lock_guard guard(mutex);
        calls.clear();
    }

  private:
    struct Call {
        int made = 0;
        int failed = 0;
        int first = 1 << 30;
        int last = 0;
    };
    mutable std::mutex mutex;
    std::map<std::string, Call> calls;
};

}  // namespace fakes
