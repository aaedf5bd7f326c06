#include "tracehost/browser.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <utility>

extern char** environ;

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr const char* kOpener = "xdg-open";

/// Starts the opener without the streams of this program, in a session of its own: Ctrl-C is not meant for a
/// browser.
int Start(const std::string& address, pid_t& process) {
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_t files;
    sigset_t usual;
    sigemptyset(&usual);
    for (const int signal : {SIGPIPE, SIGXFSZ}) sigaddset(&usual, signal);
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID);
    posix_spawnattr_setsigdefault(&attributes, &usual);
    posix_spawn_file_actions_init(&files);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        posix_spawn_file_actions_addopen(&files, stream, "/dev/null", O_RDWR, 0);
    }
    char* const words[] = {const_cast<char*>(kOpener), const_cast<char*>(address.c_str()), nullptr};
    const int failure = posix_spawnp(&process, kOpener, &files, &attributes, words, environ);
    posix_spawn_file_actions_destroy(&files);
    posix_spawnattr_destroy(&attributes);
    return failure;
}

}  // namespace

BrowserCall::BrowserCall(const std::string& address) {
    pid_t started = 0;
    const int failure = Start(address, started);
    if (failure != 0) {
        problem = std::string(kOpener) + ": " + std::strerror(failure);
    } else {
        process = started;
    }
}

BrowserCall::~BrowserCall() = default;

std::optional<std::string> BrowserCall::Problem() {
    int status = 0;
    if (process != 0 && waitpid(static_cast<pid_t>(process), &status, WNOHANG) != 0) {
        process = 0;
        if (WIFEXITED(status) && WEXITSTATUS(status) != 0) {
            problem = std::string(kOpener) + " ended with status " + std::to_string(WEXITSTATUS(status));
        }
    }
    return std::exchange(problem, std::nullopt);
}

}  // namespace Korr::Plim::Trace::Tracehost
