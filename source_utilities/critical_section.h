#pragma once

#include <cstdint>
#include <memory>

namespace KORR_PLIM::platform {

/// Seam: the platform's re-entrant lock. Enter blocks; Leave must be called by the thread that entered.
class CriticalSection {
  public:
    CriticalSection();
    ~CriticalSection();
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

    void Enter();
    void Leave();

  private:
    struct Body;
    std::unique_ptr<Body> body;
};

/// Identifier of the calling thread; never 0.
uint32_t CurrentThreadId();

}  // namespace KORR_PLIM::platform
