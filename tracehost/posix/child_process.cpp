#include "tracehost/child_process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <thread>

extern char** environ;

namespace Korr::Plim::Trace::Tracehost {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kFirstPause = std::chrono::microseconds(500);
constexpr auto kLongestPause = std::chrono::milliseconds(10);

/// No input, the output in a file, and signals as a program expects them.
class ChildSetUp {
  public:
    explicit ChildSetUp(const std::string& output) {
        sigset_t usual;
        sigemptyset(&usual);
        for (const int signal : {SIGPIPE, SIGXFSZ}) sigaddset(&usual, signal);
        posix_spawnattr_init(&attributes);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
        posix_spawnattr_setsigdefault(&attributes, &usual);
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, output.c_str(),
                                         O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0600);
        posix_spawn_file_actions_adddup2(&files, STDOUT_FILENO, STDERR_FILENO);
    }
    ~ChildSetUp() {
        posix_spawn_file_actions_destroy(&files);
        posix_spawnattr_destroy(&attributes);
    }
    ChildSetUp(const ChildSetUp&) = delete;
    ChildSetUp& operator=(const ChildSetUp&) = delete;

    /// \return the platform's error number
    int Start(const std::vector<std::string>& words, pid_t& process) const {
        std::vector<char*> arguments;
        arguments.reserve(words.size() + 1);
        for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
        arguments.push_back(nullptr);
        return posix_spawn(&process, arguments[0], &files, &attributes, arguments.data(), environ);
    }

  private:
    posix_spawnattr_t attributes{};
    posix_spawn_file_actions_t files{};
};

/// \return false when the time was over first
bool WaitFor(pid_t process, Clock::time_point end, int& status) {
    std::chrono::microseconds pause = kFirstPause;
    while (waitpid(process, &status, WNOHANG) == 0) {
        if (Clock::now() >= end) return false;
        std::this_thread::sleep_for(pause);
        pause = std::min<std::chrono::microseconds>(pause * 2, kLongestPause);
    }
    return true;
}

}  // namespace

ChildEnd RunChild(const std::vector<std::string>& words, std::chrono::milliseconds limit,
                  const std::string& output) {
    const auto end = Clock::now() + limit;
    pid_t process = 0;
    const int failure = ChildSetUp(output).Start(words, process);
    if (failure != 0) return {ChildEnd::Kind::NotStarted, failure, strerror(failure)};
    int status = 0;
    if (!WaitFor(process, end, status)) {
        kill(process, SIGKILL);
        waitpid(process, &status, 0);
        return {ChildEnd::Kind::TimedOut, 0, {}};
    }
    if (WIFEXITED(status)) return {ChildEnd::Kind::Exited, WEXITSTATUS(status), {}};
    const int signal = WTERMSIG(status);
    return {ChildEnd::Kind::Crashed, 0, "signal " + std::to_string(signal) + " (" + strsignal(signal) + ")"};
}

std::string FindProgram(const std::string& name) {
    const char* const variable = std::getenv("PATH");
    std::stringstream folders(variable != nullptr ? variable : "");
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (!folder.starts_with('/')) continue;
        std::string path = folder;
        path.append("/").append(name);
        struct stat info {};
        const bool isFile = stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
        if (isFile && access(path.c_str(), X_OK) == 0) return path;
    }
    return {};
}

void BecomeChild() {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
}

}  // namespace Korr::Plim::Trace::Tracehost
