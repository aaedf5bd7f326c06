#include "tests/modules/broken_receiver/broken_driver.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "tests/modules/broken_receiver/faults.h"

using namespace Korr::Plim::Trace;

uint32_t BrokenDriver::Code() const {
    StatusRecord record;
    real->GetStatus(record);
    return record.code;
}

void BrokenDriver::GetAttribute(const char* name, TraceAttribute& answer) {
    real->GetAttribute(name, answer);
    const std::string asked = name;  // null was refused
    const std::string value = answer.value;
    if (Has("attributes") && asked == "TWP Source") answer.type = 2;
    if (Has("attributes-memory") && asked == "WP3 Comp") answer.value = "0";
    if (Has("attributes-channels") && asked == "ITMChannelType_31") answer.value = "1";
    if (Has("host-clock") && value == "2.4e+07") answer.value = "24000000";
    if (Has("configuration-anew") && configured && asked == "ITM Timestamp Prescale") {
        if (firstPrescale.empty()) firstPrescale = value;
        answer.value = firstPrescale.c_str();
    }
}

bool BrokenDriver::IsBufferWrapped() { return real->IsBufferWrapped(); }

void BrokenDriver::SetConfiguration(const char* file) {
    if (Has("SetConfiguration/LoadFile")) return real->LoadFile(file);
    if (Has("order-configuration") && file != nullptr && Code() == kStatusRecording) return;
    try {
        real->SetConfiguration(file);
        configured = true;
    } catch (const cPelkitErrorIF&) {
        if (!Has("configuration-refusals") || file == nullptr) throw;
        throw std::runtime_error("the options are wrong");
    }
}

void BrokenDriver::StartRecording(uint8_t flag) {
    if (Has("state-refusals") && Code() == kStatusRecording) adapter->TraceExportOpA(0x80000007);
    try {
        real->StartRecording(flag);
        if (Code() == kStatusRecording) ++starts;
    } catch (const cPelkitErrorIF& error) {
        if (!Has("start-no-port") || !Tells(error, "Invalid trace clock frequency")) throw;
    }
}

void BrokenDriver::StopRecording() {
    if (Has("StopRecording/ResumeRecording")) return real->ResumeRecording();
    if (Has("stop-running-target") && targetState == 6) real->SetTargetState(7);
    real->StopRecording();
}

void BrokenDriver::ResumeRecording() {
    if (Has("StopRecording/ResumeRecording")) return real->StopRecording();
    real->ResumeRecording();
}

void BrokenDriver::SaveFile(const char* file, int32_t format) {
    if (Has("driver-refusals") && file == nullptr) return;
    std::error_code absent;
    const bool there = file != nullptr && std::filesystem::exists(file, absent);
    try {
        real->SaveFile(file, Has("save-tdf") && format == 7 ? 2 : format);
    } catch (const cPelkitErrorIF& error) {
        if (!Has("save-refusals") || !Tells(error, "Section header offset to save data is not valid.")) throw;
    }
    if (Has("save-raw") && format == 2 && there) std::ofstream(file, std::ios::binary | std::ios::app) << 'x';
    if (Has("save-while-recording") && Code() == kStatusRecording) real->StopRecording();
}

void BrokenDriver::LoadFile(const char* file) {
    if (Has("SetConfiguration/LoadFile")) return real->SetConfiguration(file);
    real->LoadFile(file);
}

uint32_t BrokenDriver::SeekReadTraceData(uint32_t start, uint32_t requested, void* buffer,
                                         uint32_t& samplesRead) {
    if (Has("data-no-buffer") && buffer == nullptr) return samplesRead = requested;
    const uint32_t total = real->GetNumSamples();
    auto* const bytes = static_cast<char*>(buffer);
    const bool otherHas = first != this && first->real->GetNumSamples() > 0;
    CChannelDriver* const source = Has("two-cpus-at-once") && otherHas ? first->real : real;
    const uint32_t read = source->SeekReadTraceData(start, requested, buffer, samplesRead);
    if (Has("recording-bytes") && start >= 2000 && read > 0) bytes[3] = static_cast<char>(bytes[3] + 1);
    if (Has("data-empty") && total == 0 && requested > 0) bytes[0] = 0;
    if (Has("data-edges") && total > 0 && start >= total) bytes[0] = 0;
    return read;
}

uint32_t BrokenDriver::GetNumSamples() {
    const uint32_t samples = real->GetNumSamples();
    return Has("recording-again") && starts > 1 && samples == 0 ? 1 : samples;
}

const char* BrokenDriver::GetCpuName() {
    volatile int* const nowhere = nullptr;
    if (Has("crash")) *nowhere = 1;
    if (Has("exit")) std::exit(0);
    while (Has("hang")) std::this_thread::yield();
    return real->GetCpuName();
}

void BrokenDriver::GetStatus(StatusRecord& record) {
    if (Has("status-without-target")) record.flags[2] = 0;
    real->GetStatus(record);
    if (Has("status-texts") && record.code == kStatusReady) record.text = "Ready to recrod";
}

HostString& BrokenDriver::GetExtendedInfo(HostString& result) { return real->GetExtendedInfo(result); }

void BrokenDriver::JobStateChanged(uint32_t state) {
    if (Has("JobStateChanged/SetTargetState")) return real->SetTargetState(state);
    real->JobStateChanged(state);
}

void BrokenDriver::SetTargetState(uint32_t state) {
    if (Has("JobStateChanged/SetTargetState")) return real->JobStateChanged(state);
    targetState = state;
    real->SetTargetState(state);
}

void BrokenDriver::SetHaltState(const char* cpu, uint8_t state) {
    if (Has("order-unasked") && cpu == nullptr) throw cPelkitError("no CPU", cPelkitErrorIF::eSEVERITY_ERROR);
    if (Has("driver-slots")) return real->UnregisterCpu(cpu);
    real->SetHaltState(cpu, state);
}

void BrokenDriver::UnregisterCpu(const char* cpu) {
    if (Has("driver-slots")) return real->SetHaltState(cpu, 1);
    real->UnregisterCpu(cpu);
}

void BrokenDriver::GetProgress(uint32_t& current, uint32_t& total) {
    dynamic_cast<CChannelDriverProgress&>(*real).GetProgress(current, total);
    if (Has("driver-progress")) total = 10;
}
