// Host calls in any order with any arguments, beside a model of the receiver. Every byte of the input
// chooses: first the operation, then its arguments. After each call the answer, what the target adapter was
// told and what the log says of refusals and errors must be what the model gives. The host's libraries and
// its serial port are scripted; captures are files of a folder of this process.
#include <xercesc/util/PlatformUtils.hpp>

#include <cerrno>
#include <cstring>
#include <thread>

#include "fuzz/receiver_model.h"
#include "fuzz/targets.h"
#include "fuzz/trace_home.h"
#include "host_api/CChannelDriverProgress.h"
#include "host_api/cPelkitError.h"
#include "receiver/exports.h"
#include "tests/fakes/scripted_port_devices.h"
#include "tests/fakes/scripted_serial_port.h"
#include "tests/unit/receiver/scripted_host.h"

namespace fuzz {
namespace {

namespace trace = Korr::Plim::Trace;

constexpr std::size_t kMostCalls = 80;
constexpr std::size_t kMostDrivers = 4;
constexpr std::size_t kLongName = 32768;

const std::array<std::string, 8> kNames = {
    "board/cpu", "cpu",        "other/second", "",
    "a/b/c",     "a/../../up", "board/CPU 2",  std::string(kLongName, 'n')};
const std::array<const char*, 16> kAttributes = {"Trace Data Frequency",
                                                 "Timing Clock Frequency",
                                                 "Buffer Wrapped",
                                                 "TWP Source",
                                                 "ITM Timestamp Prescale",
                                                 "WP0 Comp",
                                                 "WP3 Comp",
                                                 "ITM Exception Map Name",
                                                 "ITMChannelType_0",
                                                 "ITMChannelType_1",
                                                 "xITMChannelType_1",
                                                 "ITMChannelType_32",
                                                 "ITMChannelType_-1",
                                                 "itmchanneltype_0",
                                                 "",
                                                 "TWP source"};
const std::array<const char*, 7> kAdapterOperations = {
    "SetTpiuPrescaler", "SetTpiuPinProtocol", "SetTimestampPrescale", "ProgramTpiu",
    "EnableTpiu",       "TraceExportOpA",     "TraceExportOpB"};

std::string OptionsText(const OptionsModel& options) {
    const auto element = [](const std::string& key, const std::string& value) {
        return "<" + key + ">" + value + "</" + key + ">\n";
    };
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<CHANNEL-SETUP>\n<VERSION version=\"1.1.0.0\"/>\n" +
           element("RCVRNAME", "SWO Trace") + element("RCVRFWVER", options.firmware) +
           element("ENCTYPE", "UART") + element("PRESCALAR", options.prescaler) +
           element("PRESCALARVAL", options.prescalerValue) + element("CLKFREQ", options.clock) +
           element("CLKFREQVAL", options.clockValue) + element("COMPORT", options.comPort) +
           element("TSPRESCALAR", options.timestampPrescaler) + "</CHANNEL-SETUP>\n";
}

std::string OptionsFile(std::size_t index) {
    return Folder::Instance().Path("options" + std::to_string(index) + ".xml");
}

void PrepareOnce() {
    static const bool done = [] {
        TraceHome::Instance();
        xercesc::XMLPlatformUtils::Initialize();  // once more than the receiver does: saves its set-up each
                                                  // time
        for (std::size_t i = 0; i < kOptions.size(); ++i) WriteFile(OptionsFile(i), OptionsText(kOptions[i]));
        return true;
    }();
    Require(done, "files");
}

std::string ItmFile() { return TraceHome::Instance().SettingsFolder() + "/TraceCntrl-itm.ini"; }

/// One run: the receiver with its scripted host, and the model.
class Session {
  public:
    explicit Session(std::string_view bytes);
    ~Session();
    void Run();

  private:
    using Call = void (Session::*)();

