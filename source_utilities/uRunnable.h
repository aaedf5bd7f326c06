#pragma once

namespace KORR_PLIM {

/// What a uThread runs. The owner of the thread also owns the runnable and keeps it alive until Run has
/// returned.
class uRunnable {
  public:
    virtual ~uRunnable() = default;
    /// The body of the thread.
    virtual void Run() = 0;
};

}  // namespace KORR_PLIM
