#pragma once

namespace Korr::Plim::Trace::Tracehost {

/// Seam: the user's wish to end the program (Ctrl-C; a termination request, where the platform has one).
/// After this call the first such wish is only noted; a second one ends the program at once.
void CatchInterrupts();
/// Whether the user wants to end. [any thread]
bool InterruptRequested();

}  // namespace Korr::Plim::Trace::Tracehost