    uint8_t Next() {
        if (rest.empty()) return 0;
        const auto byte = static_cast<uint8_t>(rest.front());
        rest.remove_prefix(1);
        return byte;
    }
    const std::string& NextName() { return kNames[Next() % kNames.size()]; }
    /// One of the living drivers; the call is left out without one.
    bool ChooseDriver() {
        if (model.drivers.empty()) return false;
        chosen = Next() % model.drivers.size();
        return true;
    }
    DriverModel& Model() { return model.drivers[chosen]; }
    trace::CChannelDriver& Driver() { return *drivers[chosen]; }
    /// Whether a start of this driver would write a file that another one writes already.
    bool IsFileTaken(const DriverModel& driver) const;
    template <typename Action>
    void Expect(const char* what, const Outcome& expected, Action action);
    void CheckTraces(const char* what);
    std::vector<std::string> LogLines();
    std::string Padded(const std::string& shortName) const;

    void CreateReceiver();
    void DestroyReceiver();
    void Allocate();
    void Release();
    void Notify();
    void AskReceiver();
    void Configure();
    void Start();
    void Stop();
    void Refused();
    void Save();
    void SeekRead();
    void CheckStatus();
    void CheckAttribute();
    void SetStates();
    void AskDriver();
    void Feed();
    void ChangeHost();
    void ChangeAdapter();

    std::string_view rest;
    ReceiverModel model;
    receiver_tests::ScriptedHost host;
    fakes::CallJournal adapterJournal;
    fakes::FakeTargetAdapter adapter{adapterJournal};
    fakes::ScriptedPort* port;
    trace::CReceiver* receiver = nullptr;
    std::deque<trace::CChannelDriver*> drivers;  ///< as in the model
    trace::CChannelDriver* stale = nullptr;
    std::size_t chosen = 0;
    std::size_t adapterCallsSeen = 0;
    std::uintmax_t logSeen = 0;
    uint8_t fed = 0;
};

Session::Session(std::string_view bytes) : rest(bytes) {
    PrepareOnce();
    const TraceHome& home = TraceHome::Instance();
    for (const auto& entry : std::filesystem::directory_iterator(home.DataFolder())) {
        std::filesystem::remove(entry.path());
    }
    for (const char* name : {"raw.bin", "host.tdf"}) std::filesystem::remove(Folder::Instance().Path(name));
    std::filesystem::remove(ItmFile());
    logSeen = home.TrimLog();

    Korr::Plim::Trace::Tarnel::PortDevicesScript() = {};
    fakes::ScriptedPorts::Reset();
    port = &fakes::ScriptedPorts::Plug(5);
    port->idlePause = std::chrono::microseconds(200);
    model.host.identification = host.identifier.identification = 0x0B9AF02F;
    host.memory.words[0xE0001020] = 0xF0000000;
}

Session::~Session() {
    while (model.Lives()) DestroyReceiver();
}

bool Session::IsFileTaken(const DriverModel& driver) const {
    for (const DriverModel& other : model.drivers) {
        if (&other != &driver && other.capturing && other.ShortName() == driver.ShortName()) return true;
    }
    return false;
}

template <typename Action>
void Session::Expect(const char* what, const Outcome& expected, Action action) {
    Outcome seen;
    try {
        action();
    } catch (const cPelkitError& error) {
        Require(error.GetSeverity() == cPelkitErrorIF::eSEVERITY_ERROR, "severity");
        seen = error.GetText();
    } catch (const fakes::HostFault& fault) {
        seen = fault.what();
    }
    Require(seen == expected, std::string(what) + ": \"" + seen.value_or("no error") + "\" instead of \"" +
                                  expected.value_or("no error") + "\"");
    CheckTraces(what);
}

void Session::CheckTraces(const char* what) {
    std::vector<std::string> calls = adapterJournal.Calls();
    calls.erase(calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(adapterCallsSeen));
    adapterCallsSeen += calls.size();
    Require(calls == model.TakeAdapterCalls(), std::string(what) + ": calls of the target adapter");
    const std::vector<std::string> expected = model.TakeLogLines();
    const std::vector<std::string> lines = LogLines();
    Require(lines == expected, std::string(what) + ": log has \"" + (lines.empty() ? "" : lines.back()) +
                                   "\", expected \"" + (expected.empty() ? "" : expected.back()) + "\"");
}

/// Refusals and errors of receiver and drivers since the last question, each as its mask letter, a blank and
/// its text.
std::vector<std::string> Session::LogLines() {
    std::ifstream file(TraceHome::Instance().LogFile(), std::ios::binary);
    file.seekg(static_cast<std::streamoff>(logSeen));
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line); logSeen += line.size() + 1) {
        const std::size_t bar = line.find("| ");
        if (bar == std::string::npos) continue;
        std::string text = line.substr(bar + 2);
        if (text.ends_with('\r')) text.pop_back();
        const bool isError = line.find('E') < 5;
        const bool isOwn =
            text.starts_with("Tarnel_ChannelDriver: ") || text.starts_with("Tarnel_Receiver: ");
        if (isError ? !isOwn : !text.starts_with("Tarnel_ChannelDriver: Cannot ")) continue;
        lines.push_back((isError ? "E " : "M ") + text);
    }
    return lines;
}

