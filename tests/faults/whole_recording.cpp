#include "tests/faults/whole_recording.h"
#include "simulator/pelkit/error_reading.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "host_api/cPelkitError.h"
#include "receiver/exports.h"
#include "source_utilities/uLogManager.h"
#include "tests/fakes/scripted_capture_file.h"
#include "tests/fakes/scripted_environment_variables.h"
#include "tests/fakes/scripted_file_system.h"
#include "tests/fakes/scripted_local_time.h"
#include "tests/fakes/scripted_native_thread.h"
#include "tests/fakes/scripted_process.h"
#include "tests/faults/recording_files.h"

namespace fault_tests {
namespace {

namespace fs = std::filesystem;
namespace trace = Korr::Plim::Trace;

constexpr const char* kEarlier = "a capture of before";
constexpr const char* kTdfHeader = "TDF file";
constexpr uint32_t kLivingClient = 77;
constexpr uint32_t kFerrinDevice = 0x0B9AF02F;
constexpr uint32_t kSamples = 17;  // of 130 bytes
constexpr std::size_t kSampleSize = 8;
constexpr uint32_t kAnyError = 31;

constexpr const char* kOptions = R"(<?xml version="1.0" encoding="UTF-8"?>
<CHANNEL-SETUP>
	<VERSION version="1.1.0.0" Copyright="c"></VERSION>
	<RCVRNAME>SWO Trace</RCVRNAME>
	<RCVRFWVER>fw 1.0.0.8</RCVRFWVER>
	<ENCTYPE>UART</ENCTYPE>
	<PRESCALAR>Auto</PRESCALAR>
	<PRESCALARVAL>0</PRESCALARVAL>
	<CLKFREQ>Manual</CLKFREQ>
	<CLKFREQVAL>48000000</CLKFREQVAL>
	<COMPORT>5</COMPORT>
	<TSPRESCALAR>1</TSPRESCALAR>
</CHANNEL-SETUP>
)";

fakes::CallScript& ScriptOf(const std::string& seam) {
    if (seam == "dynamic_library") return fakes::dynamic_library::Script();
    if (seam == "environment_variables") return fakes::environment_variables::Script();
    if (seam == "file_system") return fakes::file_system::Script();
    if (seam == "native_thread") return fakes::native_thread::Script();
    if (seam == "process") return fakes::process::Script();
    throw std::logic_error("no scripted seam " + seam);
}

/// The name of a call of the port or the capture file in their common script; empty for any other seam.
std::string CommonName(const std::string& seam, const std::string& operation) {
    if (seam == "serial_port") return "port." + operation;
    return seam == "capture_file" ? "file." + operation : std::string();
}

/// How often the driver has waited for the end of a capture thread, which it told to stop before.
std::ptrdiff_t WaitsForTheEnd() {
    const std::vector<uint32_t> sleeps = fakes::native_thread::SleepLog();
    return std::count(sleeps.begin(), sleeps.end(), 0U);
}

}  // namespace

void Await(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) throw std::runtime_error("waited in vain");
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

const std::string WholeRecording::kFirst(100, '1');
const std::string WholeRecording::kSecond(30, '2');
const std::string WholeRecording::kLate(6, 'L');

WholeRecording::WholeRecording() {
    namespace environment = fakes::environment_variables;
    environment::Reset();
    const fs::path base = Home() / ".KORR-trace";
    environment::Put("USERPROFILE", Home().string());
    environment::Put("KORR_TRACE_LOGGING", "3");
    environment::Put("KORR_TRACE_DEBUGCLIENT_PID", std::to_string(kLivingClient));
    if (KORR_PLIM::uLogManager::Instance().CurrentLogger() != nullptr) {  // the set-up was made before
        environment::Put("KORR_TRACE_LOGGING_DIR", base.string());
        environment::Put("KORR_TRACE_DATA_DIR", (base / "data").string());
        environment::Put("KORR_TRACE_SETTINGS_DIR", (base / "settings").string());
    }
    fakes::file_system::Reset();
    fakes::local_time::Reset();
    fakes::process::Reset();
    fakes::process::SetLivingProcesses({kLivingClient});
    fs::create_directories(base / "data");
    host.identifier.identification = kFerrinDevice;
    Write(CaptureFile(), kEarlier);
    Write(Home() / "options.xml", kOptions);
    Restore();
}

