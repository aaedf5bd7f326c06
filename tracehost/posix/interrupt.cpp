#include "tracehost/interrupt.h"

#include <csignal>
#include <initializer_list>

namespace Korr::Plim::Trace::Tracehost {

namespace {

volatile std::sig_atomic_t requested = 0;

extern "C" void NoteInterrupt(int) { requested = 1; }

}  // namespace

void CatchInterrupts() {
    struct sigaction action = {};
    action.sa_handler = NoteInterrupt;
    action.sa_flags = static_cast<int>(SA_RESETHAND) | SA_RESTART;  // what is being written is written whole
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaction(signal, &action, nullptr);
    std::signal(SIGXFSZ, SIG_IGN);
}

bool InterruptRequested() { return requested != 0; }

}  // namespace Korr::Plim::Trace::Tracehost
