#pragma once

namespace Korr::Plim::Trace::Tracehost {

/// Parses the command line, runs the subcommand in it and returns the exit status. HostError, UsageError and
/// exceptions of the plug-in pass through.
int RunProgram(int argc, char** argv);

}  // namespace Korr::Plim::Trace::Tracehost
