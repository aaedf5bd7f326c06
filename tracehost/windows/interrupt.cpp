#include "tracehost/interrupt.h"

#include <windows.h>

#include <atomic>

namespace Korr::Plim::Trace::Tracehost {

namespace {

std::atomic<bool> requested{false};

/// Called on a thread of its own. \return FALSE lets the platform end the program
BOOL WINAPI NoteInterrupt(DWORD event) {
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) return FALSE;
    return requested.exchange(true) ? FALSE : TRUE;
}

}  // namespace

void CatchInterrupts() { SetConsoleCtrlHandler(NoteInterrupt, TRUE); }

bool InterruptRequested() { return requested; }

}  // namespace Korr::Plim::Trace::Tracehost
