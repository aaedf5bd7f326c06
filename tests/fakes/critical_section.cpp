#include "source_utilities/critical_section.h"

#include <atomic>
#include <mutex>

#include "tests/fakes/scripted_critical_section.h"

namespace fakes::critical_section {

namespace {

std::atomic<int> destroyedWhileHeld{0};

}  // namespace

int DestroyedWhileHeld() { return destroyedWhileHeld; }

}  // namespace fakes::critical_section

namespace KORR_PLIM::platform {

struct CriticalSection::Body {
    std::recursive_mutex mutex;
    std::atomic<int> depth{0};

    ~Body() {
        if (depth == 0) return;
        ++fakes::critical_section::destroyedWhileHeld;
        for (; depth > 0; --depth) mutex.unlock();
    }
};

CriticalSection::CriticalSection() : body(new Body) {}
CriticalSection::~CriticalSection() = default;

void CriticalSection::Enter() {
    body->mutex.lock();
    ++body->depth;
}

void CriticalSection::Leave() {
    --body->depth;
    body->mutex.unlock();
}

uint32_t CurrentThreadId() {
    static std::atomic<uint32_t> last{0};
    static thread_local const uint32_t id = ++last;
    return id;
}

}  // namespace KORR_PLIM::platform