/// Samples of a capture as one text.
std::string Session::Padded(const std::string& shortName) const {
    const auto found = model.captures.find(shortName);
    std::string samples = found == model.captures.end() ? "" : found->second;
    samples.resize((samples.size() + 7) / 8 * 8);
    return samples;
}

void Session::CreateReceiver() {
    Expect("CreateRcvr", model.Create(), [this] {
        trace::CReceiver* const created = CreateRcvr();
        Require(created != nullptr && (receiver == nullptr || created == receiver), "one receiver");
        receiver = created;
    });
}

void Session::DestroyReceiver() {
    fakes::FakeReceiver foreign(host.journal);
    DestroyRcvr(nullptr);
    DestroyRcvr(&foreign);
    CheckTraces("DestroyRcvr of another");
    const bool dies = model.Destroy();
    Expect("DestroyRcvr", std::nullopt, [this] { DestroyRcvr(receiver); });
    if (!dies) return;
    drivers.clear();
    receiver = nullptr;
}

void Session::Allocate() {
    const uint8_t choice = Next();
    const std::string& name = NextName();
    if (receiver == nullptr || drivers.size() == kMostDrivers) return;
    const bool hasName = choice % 16 != 1;
    const bool hasAdapter = choice % 16 != 2;
    const auto expected = model.Allocate(hasName ? std::optional(name) : std::nullopt, hasAdapter, choice);
    Expect("AllocateChannelDriver", expected, [&] {
        drivers.push_back(receiver->AllocateChannelDriver(hasName ? name.c_str() : nullptr,
                                                          hasAdapter ? &adapter : nullptr, choice, Next()));
    });
    Require(drivers.size() == model.drivers.size(), "number of drivers");
}

void Session::Release() {
    if (receiver == nullptr) return;
    const uint8_t choice = Next() % 8;
    if (choice == 0) return receiver->ReleaseChannelDriver(nullptr);
    const bool isDead = std::find(drivers.begin(), drivers.end(), stale) == drivers.end();
    if (choice == 1 && stale != nullptr && isDead) {
        return Expect("release of a dead driver", "Failed to release unknown SWO channel driver",
                      [this] { receiver->ReleaseChannelDriver(stale); });
    }
    if (!ChooseDriver()) return;
    stale = &Driver();
    drivers.erase(drivers.begin() + static_cast<std::ptrdiff_t>(chosen));
    model.Release(chosen);
    Expect("ReleaseChannelDriver", std::nullopt, [this] { receiver->ReleaseChannelDriver(stale); });
}

void Session::Notify() {
    if (receiver == nullptr) return;
    const std::string& name = NextName();
    const uint32_t code = Next() % 10;
    receiver->TargetStateChanged(nullptr, code);
    receiver->TargetEvent(nullptr, 0);
    receiver->TargetEvent(name.c_str(), code);
    receiver->TargetNotice(name.c_str(), code, code);
    CheckTraces("TargetEvent");
    const DriverModel* const driver = model.Find(name);
    if (driver != nullptr && IsFileTaken(*driver)) return;
    const bool asksForClock = driver != nullptr && driver->clockAuto;
    if (asksForClock) host.identifier.identification = 0;  // no clock reader knows it
    model.TargetStateChanged(name, code);
    Expect("TargetStateChanged", std::nullopt, [&] { receiver->TargetStateChanged(name.c_str(), code); });
    host.identifier.identification = model.host.identification;
}