WholeRecording::~WholeRecording() {
    CloseLog();
    fakes::native_thread::Reset();
}

void WholeRecording::Restore() {
    before.clear();
    mend = nullptr;
    for (const char* seam : {"dynamic_library", "environment_variables", "file_system", "process"}) {
        ScriptOf(seam).Reset();
    }
    fakes::native_thread::Reset();
    fakes::native_thread::SkipSleeps();
    fakes::ScriptedFiles::Reset();
    fakes::ScriptedFiles::KeepOnDisk();
    fakes::ScriptedPorts::Reset();
    PlugIn();
}

void WholeRecording::Unplug() {
    fakes::ScriptedPorts::Unplug(kPort);
    quiet = true;
}

void WholeRecording::PlugIn() {
    quiet = false;
    port = &fakes::ScriptedPorts::Plug(kPort);
    port->rateTaken = [](uint32_t asked) { return std::min(asked, 24'000'000U); };
    port->AddRead(kFirst);
    port->AddRead(kSecond);
    port->AddAction([this, earlier = WaitsForTheEnd()] {
        quiet = true;
        Await([earlier] { return WaitsForTheEnd() > earlier; });
    });
    port->AddRead(kLate);
}

void WholeRecording::Fail(const std::string& call, int nth) {
    const std::size_t point = call.find('.');
    const std::string seam = call.substr(0, point);
    const std::string operation = call.substr(point + 1);
    const std::string common = CommonName(seam, operation);
    if (common.empty()) return ScriptOf(seam).Fail(operation, nth, nth);
    fakes::ScriptedCalls::Instance().Fail(common, kAnyError, static_cast<std::size_t>(nth));
}

int WholeRecording::Calls(const std::string& call) {
    const std::size_t point = call.find('.');
    const std::string seam = call.substr(0, point);
    const std::string operation = call.substr(point + 1);
    const std::string common = CommonName(seam, operation);
    if (common.empty()) return ScriptOf(seam).Calls(operation);
    return static_cast<int>(fakes::ScriptedCalls::Instance().Count(common));
}

bool WholeRecording::Step(const std::string& name, const std::function<void()>& action) {
    try {
        if (before.count(name) != 0) before[name]();
        action();
        return true;
    } catch (const cPelkitError& error) {
        EXPECT_EQ(pelkit::SeverityOf(error), cPelkitErrorIF::eSEVERITY_ERROR);
        seen.push_back(name + ": " + pelkit::TextOf(error));
        return false;
    }
}

Report WholeRecording::Run() {
    seen.clear();
    quiet = false;
    CloseLog();
    std::map<fs::path, std::string> earlier = Logs();
    const bool freshProcess = earlier.empty();
    const int openStreams = OpenStreams();
    Write(SavedFile(), kTdfHeader);
    receiver = nullptr;
    if (Step("create", [this] { receiver = CreateRcvr(); })) {
        Record();
        Step("destroy", [this] { DestroyRcvr(receiver); });
    }
    CloseLog();
    Report report{seen, {}, {}, Stays()};
    std::map<std::string, std::string> written;
    for (const auto& [name, text] : Logs()) {
        const std::string added = text.substr(earlier[name].size());
        AddFailures(added, report.logged);
        if (!added.empty()) written[name.filename().string()] = added;
    }
    report.log = DifferencesOf(written, freshProcess);
    const int leftOpen = OpenStreams() - openStreams;
    if (leftOpen != 0) report.log.push_back("log: " + std::to_string(leftOpen) + " stays open");
    return report;
}

Strings WholeRecording::DifferencesOf(const std::map<std::string, std::string>& written,
                                      bool freshProcess) const {
    const std::string first = freshProcess ? "Logger : trace user settings directory"
                                           : "uDll:  request to load \"DeviceIdentifier\" in mode -1";
    if (receiver == nullptr) return LogDifferences(written, {first}, "");
    return LogDifferences(written, {first, "Tarnel_Receiver: Created SWO receiver"},
                          "Tarnel_Receiver: Receiver destroyed");
}

