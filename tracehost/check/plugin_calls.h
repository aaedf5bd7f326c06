#pragma once

#include <cstdint>
#include <string>

#include "host_api/CReceiver.h"
#include "tracehost/check/verdict.h"

/// \file
/// The plug-in's operations as the checks call them: each is a step of its own, so that a crash or a call
/// that does not come back can be named.

namespace Korr::Plim::Trace::Tracehost::Validation {

/// A text argument as a step shows it.
inline std::string Argument(const char* text) {
    return text != nullptr ? "\"" + std::string(text) + "\"" : "null";
}

class DriverCalls {
  public:
    explicit DriverCalls(CChannelDriver* called = nullptr) : driver(called) {}
    CChannelDriver* Pointer() const { return driver; }

    void GetAttribute(const char* name, TraceAttribute& answer) const {
        Step("GetAttribute(" + Argument(name) + ")");
        driver->GetAttribute(name, answer);
    }
    bool IsBufferWrapped() const { return Named("IsBufferWrapped")->IsBufferWrapped(); }
    void SetConfiguration(const char* file) const {
        Step("SetConfiguration(" + Argument(file) + ")");
        driver->SetConfiguration(file);
    }
    void StartRecording() const { Named("StartRecording")->StartRecording(0); }
    void StopRecording() const { Named("StopRecording")->StopRecording(); }
    void ResumeRecording() const { Named("ResumeRecording")->ResumeRecording(); }
    void SaveFile(const char* file, int32_t format) const {
        Step("SaveFile(" + Argument(file) + ", " + std::to_string(format) + ")");
        driver->SaveFile(file, format);
    }
    void LoadFile(const char* file) const { Named("LoadFile")->LoadFile(file); }
    uint32_t SeekReadTraceData(uint32_t start, uint32_t requested, void* buffer,
                               uint32_t& samplesRead) const {
        Step("SeekReadTraceData(" + std::to_string(start) + ", " + std::to_string(requested) + ")");
        return driver->SeekReadTraceData(start, requested, buffer, samplesRead);
    }
    uint32_t GetNumSamples() const { return Named("GetNumSamples")->GetNumSamples(); }
    const char* GetCpuName() const { return Named("GetCpuName")->GetCpuName(); }
    void GetStatus(StatusRecord& record) const { Named("GetStatus")->GetStatus(record); }
    HostString& GetExtendedInfo(HostString& result) const {
        return Named("GetExtendedInfo")->GetExtendedInfo(result);
    }
    void JobStateChanged(uint32_t state) const { Named("JobStateChanged")->JobStateChanged(state); }
    void SetTargetState(uint32_t state) const {
        Step("SetTargetState(" + std::to_string(state) + ")");
        driver->SetTargetState(state);
    }
    void SetHaltState(const char* cpu, uint8_t state) const {
        Named("SetHaltState")->SetHaltState(cpu, state);
    }
    void UnregisterCpu(const char* cpu) const { Named("UnregisterCpu")->UnregisterCpu(cpu); }

    /// The status's code. A record that is left untouched has the code 99.
    uint32_t Code() const {
        StatusRecord record;
        record.code = 99;
        GetStatus(record);
        return record.code;
    }

  private:
    CChannelDriver* Named(const char* operation) const {
        Step(operation);
        return driver;
    }
    CChannelDriver* driver;
};

class ReceiverCalls {
  public:
    explicit ReceiverCalls(CReceiver* called = nullptr) : receiver(called) {}
    CReceiver* Pointer() const { return receiver; }

    void TargetStateChanged(const char* cpu, uint32_t state) const {
        Step("TargetStateChanged(" + Argument(cpu) + ", " + std::to_string(state) + ")");
        receiver->TargetStateChanged(cpu, state);
    }
    void TargetEvent(const char* cpu, uint32_t event) const {
        Step("TargetEvent(" + Argument(cpu) + ", " + std::to_string(event) + ")");
        receiver->TargetEvent(cpu, event);
    }
    void TargetNotice(const char* cpu, uint32_t notice, uint32_t value) const {
        Named("TargetNotice")->TargetNotice(cpu, notice, value);
    }
    uint32_t GetNumCpus() const { return Named("GetNumCpus")->GetNumCpus(); }
    void GetCpuNames(char** buffers) const { Named("GetCpuNames")->GetCpuNames(buffers); }
    CChannelDriver* Allocate(const char* cpu, TargetAdapter* adapter, uint32_t id, uint32_t channel) const {
        Step("AllocateChannelDriver(" + Argument(cpu) + ")");
        return receiver->AllocateChannelDriver(cpu, adapter, id, channel);
    }
    void Release(CChannelDriver* driver) const {
        Named("ReleaseChannelDriver")->ReleaseChannelDriver(driver);
    }
    uint32_t ConstantQueryA() const { return Named("ConstantQueryA")->ConstantQueryA(); }
    void* GetDataSource(void* request) const { return Named("GetDataSource")->GetDataSource(request); }
    CChannelDriver* GetChannelDriver(const char* cpu) const {
        Step("GetChannelDriver(" + Argument(cpu) + ")");
        return receiver->GetChannelDriver(cpu);
    }
    uint32_t GetNextAvailableChannel() const {
        return Named("GetNextAvailableChannel")->GetNextAvailableChannel();
    }
    uint32_t ConstantQueryB(uint32_t argument) const {
        return Named("ConstantQueryB")->ConstantQueryB(argument);
    }
    void ProgressNotice() const { Named("ProgressNotice")->ProgressNotice(); }
    uint32_t ConstantQueryC() const { return Named("ConstantQueryC")->ConstantQueryC(); }

  private:
    CReceiver* Named(const char* operation) const {
        Step(operation);
        return receiver;
    }
    CReceiver* receiver;
};

}  // namespace Korr::Plim::Trace::Tracehost::Validation
