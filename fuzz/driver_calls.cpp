// Calls of a channel driver.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#include "fuzz/receiver_session.h"
#include "host_api/CChannelDriverProgress.h"

namespace fuzz {
namespace {

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

}  // namespace

void ReceiverSession::Configure() {
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

void ReceiverSession::Start() {
    if (!ChooseDriver()) return;
    Expect("StartRecording", model.Start(Model()), [this] { Driver().StartRecording(1); });
}

void ReceiverSession::Stop() {
    if (!ChooseDriver()) return;
    Expect("StopRecording", model.Stop(Model()), [this] { Driver().StopRecording(); });
}

void ReceiverSession::Refused() {
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

void ReceiverSession::Save() {
    if (!ChooseDriver()) return;
    const int32_t format = static_cast<int8_t>(Next());
    const std::string samples = Samples(Model());
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

void ReceiverSession::SeekRead() {
    if (!ChooseDriver()) return;
    const std::string samples = Samples(Model());
    const auto total = static_cast<uint32_t>(samples.size() / 8);
    const uint8_t choice = Next();
    const uint32_t start = choice == 255 ? UINT32_MAX : choice % 16;
    const uint32_t requested = Next() % 32;
    const uint32_t expected = start >= total ? 0 : std::min(requested, total - start);
    std::string buffer(std::size_t{32} * 8, '?');
    uint32_t read = 99;
    Require(Driver().GetNumSamples() == total, "GetNumSamples");
    Require(Driver().SeekReadTraceData(start, requested, buffer.data(), read) == expected && read == expected,
            "SeekReadTraceData");
    const std::string part =
        expected == 0 ? "" : samples.substr(std::size_t{start} * 8, std::size_t{expected} * 8);
    Require(buffer == part + std::string(buffer.size() - part.size(), '?'), "samples");
}

void ReceiverSession::CheckStatus() {
    if (!ChooseDriver()) return;
    trace::StatusRecord record{99, "untouched", {7, 7, 7, 7, 7}};
    Driver().GetStatus(record);
    const auto expected = ReceiverModel::Status(Model());
    if (!expected) {
        return Require(record.code == 99 && record.text == "untouched" && record.flags[4] == 7, "untouched");
    }
    Require(record.code == expected->code && record.text == expected->text,
            "status " + std::string(record.text));
    for (std::size_t i = 0; i < 5; ++i) Require(record.flags[i] == (expected->flags[i] ? 1 : 0), "flag");
}

void ReceiverSession::CheckAttribute() {
    if (!ChooseDriver()) return;
    const std::string name = kAttributes[Next() % kAttributes.size()];
    uint32_t type = 0;
    const std::string value = model.Attribute(Model(), name, type);
    trace::TraceAttribute answer;
    Driver().GetAttribute(name.c_str(), answer);
    Require(answer.name == name.c_str() && answer.type == type && answer.value == value,
            name + ": " + answer.value + " instead of " + value);
}

void ReceiverSession::SetStates() {
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

void ReceiverSession::AskDriver() {
    if (!ChooseDriver()) return;
    Require(!Driver().IsBufferWrapped() && Driver().GetCpuName() == Model().name, "GetCpuName");
    trace::HostString text;
    Require(&Driver().GetExtendedInfo(text) == &text && text == "Not implemented", "GetExtendedInfo");
    uint32_t current = 0;
    uint32_t total = 0;
    auto* const progress = dynamic_cast<trace::CChannelDriverProgress*>(&Driver());
    Require(progress != nullptr, "CChannelDriverProgress");
    progress->GetProgress(current, total);
    Require(current == 1 && total == 100, "GetProgress");
}

/// Bytes for the one driver that captures.
void ReceiverSession::Feed() {
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
    const std::string name = only->CaptureFile().value();
    std::string& capture = model.captures[name];
    capture += bytes;
    port->AddRead(bytes);
    const std::string file = TraceHome::Instance().DataFolder() + "/" + name;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (std::filesystem::file_size(file) < capture.size()) {
        Require(std::chrono::steady_clock::now() < end, "captured in time");
        std::this_thread::yield();
    }
    Require(ReadFile(file) == capture, "capture file");
}

}  // namespace fuzz
