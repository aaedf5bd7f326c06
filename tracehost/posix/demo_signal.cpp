#include "tracehost/demo_signal.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "tracehost/errors.h"
#include "tracehost/standard_output.h"

extern char** environ;

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr uint32_t kPort = 1;
constexpr const char* kLongestSignal =
    "3600";  // seconds, so that no signal outlives a killed tracehost for long
constexpr const char* kPortVariable = "KORR_TRACE_COM1";
constexpr auto kStartLimit = std::chrono::seconds(10);
constexpr auto kPollPause = std::chrono::milliseconds(10);

std::string BesideThisProgram(const char* name) {
    std::error_code failure;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", failure);
    return (program.parent_path() / name).string();
}

/// Starts the program in a process group of its own, so that the terminal's Ctrl-C reaches tracehost alone.
pid_t Start(const std::string& program, const std::string& board, const std::string& link) {
    const char* const arguments[] = {program.c_str(), "--board",   board.c_str(),  "--link",
                                     link.c_str(),    "--seconds", kLongestSignal, nullptr};
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    posix_spawnattr_setpgroup(&attributes, 0);
    pid_t process = 0;
    const int failure = posix_spawn(&process, program.c_str(), nullptr, &attributes,
                                    const_cast<char* const*>(arguments), environ);
    posix_spawnattr_destroy(&attributes);
    if (failure != 0)
        throw HostError("\"" + program + "\" cannot be started: is swosource beside tracehost?");
    return process;
}

bool HasEnded(pid_t process) { return waitpid(process, nullptr, WNOHANG) != 0; }

}  // namespace

DemoSignal::DemoSignal(const std::string& board, const std::string& link) {
    const pid_t child = Start(BesideThisProgram("swosource"), board, link);
    const auto end = std::chrono::steady_clock::now() + kStartLimit;
    while (!std::filesystem::exists(link)) {
        const bool ended = HasEnded(child);
        if (ended || std::chrono::steady_clock::now() > end) {
            if (!ended) {
                kill(child, SIGKILL);
                waitpid(child, nullptr, 0);
            }
            throw HostError("swosource did not make its port \"" + link + "\"");
        }
        std::this_thread::sleep_for(kPollPause);
    }
    process = child;
    SetProcessVariable(kPortVariable, link.c_str());
}

DemoSignal::~DemoSignal() {
    const auto child = static_cast<pid_t>(process);
    kill(child, SIGTERM);
    waitpid(child, nullptr, 0);
}

uint32_t DemoSignal::PortNumber() const { return kPort; }

}  // namespace Korr::Plim::Trace::Tracehost
