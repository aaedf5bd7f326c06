#pragma once

#include <atomic>

#include "source_utilities/uThread.h"

/// Tells that its thread has run it.
class Flag : public KORR_PLIM::uRunnable {
  public:
    void Run() override { ran = true; }
    std::atomic<bool> ran{false};
};

inline void Wait(const Flag& flag) {
    while (!flag.ran) KORR_PLIM::uThread::Yield();
}
