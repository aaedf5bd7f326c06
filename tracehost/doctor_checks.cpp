#include "tracehost/doctor_checks.h"
#include "simulator/pelkit/error_reading.h"

#include <filesystem>

#include "host_api/cPelkitError.h"
#include "simulator/board/board_file.h"
#include "source_utilities/environment_variables.h"
#include "source_utilities/file_system.h"
#include "tracehost/errors.h"
#include "tracehost/explanation.h"
#include "tracehost/file_access.h"
#include "tracehost/host_session.h"
#include "tracehost/log_level.h"
#include "tracehost/own_board.h"
#include "tracehost/platform_words.h"
#include "tracehost/plugin_version.h"
#include "tracehost/port_list.h"
#include "tracehost/progress.h"
#include "tracehost/record_settings.h"
#include "tracehost/standard_output.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

namespace fs = std::filesystem;
namespace platform = KORR_PLIM::platform;

constexpr uint64_t kLeastForLog = 5'120'000;      // bytes; with less free the plug-in writes no log
constexpr uint64_t kLeastForTrace = 100'000'000;  // bytes; little more than a minute at 1.2 MB/s
constexpr const char* kTraceFolder = ".KORR-trace";
constexpr const char* kBoardAdvice = "correct or unset TRACEHOST_BOARD";
constexpr const char* kVariables[] = {"TRACEHOST_BOARD", "TRACEHOST_RUN_FOLDER", "KORR_TRACE_LOGGING",
                                      "KORR_TRACE_DEBUGCLIENT_PID"};

struct HostLibrary {
    const char* name;
    const char* entry;
};
constexpr HostLibrary kHostLibraries[] = {{"DeviceIdentifier", "CreateDeviceIdentifier"},
                                          {"SetupAdapter4", "CreateSetupAdapter"},
                                          {"ICETargetAdapter", "NewTargetAdapter"}};

Check Ok(const std::string& name, const std::string& found) { return {name, true, found, {}}; }

Check NotOk(const std::string& name, const std::string& found, const std::string& advice) {
    return {name, false, found, advice};
}

/// Where a library of the host is loaded from, looked for beside the plug-in first, as the plug-in does.
Check CheckLibrary(const HostLibrary& library, const fs::path& folder) {
    const std::string name = std::string("library ") + library.name;
    const std::string beside = (folder / library.name).string();
    const std::string words = LoaderWords(library.name, folder.string());
    if (!words.empty()) return NotOk(name, words, "install the host's libraries beside the plug-in");
    try {
        const bool isBeside = LoaderWords(beside, {}).empty();
        return Ok(name, Library(isBeside ? beside : library.name).File(library.entry));
    } catch (const HostError& error) {
        return NotOk(name, error.what(), "install the host's own library of this name");
    }
}

/// Whether a receiver can be made and asked.
Check CheckAnswers(HostSession& session) {
    const std::string name = "plug-in's answer";
    try {
        session.Create();
        const uint32_t cpus = session.Receiver().GetNumCpus();
        session.Destroy();
        if (cpus == 0) return Ok(name, "a receiver was made, asked and given back");
        return NotOk(name, "a new receiver has " + std::to_string(cpus) + " CPUs",
                     "install the plug-in anew");
    } catch (const cPelkitErrorIF& error) {
        Surroundings used;
        used.board = std::getenv(Simulator::kBoardVariable);
        used.pluginFolder = fs::path(session.PluginFile()).parent_path().string();
        const std::string text = pelkit::TextOf(error);
        const std::string advice = text.starts_with("board file ") ? kBoardAdvice : Explain(text, used);
        return NotOk(name, text, !advice.empty() ? advice : "install the plug-in anew");
    } catch (const std::exception& error) {
        return NotOk(name, error.what(), "install the plug-in anew");
    }
}

Check CheckFolder(const std::string& name, const fs::path& folder) {
    const std::string why = WhyNoFolder(folder.string());
    if (why.empty()) return Ok(name, folder.string());
    return NotOk(name, FormatFinding(why, folder.string(), ""), "make it a folder in which you may write");
}

Check CheckSpace(const fs::path& folder) {
    const std::string name = "free space";
    fs::path existing = folder;
    std::error_code ignored;
    while (existing.has_relative_path() && !fs::exists(existing, ignored)) existing = existing.parent_path();
    uint64_t bytes = 0;
    if (!platform::FreeSpace(existing.string().c_str(), bytes)) {
        return NotOk(name, "not told for " + existing.string(), "make the home folder one that can be read");
    }
    const std::string found = FormatBytes(static_cast<double>(bytes)) + " in " + existing.string();
    if (bytes < kLeastForLog) {
        return NotOk(name, found, "make room: captures stop when the disk is full; no log is written");
    }
    if (bytes < kLeastForTrace) {
        return NotOk(name, found, "make room: a fast recording fills this within two minutes");
    }
    return Ok(name, found);
}

Check CheckLog(const fs::path& folder) {
    const LogLevel level = ReadLogLevel();
    if (!level.trouble.empty()) {
        return NotOk("log", level.trouble, "set it to a number from 0 to 6, or unset it");
    }
    const std::string files = (folder / "korr_trace_log_*.txt").string();
    if (level.level == 0) return Ok("log", "off; KORR_TRACE_LOGGING=1 writes " + files);
    return Ok("log", "level " + std::to_string(level.level) + ", " + files);
}