void Session::AskReceiver() {
    if (receiver == nullptr) return;
    const auto count = static_cast<uint32_t>(model.drivers.size());
    Require(receiver->GetNumCpus() == count && receiver->GetNextAvailableChannel() == count + 1,
            "GetNumCpus");
    Require(receiver->ConstantQueryA() == 1 && receiver->ConstantQueryB(Next()) == 0, "constants");
    Require(receiver->ConstantQueryC() == 0, "constants");
    receiver->ProgressNotice();
    std::vector<std::string> texts(count, std::string(kLongName + 1, '?'));
    std::vector<char*> buffers;
    for (std::string& text : texts) buffers.push_back(text.data());
    receiver->GetCpuNames(nullptr);
    receiver->GetCpuNames(buffers.data());
    for (std::size_t i = 0; i < count; ++i) Require(model.drivers[i].name == texts[i].c_str(), "GetCpuNames");
    const std::string& name = NextName();
    const DriverModel* const found = model.Find(name);
    const auto at =
        std::find_if(model.drivers.begin(), model.drivers.end(), [&](auto& one) { return &one == found; });
    trace::CChannelDriver* const expected =
        found == nullptr ? nullptr : drivers[static_cast<std::size_t>(at - model.drivers.begin())];
    Require(receiver->GetChannelDriver(name.c_str()) == expected, "GetChannelDriver");
    Require(receiver->GetChannelDriver(nullptr) == nullptr, "GetChannelDriver of null");
    Expect("GetDataSource", "Cannot get data source", [this] { receiver->GetDataSource(this); });
}

void Session::Configure() {
    if (!ChooseDriver()) return;
    const std::size_t choice = Next() % (kOptions.size() + 1);
    if (choice == kOptions.size()) {
        return Expect("SetConfiguration(null)", "Internal error setting configuration.",
                      [this] { Driver().SetConfiguration(nullptr); });
    }
    const std::string file = OptionsFile(choice);
    Expect("SetConfiguration", model.Configure(Model(), kOptions[choice]),
           [&] { Driver().SetConfiguration(file.c_str()); });
}

void Session::Start() {
    if (!ChooseDriver() || IsFileTaken(Model())) return;
    if (Model().clockAuto) host.identifier.identification = 0;  // no clock reader knows it
    Expect("StartRecording", model.Start(Model()), [this] { Driver().StartRecording(1); });
    host.identifier.identification = model.host.identification;
}

void Session::Stop() {
    if (!ChooseDriver()) return;
    Expect("StopRecording", model.Stop(Model()), [this] { Driver().StopRecording(); });
}

void Session::Refused() {
    if (!ChooseDriver()) return;
    Expect("ResumeRecording", "ResumeRecording not supported", [this] { Driver().ResumeRecording(); });
    Expect("LoadFile", "LoadFile not supported", [this] { Driver().LoadFile("any"); });
    Expect("LoadFile", "LoadFile not supported", [this] { Driver().LoadFile(nullptr); });
    trace::TraceAttribute answer;
    Expect("GetAttribute(null)", "Null attribute name", [&] { Driver().GetAttribute(nullptr, answer); });
    for (const char* name : {static_cast<const char*>(nullptr), ""}) {
        Expect("SaveFile", "Data cannot be saved to empty file", [&] { Driver().SaveFile(name, 2); });
    }
    const std::string missing = Folder::Instance().Path("no folder/file");
    Expect("SaveFile", std::string("Could not open file") + std::strerror(ENOENT),
           [&] { Driver().SaveFile(missing.c_str(), Next()); });
}

