#pragma once

#include <cstdio>
#include <string>

namespace Korr::Plim::Trace::Tracehost {

/// Seam: takes the places of standard streams that are closed, so that no file which is opened later comes to
/// stand there; reading and writing them fails. To be called first of all.
void OccupyStandardStreams();
/// Seam: keeps standard output for tracehost alone. What the rest of the process (the plug-in, its log at
/// some levels) prints on standard output goes to standard error afterwards. To be called once, before the
/// plug-in is loaded. \return a stream on the real standard output, which is never closed; lines end with
/// "\n" on every platform. A reader that goes away (a closed pipe) makes writing fail instead of ending the
/// process
std::FILE* TakeStandardOutput();
/// Prints a text as all that a command prints. \throws HostError when it could not be written
void PrintText(const std::string& text);
/// Ends the output of a command. \throws HostError when something of it could not be written, ReaderEnded
/// when that is the wish of who reads it
void FinishStandardOutput(std::FILE* stream);
/// Seam: whether a stream is a pipe that nobody reads any more. Never known on Windows.
bool ReaderHasEnded(std::FILE* stream);
/// Seam: whether a stream is shown on a terminal.
bool IsTerminal(std::FILE* stream);
/// Seam: columns of the terminal that a stream is shown on; 0 when they are not known.
std::size_t TerminalWidth(std::FILE* stream);
/// Seam: sets an environment variable of the process where every library of it sees it.
void SetProcessVariable(const char* name, const char* value);
/// Seam: unsets one.
void ClearProcessVariable(const char* name);

}  // namespace Korr::Plim::Trace::Tracehost
