#include "tracehost/standard_output.h"

#include <fcntl.h>
#include <io.h>
#include <stdlib.h>
#include <windows.h>

#include "tracehost/errors.h"

namespace Korr::Plim::Trace::Tracehost {

// The runtime gives closed streams handles that no file gets.
void OccupyStandardStreams() {}

std::FILE* TakeStandardOutput() {
    std::fflush(stdout);
    const int own = _dup(_fileno(stdout));
    if (own >= 0) _setmode(own, _O_BINARY);
    std::FILE* const stream = own >= 0 ? _fdopen(own, "wb") : nullptr;
    if (stream == nullptr || _dup2(_fileno(stderr), _fileno(stdout)) != 0) {
        throw HostError("standard output cannot be used: is it open?");
    }
    return stream;
}

bool ReaderHasEnded(std::FILE*) { return false; }

/// NUL counts as a terminal for the runtime.
bool IsTerminal(std::FILE* stream) {
    DWORD mode = 0;
    const auto console = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
    return _isatty(_fileno(stream)) != 0 && GetConsoleMode(console, &mode) != 0;
}

std::size_t TerminalWidth(std::FILE* stream) {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    const auto console = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
    if (!GetConsoleScreenBufferInfo(console, &info)) return 0;
    return static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left + 1);
}

void ClearProcessVariable(const char* name) { _putenv_s(name, ""); }

void SetProcessVariable(const char* name, const char* value) { _putenv_s(name, value); }

}  // namespace Korr::Plim::Trace::Tracehost
