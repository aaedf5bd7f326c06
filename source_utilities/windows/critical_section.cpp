#include "source_utilities/critical_section.h"

#include <windows.h>

namespace KORR_PLIM::platform {

struct CriticalSection::Body {
    CRITICAL_SECTION section;
};

CriticalSection::CriticalSection() : body(new Body) { InitializeCriticalSection(&body->section); }
CriticalSection::~CriticalSection() { DeleteCriticalSection(&body->section); }
void CriticalSection::Enter() { EnterCriticalSection(&body->section); }
void CriticalSection::Leave() { LeaveCriticalSection(&body->section); }

uint32_t CurrentThreadId() { return GetCurrentThreadId(); }

}  // namespace KORR_PLIM::platform
