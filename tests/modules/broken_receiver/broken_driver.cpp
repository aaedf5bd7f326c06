#include "tests/modules/broken_receiver/broken_driver.h"

#include "tests/modules/broken_receiver/faults.h"

using namespace Korr::Plim::Trace;

void BrokenDriver::GetAttribute(const char* name, TraceAttribute& answer) {
    real->GetAttribute(name, answer);
}
bool BrokenDriver::IsBufferWrapped() { return real->IsBufferWrapped(); }
void BrokenDriver::SetConfiguration(const char* file) { real->SetConfiguration(file); }
void BrokenDriver::StartRecording(uint8_t flag) { real->StartRecording(flag); }
void BrokenDriver::StopRecording() { real->StopRecording(); }
void BrokenDriver::ResumeRecording() { real->ResumeRecording(); }
void BrokenDriver::SaveFile(const char* file, int32_t format) { real->SaveFile(file, format); }
void BrokenDriver::LoadFile(const char* file) { real->LoadFile(file); }

uint32_t BrokenDriver::SeekReadTraceData(uint32_t start, uint32_t requested, void* buffer,
                                         uint32_t& samplesRead) {
    return real->SeekReadTraceData(start, requested, buffer, samplesRead);
}

uint32_t BrokenDriver::GetNumSamples() { return real->GetNumSamples(); }
const char* BrokenDriver::GetCpuName() { return real->GetCpuName(); }

void BrokenDriver::GetStatus(StatusRecord& record) {
    if (Has("status-without-target")) record.code = 0;
    real->GetStatus(record);
    if (Has("status-texts") && record.code == kStatusReady) record.text = "Ready to recrod";
}

HostString& BrokenDriver::GetExtendedInfo(HostString& result) { return real->GetExtendedInfo(result); }
void BrokenDriver::JobStateChanged(uint32_t state) { real->JobStateChanged(state); }
void BrokenDriver::SetTargetState(uint32_t state) { real->SetTargetState(state); }
void BrokenDriver::SetHaltState(const char* cpu, uint8_t state) { real->SetHaltState(cpu, state); }
void BrokenDriver::UnregisterCpu(const char* cpu) { real->UnregisterCpu(cpu); }

void BrokenDriver::GetProgress(uint32_t& current, uint32_t& total) {
    dynamic_cast<CChannelDriverProgress&>(*real).GetProgress(current, total);
}
