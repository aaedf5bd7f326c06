#pragma once

namespace Korr::Plim::Trace::Tracehost {

/// Seam: the user's wish to end the program (Ctrl-C; a termination request, where the platform has one).
/// After this call the first such wish is only noted; a second one ends the program at once. A limit on the
/// size of files, where the platform has one, makes writes fail from then on instead of ending the program.
void CatchInterrupts();
/// Whether the user wants to end. [any thread]
bool InterruptRequested();

}  // namespace Korr::Plim::Trace::Tracehost
