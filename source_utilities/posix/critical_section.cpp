#include "source_utilities/critical_section.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <mutex>

namespace KORR_PLIM::platform {

struct CriticalSection::Body {
    std::recursive_mutex mutex;
};

CriticalSection::CriticalSection() : body(new Body) {}
CriticalSection::~CriticalSection() = default;
void CriticalSection::Enter() { body->mutex.lock(); }
void CriticalSection::Leave() { body->mutex.unlock(); }

uint32_t CurrentThreadId() {
    static thread_local const auto id = static_cast<uint32_t>(syscall(SYS_gettid));
    return id;
}

}  // namespace KORR_PLIM::platform
