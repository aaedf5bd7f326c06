// Host calls in any order with any arguments, beside a model of the receiver. Every byte of the input
// chooses: first the operation, then its arguments. After each call the answer, what the target adapter was
// told and what the log says of refusals and errors must be what the model gives. The host's libraries and
// its serial port are scripted; captures are files of a folder of this process. At the end of a run the data
// folder holds the model's captures alone, and no other folder has a file that the host did not name.
#include "fuzz/receiver_session.h"

#include <xercesc/util/PlatformUtils.hpp>

#include <chrono>

#include "tests/fakes/scripted_port_devices.h"

namespace fuzz {
namespace {

constexpr std::size_t kMostCalls = 80;
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

/// A path below this process's folder, alike on every platform.
std::string Relative(const std::filesystem::path& path) {
    return path.lexically_relative(Folder::Instance().Path("")).generic_string();
}

std::set<std::string> FilesBelow(const std::filesystem::path& folder) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        names.insert(entry.path().lexically_relative(folder).generic_string());
    }
    return names;
}

/// The files of this process's folder but those of the data folder.
std::set<std::string> FilesOutside() {
    std::set<std::string> names = FilesBelow(Folder::Instance().Path(""));
    const std::string data = Relative(TraceHome::Instance().DataFolder()) + "/";
    std::erase_if(names, [&](const std::string& name) { return name.starts_with(data); });
    return names;
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

}  // namespace

std::string OptionsFile(std::size_t index) {
    return Folder::Instance().Path("options" + std::to_string(index) + ".xml");
}

std::string ItmFile() { return TraceHome::Instance().SettingsFolder() + "/TraceCntrl-itm.ini"; }

ReceiverSession::ReceiverSession(std::string_view bytes) : rest(bytes) {
    PrepareOnce();
    const TraceHome& home = TraceHome::Instance();
    for (const auto& entry : std::filesystem::directory_iterator(home.DataFolder())) {
        std::filesystem::remove_all(entry.path());
    }
    std::filesystem::create_directory(home.DataFolder() + "/" + kUsersFolder);
    for (const char* name : {"raw.bin", "host.tdf"}) std::filesystem::remove(Folder::Instance().Path(name));
    std::filesystem::remove(ItmFile());
    logSeen = home.TrimLog();
    outside = FilesOutside();

    Korr::Plim::Trace::Tarnel::PortDevicesScript() = {};
    fakes::ScriptedPorts::Reset();
    port = &fakes::ScriptedPorts::Plug(5);
    port->idlePause = std::chrono::microseconds(200);
    model.host.identification = host.identifier.identification = 0x0B9AF02F;
    host.memory.words[0xE0001020] = 0xF0000000;
    SetClock();
}

ReceiverSession::~ReceiverSession() {
    while (model.Lives()) DestroyReceiver();
}

void ReceiverSession::CheckTraces(const char* what) {
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
std::vector<std::string> ReceiverSession::LogLines() {
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

/// One of the names, of those that were built, or a new one.
const std::string& ReceiverSession::NextName() {
    const uint8_t choice = Next();
    if (choice < 128) return kNames[choice % kNames.size()];
    if (choice >= 192 && !built.empty()) return built[choice % built.size()];
    std::string name;
    for (unsigned parts = choice % 16; parts > 0; --parts) name += kNameParts[Next() % kNameParts.size()];
    return built.emplace_back(name);
}

/// Samples of a driver's capture as one text.
std::string ReceiverSession::Samples(const DriverModel& driver) const {
    const auto found = model.captures.find(driver.CaptureFile().value_or(""));
    std::string samples = found == model.captures.end() ? "" : found->second;
    samples.resize((samples.size() + 7) / 8 * 8);
    return samples;
}

/// The data folder holds the captures of the model, and nothing else is new but what the host named.
void ReceiverSession::CheckFiles() const {
    const TraceHome& home = TraceHome::Instance();
    std::set<std::string> captures = {kUsersFolder};
    for (const auto& [name, content] : model.captures) captures.insert(name);
    Require(FilesBelow(home.DataFolder()) == captures, "files of the data folder");
    std::set<std::string> known = outside;
    for (const std::string& name : {Folder::Instance().Path("raw.bin"), Folder::Instance().Path("host.tdf"),
                                    ItmFile(), home.LogFile()}) {
        known.insert(Relative(name));
    }
    for (const std::string& name : FilesOutside()) Require(known.count(name) != 0, "new file " + name);
}

void ReceiverSession::ChangeHost() {
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
    const uint8_t second = Next();
    model.host.clockDivider = second / 3 % 2;
    model.host.clockReadable = second / 6 % 4 != 1;
    model.host.clockNamed = second / 6 % 4 != 2;
    SetClock();
    const uint8_t type = second % 3;
    model.host.itm = type == 0 ? std::nullopt : std::optional(std::to_string(type));
    if (model.host.itm) WriteFile(itm, "x_0=0\nx_1=" + *model.host.itm + "\n");
}

void ReceiverSession::SetClock() {
    constexpr uint32_t kAddress = 0x40000044;
    host.identifier.information.modules["MOD_SYSCLK"].registers.clear();
    if (model.host.clockNamed) host.identifier.AddClockRegister("CPUCLKDIV", kAddress);
    host.memory.failing.clear();
    if (!model.host.clockReadable) host.memory.failing.insert(kAddress);
    host.memory.words[kAddress] = model.host.clockDivider;
}

void ReceiverSession::ChangeAdapter() {
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

void ReceiverSession::Run() {
    static constexpr Call kCalls[] = {&ReceiverSession::CreateReceiver, &ReceiverSession::DestroyReceiver,
                                      &ReceiverSession::Allocate,       &ReceiverSession::Release,
                                      &ReceiverSession::Notify,         &ReceiverSession::AskReceiver,
                                      &ReceiverSession::Configure,      &ReceiverSession::Start,
                                      &ReceiverSession::Stop,           &ReceiverSession::Refused,
                                      &ReceiverSession::Save,           &ReceiverSession::SeekRead,
                                      &ReceiverSession::CheckStatus,    &ReceiverSession::CheckAttribute,
                                      &ReceiverSession::SetStates,      &ReceiverSession::AskDriver,
                                      &ReceiverSession::Feed,           &ReceiverSession::ChangeHost,
                                      &ReceiverSession::ChangeAdapter};
    for (std::size_t call = 0; call < kMostCalls && !rest.empty(); ++call) {
        (this->*kCalls[Next() % std::size(kCalls)])();
        CheckTraces("a call without an error");
    }
    CheckFiles();
}

void FuzzReceiver(std::string_view input) { ReceiverSession(input).Run(); }

}  // namespace fuzz
