#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tracehost/check/platform.h"
#include "tracehost/check/verdict.h"
#include "tracehost/library.h"
#include "tracehost/plugin.h"
#include "tracehost/simulated_libraries.h"

namespace Korr::Plim::Trace::Tracehost::Validation {

/// What a check is given.
struct StageSettings {
    std::string folder;  ///< an empty one of its own
    std::string plugin;
    std::vector<PortPair> pairs;  ///< pairs of ports; empty: pseudo-terminals where the platform has them
    uint32_t rounds = 100;        ///< of the checks that look for leaks
};

/// How many ports with a far end there are for a check.
uint32_t PortsAt(const std::vector<PortPair>& pairs);

/// One call that the simulated host libraries got.
struct HostCall {
    std::string library;
    std::string operation;
    std::string arguments;  ///< as JSON
    std::string violation;  ///< what was wrong with it; empty: nothing
};

/// The surroundings of one check, in a process of its own: a home folder, the host's libraries with a board
/// that fits, ports with a far end, options files, and the plug-in, which is loaded when it is asked for.
class Stage {
  public:
    /// Sets the environment of the process and loads the host's libraries. \throws HostError
    explicit Stage(StageSettings settings);

    const StageSettings& Settings() const { return settings; }
    std::string File(const std::string& name) const;
    std::string Home() const { return File("home"); }

    /// The plug-in. One that does not load ends the check as skipped: others say so.
    const Plugin& LoadedPlugin();

    /// Changes a key of the board. \param json its value
    void SetBoard(const std::string& key, const std::string& json);
    /// The host's libraries are again those of a board with SWO.
    void ResetBoard();
    /// Without it the calls leave no traces and need less time.
    void StopJournal();
    /// The calls of the host's libraries so far, from call `first` on.
    std::vector<HostCall> Journal(std::size_t first = 0) const;
    /// How often an operation was called, from call `first` on.
    uint32_t CountCalls(const std::string& operation, std::size_t first = 0) const;

    /// Writes an options file in the documented form. \param changes key to text, in place of what fits the
    /// first port \return its name
    std::string WriteOptions(const std::map<std::string, std::string>& changes = {});
    /// Writes a file into the stage's folder. \return its name
    std::string Write(const std::string& name, const std::string& bytes) const;
    /// The bytes of a file; nothing when it is not there.
    static std::string Read(const std::string& file);

    /// The far end of a port, opened at the first use. \param index 0 or 1
    FarEnd& Port(uint32_t index = 0);

    /// All that the plug-in has logged.
    std::string Log() const;
    /// The folder that the plug-in's environment variable names. \param variable "KORR_TRACE_LOGGING_DIR" and
    /// the like
    static std::string Folder(const char* variable);
    /// The capture file of a CPU.
    static std::string CaptureFile(const std::string& shortName);

  private:
    void WriteBoard() const;

    StageSettings settings;
    std::map<std::string, std::string> board;  ///< key to JSON
    SimulatedLibraries simulated;
    std::vector<std::unique_ptr<Library>> hostLibraries;
    std::optional<Plugin> plugin;
    std::unique_ptr<FarEnd> ports[2];
};

/// Fails unless the call throws the host's error with this text and severity, and nothing else.
void ExpectRefusal(const std::string& what, const std::string& text, const std::function<void()>& call,
                   uint32_t severity = 2);

/// Threads of this process. A system that does not tell ends the check as skipped.
uint64_t CountThreads();

/// Waits until it holds, 5 s at most. \return whether it does
bool WaitUntil(const std::function<bool()>& condition);

}  // namespace Korr::Plim::Trace::Tracehost::Validation
