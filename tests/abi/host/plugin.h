#pragma once

#include "host_api/CChannelDriverProgress.h"
#include "host_api/entry_points.h"

/// \file
/// The plug-in as the host calls it: each operation by its number in the object's table, or by its name in
/// the interface headers.

namespace host {

using namespace Korr::Plim::Trace;

/// Notes that a slot of a table is called by its number.
void NoteCall(const void* table, int slot);
/// The slots of an object's table that were called by their numbers, each a bit.
uint32_t SlotsCalled(const void* object);

/// Calls a slot of an object's table.
template <class Result, class... Arguments>
Result Slot(void* object, int slot, Arguments... arguments) {
    void* const* const table = *static_cast<void* const* const*>(object);
    NoteCall(table, slot);
    return reinterpret_cast<Result (*)(void*, Arguments...)>(table[slot])(object, arguments...);
}

/// The plug-in, loaded from the host's own folder.
class Plugin {
  public:
    explicit Plugin(const char* fileName = "Tarnel.dll");
    ~Plugin();
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

    void* const module;
    const CreateRcvrFunction create;
    const DestroyRcvrFunction destroy;
};

/// A receiver's operations, all through its table or all through the interfaces: what a base declares through
/// the base.
struct ReceiverCalls {
    CReceiver* receiver;
    bool raw;

    const char* Way() const { return raw ? "by slot" : "by name"; }
    void TargetStateChanged(const char* cpu, uint32_t state) const;
    void TargetEvent(const char* cpu, uint32_t event) const;
    void TargetNotice(const char* cpu, uint32_t notice, uint32_t value) const;
    uint32_t GetNumCpus() const;
    void GetCpuNames(char** buffers) const;
    CChannelDriver* Allocate(const char* cpu, TargetAdapter* adapter, uint32_t id, uint32_t channel) const;
    void Release(CChannelDriver* driver) const;
    uint32_t ConstantQueryA() const;
    void* GetDataSource(void* request) const;
    CChannelDriver* GetChannelDriver(const char* cpu) const;
    uint32_t GetNextAvailableChannel() const;
    uint32_t ConstantQueryB(uint32_t argument) const;
    void ProgressNotice() const;
    uint32_t ConstantQueryC() const;

  private:
    CTargetStateNotification& Notified() const;
};

/// A driver's operations, in the same way.
struct DriverCalls {
    CChannelDriver* driver;
    bool raw;

    const char* Way() const { return raw ? "by slot" : "by name"; }
    void GetAttribute(const char* name, TraceAttribute& answer) const;
    bool IsBufferWrapped() const;
    void SetConfiguration(const char* optionsFileName) const;
    void StartRecording() const;
    void StopRecording() const;
    void ResumeRecording() const;
    void SaveFile(const char* fileName, int32_t format) const;
    void LoadFile(const char* fileName) const;
    uint32_t SeekReadTraceData(uint32_t start, uint32_t requested, void* buffer, uint32_t& read) const;
    uint32_t GetNumSamples() const;
    const char* GetCpuName() const;
    void GetStatus(StatusRecord& record) const;
    std::string& GetExtendedInfo(std::string& result) const;
    void JobStateChanged(uint32_t state) const;
    void SetTargetState(uint32_t state) const;
    void SetHaltState(const char* cpu, uint8_t state) const;
    void UnregisterCpu(const char* cpu) const;

    uint32_t Code() const;

  private:
    TraceChannelAttributes& Attributes() const;
};

}  // namespace host