Check CheckTemporaryFolder() {
    try {
        return Ok("temporary files",
                  fs::path(TemporaryFolder().Path("")).parent_path().parent_path().string());
    } catch (const HostError& error) {
        return NotOk("temporary files", error.what(),
                     "make room there, or let TMPDIR (TMP) name another folder");
    }
}

Check ToCheck(uint32_t number, const PortAccess& access) {
    const std::string digits = std::to_string(number);
    const std::string name = "port " + digits;
    if (!access.lookedAt) {
        return NotOk(name, FormatFinding("not opened", access.device, ""),
                     "--port " + digits + " looks at it");
    }
    const std::string holder = access.holder.empty() ? "" : " (" + access.holder + ")";
    if (access.problem.empty()) return Ok(name, access.device);
    return NotOk(name, FormatFinding(access.problem + holder, access.device, ""), access.advice);
}

Check CheckBoardVariable(const std::string& variable, const std::string& file) {
    try {
        CheckBoard(file);
        return Ok("environment", variable);
    } catch (const HostError& error) {
        return NotOk("environment", variable + ": " + error.what(), kBoardAdvice);
    }
}

void Append(std::vector<Check>& checks, std::vector<Check> more) {
    checks.insert(checks.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

}  // namespace

DoctorEnvironment ReadEnvironment() {
    DoctorEnvironment environment;
    const char* const fallback = platform::HomeFallbackVariable();
    environment.homeVariable = "USERPROFILE";
    environment.home = platform::GetVariable("USERPROFILE");
    if (environment.home.empty() && fallback != nullptr) {
        environment.homeVariable = fallback;
        environment.home = platform::GetVariable(fallback);
    }
    std::vector<std::string> names(std::begin(kVariables), std::end(kVariables));
    for (const uint32_t number : PortsOfEnvironment()) {
        names.push_back("KORR_TRACE_COM" + std::to_string(number));
    }
    for (const std::string& name : names) {
        const std::string value = platform::GetVariable(name.c_str());
        if (!value.empty()) environment.variables.push_back(std::string(name).append("=").append(value));
    }
    return environment;
}

std::vector<Check> CheckPlugin(const std::string& plugin) {
    std::optional<HostSession> session;
    try {
        session.emplace(plugin);
    } catch (const HostError& error) {
        return {NotOk("plug-in", error.what(), "install it beside tracehost, or give --plugin PATH")};
    }
    const std::string file = session->PluginFile();
    const std::string version = VersionIn(file);
    std::vector<Check> checks = {
        Ok("plug-in", file + (version.empty() ? ", version not told" : ", " + version))};
    bool complete = true;
    for (const HostLibrary& library : kHostLibraries) {
        checks.push_back(CheckLibrary(library, fs::path(file).parent_path()));
        complete = complete && checks.back().ok;
    }
    if (complete) checks.push_back(CheckAnswers(*session));
    return checks;
}

std::vector<Check> CheckHome(const DoctorEnvironment& environment) {
    if (environment.home.empty()) {
        return {NotOk("home", "not known",
                      "set " + environment.homeVariable + ": log, settings and captures go below it")};
    }
    const fs::path base = fs::path(environment.home) / kTraceFolder;
    return {CheckFolder("home", environment.home), CheckFolder("captures", base / "data"),
            CheckFolder("settings", base / "settings"), CheckSpace(base / "data"), CheckLog(base)};
}

std::vector<Check> CheckEnvironment(const DoctorEnvironment& environment) {
    const std::string board = std::string(Simulator::kBoardVariable) + "=";
    std::vector<Check> checks;
    for (const std::string& variable : environment.variables) {
        const bool isBoard = variable.starts_with(board);
        checks.push_back(isBoard ? CheckBoardVariable(variable, variable.substr(board.size()))
                                 : Ok("environment", variable));
    }
    if (checks.empty()) {
        checks.push_back(Ok("environment", "no variable of the plug-in or of tracehost is set"));
    }
    return checks;
}

std::vector<Check> CheckPorts(std::optional<uint32_t> port) {
    if (port) return {ToCheck(*port, CheckPort(*port, PortCheck::ByOpening))};
    std::vector<Check> checks;
    bool found = false;
    for (const ListedPort& listed : ListPorts()) {
        if (!listed.number || (listed.probe.empty() && !listed.byEnvironment)) continue;
        checks.push_back(ToCheck(*listed.number, listed.access));
        found = true;
    }
    if (!found) {
        checks.push_back(
            NotOk("port", "no port of a probe was found",
                  "connect the probe; \"tracehost ports\" lists what is there, --port N looks at one"));
    }
    return checks;
}

std::vector<Check> RunChecks(const std::string& plugin, const std::string& port) {
    const DoctorEnvironment environment = ReadEnvironment();  // before a device's path is put into it
    const auto number = port.empty() ? std::nullopt : std::optional<uint32_t>(ParsePort(port));
    std::vector<Check> checks = CheckEnvironment(environment);
    Append(checks, CheckHome(environment));
    checks.push_back(CheckTemporaryFolder());
    Append(checks, CheckPorts(number));
    try {
        const TemporaryFolder folder;
        SetProcessVariable(Simulator::kBoardVariable, DefaultBoard(folder).c_str());
        Append(checks, CheckPlugin(plugin));
    } catch (const HostError& error) {
        checks.push_back(
            NotOk("plug-in", std::string("not tried: ") + error.what(), "mend what is said above first"));
    }
    return checks;
}

}  // namespace Korr::Plim::Trace::Tracehost