void Session::Save() {
    if (!ChooseDriver()) return;
    const int32_t format = static_cast<int8_t>(Next());
    const std::string samples = Padded(Model().ShortName());
    if (format == 2) {
        const std::string raw = Folder::Instance().Path("raw.bin");
        Expect("SaveFile", std::nullopt, [&] { Driver().SaveFile(raw.c_str(), format); });
        return Require(ReadFile(raw) == samples, "raw file");
    }
    const std::string tdf = Folder::Instance().Path("host.tdf");
    if (Next() % 2 == 0) WriteFile(tdf, "head");
    const std::string old = ReadFile(tdf);
    const bool refused = old.size() < 4 && !samples.empty();
    const Outcome expected =
        refused ? Outcome("Section header offset to save data is not valid.") : std::nullopt;
    Expect("SaveFile", expected, [&] { Driver().SaveFile(tdf.c_str(), format); });
    const std::string data = refused ? "" : samples;
    const auto length = static_cast<uint32_t>(24 + data.size());
    std::string section;
    for (const uint32_t field : {length, 1U, 12U}) {
        for (uint32_t shift = 0; shift < 32; shift += 8) section += static_cast<char>(field >> shift & 255);
    }
    Require(ReadFile(tdf) == old + section + "BinTraceData" + data, "TDF file");
}

void Session::SeekRead() {
    if (!ChooseDriver()) return;
    const std::string samples = Padded(Model().ShortName());
    const auto total = static_cast<uint32_t>(samples.size() / 8);
    const uint8_t choice = Next();
    const uint32_t start = choice == 255 ? UINT32_MAX : choice % 16;
    const uint32_t requested = Next() % 32;
    const uint32_t expected = start >= total ? 0 : std::min(requested, total - start);
    std::string buffer(32 * 8, '?');
    uint32_t read = 99;
    Require(Driver().GetNumSamples() == total, "GetNumSamples");
    Require(Driver().SeekReadTraceData(start, requested, buffer.data(), read) == expected && read == expected,
            "SeekReadTraceData");
    const std::string part =
        expected == 0 ? "" : samples.substr(std::size_t{start} * 8, std::size_t{expected} * 8);
    Require(buffer == part + std::string(buffer.size() - part.size(), '?'), "samples");
}

void Session::CheckStatus() {
    if (!ChooseDriver()) return;
    trace::StatusRecord record{99, "untouched", {7, 7, 7, 7, 7}};
    Driver().GetStatus(record);
    const auto expected = ReceiverModel::Status(Model());
    if (!expected)
        return Require(record.code == 99 && record.text == "untouched" && record.flags[4] == 7, "untouched");
    Require(record.code == expected->code && record.text == expected->text, "status " + record.text);
    for (std::size_t i = 0; i < 5; ++i) Require(record.flags[i] == (expected->flags[i] ? 1 : 0), "flag");
}

void Session::CheckAttribute() {
    if (!ChooseDriver()) return;
    const std::string name = kAttributes[Next() % kAttributes.size()];
    uint32_t type = 0;
    const std::string value = model.Attribute(Model(), name, type);
    trace::TraceAttribute answer;
    Driver().GetAttribute(name.c_str(), answer);
    Require(answer.name == name.c_str() && answer.type == type && answer.value == value,
            name + ": " + answer.value + " instead of " + value);
}

void Session::SetStates() {
    if (!ChooseDriver()) return;
    const uint8_t state = Next() % 10;
    Driver().SetTargetState(state);
    Model().targetState = state;
    Driver().SetHaltState(NextName().c_str(), state);
    Driver().SetHaltState(nullptr, state);
    Driver().UnregisterCpu(NextName().c_str());
    Driver().UnregisterCpu(nullptr);
    Driver().JobStateChanged(Next() % 2);
    CheckTraces("states");
}

void Session::AskDriver() {
    if (!ChooseDriver()) return;
    Require(!Driver().IsBufferWrapped() && Driver().GetCpuName() == Model().name, "GetCpuName");
    std::string text;
    Require(&Driver().GetExtendedInfo(text) == &text && text == "Not implemented", "GetExtendedInfo");
    uint32_t current = 0;
    uint32_t total = 0;
    auto* const progress = dynamic_cast<trace::CChannelDriverProgress*>(&Driver());
    Require(progress != nullptr, "CChannelDriverProgress");
    progress->GetProgress(current, total);
    Require(current == 1 && total == 100, "GetProgress");
}

