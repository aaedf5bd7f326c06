#include "tracehost/interrupt.h"

#include <windows.h>

#include <atomic>

namespace Korr::Plim::Trace::Tracehost {

namespace {

std::atomic<bool> requested{false};

/// Called on a thread of its own. \return FALSE lets the platform end the program
BOOL WINAPI NoteInterrupt(DWORD event) {
    const bool again = requested.exchange(true);
    // When the console closes, the platform ends the program as soon as this returns, and soon in any case:
    // until then what was captured can be saved.
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) Sleep(INFINITE);
    return again ? FALSE : TRUE;
}

}  // namespace

void CatchInterrupts() { SetConsoleCtrlHandler(NoteInterrupt, TRUE); }

bool InterruptRequested() { return requested; }

}  // namespace Korr::Plim::Trace::Tracehost
