#pragma once

#include <utility>

namespace KORR_PLIM {

/// Undoes something when its scope is left before Dismiss, as by an exception.
///
/// It stands where an exception goes on to the host. Caught and thrown again with `throw;`, an exception can
/// be followed only by the C++ runtime that caught it, and on Windows the host has another one than this
/// module: its handler would not be found. An exception that only passes by is whole.
template <typename Action>
class OnFailure {
  public:
    /// \param action must not throw
    explicit OnFailure(Action action) : undo(std::move(action)) {}
    ~OnFailure() {
        if (armed) undo();
    }
    OnFailure(const OnFailure&) = delete;
    OnFailure& operator=(const OnFailure&) = delete;

    void Dismiss() { armed = false; }

  private:
    Action undo;
    bool armed = true;
};

}  // namespace KORR_PLIM