/// Bytes for the one driver that captures.
void Session::Feed() {
    const std::size_t size = 1 + Next() % 64;
    DriverModel* only = nullptr;
    for (DriverModel& driver : model.drivers) {
        if (!driver.capturing) continue;
        if (only != nullptr) return;
        only = &driver;
    }
    if (only == nullptr) return;
    std::string bytes;
    while (bytes.size() < size) bytes += static_cast<char>(fed++);
    std::string& capture = model.captures[only->ShortName()];
    capture += bytes;
    port->AddRead(bytes);
    const std::string file = TraceHome::Instance().DataFolder() + "/swotrace_" + only->ShortName() + ".bin";
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (std::filesystem::file_size(file) < capture.size()) {
        Require(std::chrono::steady_clock::now() < end, "captured in time");
        std::this_thread::yield();
    }
    Require(ReadFile(file) == capture, "capture file");
}

void Session::ChangeHost() {
    const uint8_t choice = Next();
    model.host.setUpFile = choice % 4;
    host.SetSetupFile(kSetUpFiles[choice % 4].content);
    constexpr uint32_t kDevices[] = {0x0B9AF02F, 0x1B9AF02F, 0x0B99A02F, 0x12345678};
    model.host.identification = host.identifier.identification = kDevices[choice / 4 % 4];
    model.host.hasDeviceIdentifier = choice / 16 % 4 != 1;
    host.createDeviceIdentifier = [this] {
        return model.host.hasDeviceIdentifier ? &host.identifier : nullptr;
    };
    model.host.hasTargetAdapter = choice / 64 != 1;
    host.newTargetAdapter = [this](trace::MemoryAccessor** handle) -> trace::MemoryAccessor* {
        return model.host.hasTargetAdapter ? *handle = &host.memory : nullptr;
    };
    const std::string itm = ItmFile();
    std::filesystem::remove(itm);
    const uint8_t type = Next() % 3;
    model.host.itm = type == 0 ? std::nullopt : std::optional(std::to_string(type));
    if (model.host.itm) WriteFile(itm, "x_0=0\nx_1=" + *model.host.itm + "\n");
}

void Session::ChangeAdapter() {
    const uint8_t choice = Next();
    const std::string operation = kAdapterOperations[choice % kAdapterOperations.size()];
    adapter.results.clear();
    adapter.throwing.clear();
    model.host.failing.clear();
    model.host.throwing.clear();
    if (choice / 16 % 4 == 1) model.host.failing.insert(operation);
    if (choice / 16 % 4 == 2) model.host.throwing.insert(operation);
    for (const std::string& failing : model.host.failing) adapter.results[failing] = 1;
    adapter.throwing = model.host.throwing;
    model.host.portPlugged = choice / 64 != 1;
    fakes::ScriptedCalls::Instance().Reset();
    if (!model.host.portPlugged) fakes::ScriptedCalls::Instance().Fail("port.Open", 2);
}

void Session::Run() {
    static constexpr Call kCalls[] = {
        &Session::CreateReceiver, &Session::DestroyReceiver, &Session::Allocate,     &Session::Release,
        &Session::Notify,         &Session::AskReceiver,     &Session::Configure,    &Session::Start,
        &Session::Stop,           &Session::Refused,         &Session::Save,         &Session::SeekRead,
        &Session::CheckStatus,    &Session::CheckAttribute,  &Session::SetStates,    &Session::AskDriver,
        &Session::Feed,           &Session::ChangeHost,      &Session::ChangeAdapter};
    for (std::size_t call = 0; call < kMostCalls && !rest.empty(); ++call) {
        (this->*kCalls[Next() % std::size(kCalls)])();
        CheckTraces("a call without an error");
    }
}

}  // namespace

void FuzzReceiver(std::string_view input) { Session(input).Run(); }

}  // namespace fuzz
