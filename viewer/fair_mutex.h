#pragma once

#include <mutex>

namespace Korr::Plim::Trace::Viewer {

/// A mutex that a thread which takes it again and again cannot keep from others: who waits longest comes
/// next but one at the latest.
class FairMutex {
  public:
    void lock() {
        const std::lock_guard<std::mutex> turn(next);
        taken.lock();
    }
    void unlock() { taken.unlock(); }

  private:
    std::mutex next;
    std::mutex taken;
};

}  // namespace Korr::Plim::Trace::Viewer
