#include "tracehost/standard_output.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>

#include "tracehost/errors.h"

namespace Korr::Plim::Trace::Tracehost {

void OccupyStandardStreams() {
    for (const int file : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        const bool closed = fcntl(file, F_GETFD) < 0 && errno == EBADF;
        // The lowest number that is free is taken, which is this one. Opened for the wrong direction.
        if (closed) static_cast<void>(open("/dev/null", file == STDIN_FILENO ? O_WRONLY : O_RDONLY));
    }
}

std::FILE* TakeStandardOutput() {
    std::fflush(stdout);
    std::signal(SIGPIPE, SIG_IGN);
    const int own = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
    std::FILE* const stream = own >= 0 ? fdopen(own, "w") : nullptr;
    if (stream == nullptr || dup2(STDERR_FILENO, STDOUT_FILENO) < 0) {
        throw HostError("standard output cannot be used: is it open?");
    }
    return stream;
}

bool ReaderHasEnded(std::FILE* stream) {
    pollfd output{fileno(stream), POLLOUT, 0};
    return poll(&output, 1, 0) > 0 && (output.revents & POLLERR) != 0;
}

bool IsTerminal(std::FILE* stream) { return isatty(fileno(stream)) != 0; }

std::size_t TerminalWidth(std::FILE* stream) {
    winsize size{};
    return ioctl(fileno(stream), TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

void ClearProcessVariable(const char* name) { unsetenv(name); }

void SetProcessVariable(const char* name, const char* value) { setenv(name, value, 1); }

}  // namespace Korr::Plim::Trace::Tracehost
