#include "tracehost/demo_signal.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <thread>

#include "tracehost/errors.h"
#include "tracehost/standard_output.h"

extern char** environ;

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr uint32_t kPort = 1;
constexpr const char* kPortVariable = "KORR_TRACE_COM1";
constexpr auto kStartLimit = std::chrono::seconds(10);
constexpr auto kReportPause = std::chrono::milliseconds(10);

std::string BesideThisProgram(const char* name) {
    std::error_code failure;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", failure);
    return (program.parent_path() / name).string();
}

/// What a child is started with: signals as a program expects them, a process group of its own, so that the
/// terminal's Ctrl-C reaches tracehost alone, a pipe as input, and its complaints in a file.
class ChildSetUp {
  public:
    ChildSetUp(int input, const std::string& errors) {
        sigset_t usual;
        sigemptyset(&usual);
        for (const int signal : {SIGPIPE, SIGXFSZ}) sigaddset(&usual, signal);
        posix_spawnattr_init(&attributes);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF);
        posix_spawnattr_setpgroup(&attributes, 0);
        posix_spawnattr_setsigdefault(&attributes, &usual);
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_adddup2(&files, input, STDIN_FILENO);
        posix_spawn_file_actions_addopen(&files, STDERR_FILENO, errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                         0600);
    }
    ~ChildSetUp() {
        posix_spawn_file_actions_destroy(&files);
        posix_spawnattr_destroy(&attributes);
    }
    ChildSetUp(const ChildSetUp&) = delete;
    ChildSetUp& operator=(const ChildSetUp&) = delete;

    pid_t Start(const std::string& program, const std::vector<const char*>& arguments) const {
        pid_t process = 0;
        const int failure = posix_spawn(&process, program.c_str(), &files, &attributes,
                                        const_cast<char* const*>(arguments.data()), environ);
        if (failure == 0) return process;
        throw HostError("\"" + program + "\" cannot be started: is swosource beside tracehost?");
    }

  private:
    posix_spawnattr_t attributes{};
    posix_spawn_file_actions_t files{};
};

/// \param leash gets the end of the pipe whose closing ends the signal
pid_t Start(const std::string& board, const std::string& link, const std::string& report,
            std::intptr_t& leash) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw HostError("no pipe can be made for the demonstration's signal");
    leash = ends[1];
    const std::string program = BesideThisProgram("swosource");
    const std::vector<const char*> arguments = {program.c_str(), "--board",       board.c_str(),
                                                "--link",        link.c_str(),    "--report",
                                                report.c_str(),  "--while-input", nullptr};
    try {
        const pid_t process = ChildSetUp(ends[0], report + ".errors").Start(program, arguments);
        close(ends[0]);
        return process;
    } catch (...) {
        for (const int end : ends) close(end);
        throw;
    }
}

bool HasEnded(pid_t process) { return waitpid(process, nullptr, WNOHANG) != 0; }

/// What the signal itself said, in brackets; empty when it said nothing.
std::string Complaint(const std::string& report) {
    std::ifstream errors(report + ".errors");
    std::string line;
    std::getline(errors, line);
    return line.empty() ? line : " (" + line + ")";
}

}  // namespace

DemoSignal::DemoSignal(const std::string& board, const std::string& folder)
    : reportFile(folder + "/signal.json") {
    const std::string link = folder + "/port";
    const pid_t child = Start(board, link, reportFile, leash);
    const auto end = std::chrono::steady_clock::now() + kStartLimit;
    while (!std::filesystem::exists(link)) {
        const bool ended = HasEnded(child);
        if (ended || std::chrono::steady_clock::now() > end) {
            if (!ended) {
                kill(child, SIGKILL);
                waitpid(child, nullptr, 0);
            }
            close(static_cast<int>(leash));
            throw HostError("swosource did not make its port \"" + link + "\"" + Complaint(reportFile));
        }
        std::this_thread::sleep_for(kReportPause);
    }
    process = child;
    SetProcessVariable(kPortVariable, link.c_str());
}

DemoSignal::~DemoSignal() { End(); }

uint32_t DemoSignal::PortNumber() const { return kPort; }

uint64_t DemoSignal::End() {
    if (process == 0) return 0;
    const auto child = static_cast<pid_t>(process);
    process = 0;
    kill(child, SIGTERM);
    waitpid(child, nullptr, 0);
    close(static_cast<int>(leash));
    std::ifstream file(reportFile);
    const auto report = nlohmann::json::parse(file, nullptr, false);
    if (!report.is_object()) return 0;
    const uint64_t dropped = report.value("dropped", uint64_t{0});
    return dropped - std::min(dropped, report.value("dropped_unattended", uint64_t{0}));
}

}  // namespace Korr::Plim::Trace::Tracehost
