#include "tracehost/standard_output.h"

#include <fcntl.h>
#include <io.h>
#include <stdlib.h>

#include "tracehost/errors.h"

namespace Korr::Plim::Trace::Tracehost {

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

bool IsTerminal(std::FILE* stream) { return _isatty(_fileno(stream)) != 0; }

void SetProcessVariable(const char* name, const char* value) { _putenv_s(name, value); }

}  // namespace Korr::Plim::Trace::Tracehost
