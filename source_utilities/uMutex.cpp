#include "source_utilities/uMutex.h"

namespace KORR_PLIM {

uMutex::uMutex() = default;
uMutex::~uMutex() = default;

bool uMutex::Lock() {
    criticalSection.Enter();
    ownerThread = platform::CurrentThreadId();
    ++lockCount;
    return true;
}

bool uMutex::Unlock() {
    if (ownerThread != platform::CurrentThreadId() || lockCount < 1) return false;
    if (--lockCount == 0) ownerThread = 0;
    criticalSection.Leave();
    return true;
}

}  // namespace KORR_PLIM
