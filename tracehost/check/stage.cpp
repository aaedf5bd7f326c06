#include "tracehost/check/stage.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <thread>

#include "host_api/cPelkitError.h"
#include "simulator/board/board_file.h"
#include "simulator/pelkit/error_reading.h"
#include "source_utilities/environment_variables.h"
#include "tracehost/errors.h"
#include "tracehost/own_board.h"
#include "tracehost/own_process.h"
#include "tracehost/platform_words.h"
#include "tracehost/standard_output.h"

namespace Korr::Plim::Trace::Tracehost::Validation {

namespace {

namespace fs = std::filesystem;

constexpr auto kPatience = std::chrono::seconds(5);
constexpr const char* kHostLibraries[] = {"SetupAdapter4", "DeviceIdentifier", "ICETargetAdapter"};

}  // namespace

uint32_t PortsAt(const std::vector<PortPair>& pairs) {
    if (pairs.empty()) return HasOwnPorts() ? 2 : 0;
    return static_cast<uint32_t>(std::min<std::size_t>(pairs.size(), 2));
}

Stage::Stage(StageSettings given) : settings(std::move(given)), simulated(ProgramFolder()) {
    fs::create_directory(Home());
    SetProcessVariable("USERPROFILE", Home().c_str());
    SetProcessVariable("KORR_TRACE_LOGGING", "3");
    ClearProcessVariable("KORR_TRACE_DEBUGCLIENT_PID");
    SetProcessVariable(Simulator::kBoardVariable, File("board.json").c_str());
    Write("set-up.txt", kSetUpData);
    ResetBoard();
    for (const char* name : kHostLibraries) hostLibraries.push_back(std::make_unique<Library>(name));
}

std::string Stage::File(const std::string& name) const { return (fs::path(settings.folder) / name).string(); }

const Plugin& Stage::LoadedPlugin() {
    try {
        Step("loading the plug-in");
        if (!plugin) plugin.emplace(settings.plugin);
        return *plugin;
    } catch (const HostError&) {
        Skip("the plug-in does not load, or misses an export: see \"exports\"");
    }
}

void Stage::WriteBoard() const {
    std::string text = "{";
    for (const auto& [key, json] : board) {
        text.append(text.size() > 1 ? ", \"" : "\"").append(key).append("\": ").append(json);
    }
    if (!Simulator::ReplaceFile(File("board.json"), text + "}\n")) {
        throw HostError("\"" + File("board.json") + "\" cannot be written: is the disk full?");
    }
}

void Stage::SetBoard(const std::string& key, const std::string& json) {
    board[key] = json;
    WriteBoard();
}

void Stage::ResetBoard() {
    board = {{"set_up_file", R"("set-up.txt")"},
             {"device_identification", R"("0x0B9AF02F")"},
             {"journal", R"("journal")"}};
    WriteBoard();
}

void Stage::StopJournal() {
    board.erase("journal");
    WriteBoard();
}

std::vector<HostCall> Stage::Journal(std::size_t first) const {
    std::vector<HostCall> calls;
    std::ifstream lines(File("journal"), std::ios::binary);
    for (std::string line; std::getline(lines, line);) {
        const auto call = nlohmann::ordered_json::parse(line, nullptr, false);
        if (!call.is_object()) continue;
        calls.push_back({call.value("library", ""), call.value("operation", ""),
                         call.contains("arguments") ? call.at("arguments").dump() : "",
                         call.value("violation", "")});
    }
    calls.erase(calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(std::min(first, calls.size())));
    return calls;
}

uint32_t Stage::CountCalls(const std::string& operation, std::size_t first) const {
    uint32_t count = 0;
    for (const HostCall& call : Journal(first)) count += call.operation == operation ? 1 : 0;
    return count;
}

std::string Stage::WriteOptions(const std::map<std::string, std::string>& changes) {
    const std::pair<const char*, std::string> defaults[] = {{"RCVRFWVER", "fw 1.0.0.5"},
                                                            {"ENCTYPE", "UART"},
                                                            {"PRESCALAR", "Manual"},
                                                            {"PRESCALARVAL", "9"},
                                                            {"CLKFREQ", "Manual"},
                                                            {"CLKFREQVAL", "1152000"},
                                                            {"COMPORT", "1"},
                                                            {"TSPRESCALAR", "4"}};
    std::string text =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<CHANNEL-SETUP>\n"
        "\t<VERSION version=\"1.1.0.0\" Copyright=\"c\"></VERSION>\n\t<RCVRNAME>SWO Trace</RCVRNAME>\n";
    for (const auto& [key, fallback] : defaults) {
        const auto changed = changes.find(key);
        std::string value = changed != changes.end() ? changed->second : fallback;
        if (changed == changes.end() && key == std::string("COMPORT") && PortsAt(settings.pairs) > 0) {
            value = std::to_string(Port().Port());
        }
        text += "\t<" + std::string(key) + ">" + value + "</" + key + ">\n";
    }
    return Write("options.xml", text + "</CHANNEL-SETUP>\n");
}

std::string Stage::Write(const std::string& name, const std::string& bytes) const {
    std::string path = fs::path(name).is_absolute() ? name : File(name);
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << bytes;
    file.flush();
    if (!file) throw HostError("\"" + path + "\" cannot be written: is the disk full?");
    return path;
}

std::string Stage::Read(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

FarEnd& Stage::Port(uint32_t index) {
    if (ports[index] == nullptr) {
        const bool given = index < settings.pairs.size();
        ports[index] =
            OpenFarEnd(given ? std::optional<PortPair>(settings.pairs[index]) : std::nullopt, index);
    }
    return *ports[index];
}

std::string Stage::Log() const {
    std::string text;
    std::error_code failure;
    for (fs::directory_iterator entry(Folder("KORR_TRACE_LOGGING_DIR"), failure), end;
         !failure && entry != end; entry.increment(failure)) {
        if (entry->path().filename().string().starts_with("korr_trace_log_")) {
            text += Read(entry->path().string());
        }
    }
    return text;
}

std::string Stage::Folder(const char* variable) { return KORR_PLIM::platform::GetVariable(variable); }

std::string Stage::CaptureFile(const std::string& shortName) {
    return (fs::path(Folder("KORR_TRACE_LOGGING_DIR")) / "data" / ("swotrace_" + shortName + ".bin"))
        .string();
}

void ExpectRefusal(const std::string& what, const std::string& text, const std::function<void()>& call,
                   uint32_t severity) {
    try {
        call();
    } catch (const cPelkitErrorIF& error) {
        ExpectText(what + " is refused with the text", pelkit::TextOf(error), text);
        ExpectEqual(what + " is refused with the severity", static_cast<uint32_t>(pelkit::SeverityOf(error)),
                    severity);
        return;
    } catch (const std::exception& error) {
        Fail(what + " throws no cPelkitError, but a standard exception: " + error.what());
    } catch (...) {
        Fail(what + " throws no cPelkitError");
    }
    Fail(what + " is not refused; wanted: " + Shown(text));
}

uint64_t CountThreads() { return Counted("threads", OwnThreads().size()); }

bool WaitUntil(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace Korr::Plim::Trace::Tracehost::Validation