void WholeRecording::Record() {
    driver = nullptr;
    Step("allocate", [this] {
        driver = receiver->AllocateChannelDriver("board/cpu", &targetAdapter, 7,
                                                 receiver->GetNextAvailableChannel());
    });
    if (driver == nullptr) return;
    const auto start = [this] { return Step("start", [this] { driver->StartRecording(0); }); };
    const bool configured = Step("configure", [this] { driver->SetConfiguration(OptionsFile().c_str()); });
    bool started = configured && start();
    if (configured && !started && mend) {
        mend();
        started = start();
    }
    if (started) {
        Await([this] { return quiet.load(); });
        Step("read", [this] { Read(); });
        Step("save", [this] { Save(); });
        Step("stop", [this] { driver->StopRecording(); });
    }
    Step("release", [this] { receiver->ReleaseChannelDriver(driver); });
}

void WholeRecording::Read() {
    std::string samples(kSamples * kSampleSize, '?');
    uint32_t got = 0;
    driver->SeekReadTraceData(0, kSamples, samples.data(), got);
    if (got != kSamples) seen.push_back("read: " + std::to_string(got) + " samples");
    samples.resize(got * kSampleSize);
    std::string there = ContentOf(CaptureFile());
    there.resize(got * kSampleSize);
    EXPECT_EQ(samples, there);
}

void WholeRecording::Save() {
    driver->SaveFile(SavedFile().string().c_str(), 0);
    std::string there = ContentOf(CaptureFile());
    there.resize((there.size() + kSampleSize - 1) / kSampleSize * kSampleSize);
    EXPECT_EQ(SavedBytes(), there);
}

std::string WholeRecording::SavedBytes() const {
    constexpr std::size_t kHeads = 8 + 12 + 12;  // of the file and of the section "BinTraceData"
    const std::string content = ContentOf(SavedFile());
    return content.size() < kHeads ? std::string() : content.substr(kHeads);
}

std::string WholeRecording::Log() const { return ContentOf(LogFolder() / kUsualLog); }

std::string WholeRecording::Status() const {
    trace::StatusRecord record;
    driver->GetStatus(record);
    return record.text;
}

std::string WholeRecording::Stays() const {
    const std::string content = ContentOf(CaptureFile());
    if (content == kEarlier) return "the earlier capture";
    if (content == kFirst + kSecond + kLate) return "every byte";
    if (content == kSecond + kLate || content == kFirst + kLate) return "every byte but those of that write";
    if (content == kFirst) return "every byte before the fault";
    if (content == kFirst + kSecond) return "every byte but those that came after the stop";
    return content.empty() ? "an empty capture" : content;
}

Strings WholeRecording::OpenHandles() const {
    Strings open;
    if (port->IsOpen()) open.push_back("port");
    if (fakes::ScriptedFiles::OpenCount() != 0) open.push_back("capture file");
    const fakes::CallScript& threads = fakes::native_thread::Script();
    const int made = threads.Calls("CreateSuspendedThread") - threads.Failures("CreateSuspendedThread");
    if (made != threads.Calls("CloseThread")) open.push_back("thread");
    for (const char* library : {"SetupAdapter4", "DeviceIdentifier", "ICETargetAdapter"}) {
        if (fakes::dynamic_library::LoadedCount(library) != 0) open.push_back(library);
    }
    return open;
}

std::string WholeRecording::OptionsFile() const { return (Home() / "options.xml").string(); }
fs::path WholeRecording::SavedFile() const { return Home() / "saved.tdf"; }
fs::path WholeRecording::LogFolder() const { return Home() / ".KORR-trace"; }

fs::path WholeRecording::CaptureFile() const { return LogFolder() / "data" / "swotrace_cpu.bin"; }

void ExpectThatTheNextRecordingWorks(WholeRecording& recording, const Strings& log) {
    recording.Restore();
    const Report report = recording.Run();
    EXPECT_EQ(report.seen, Strings());
    EXPECT_EQ(report.logged, Strings());
    EXPECT_EQ(report.log, log);
    EXPECT_EQ(report.stays, "every byte");
    EXPECT_EQ(recording.OpenHandles(), Strings());
}

}  // namespace fault_tests
