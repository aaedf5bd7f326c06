#include "tests/abi/host/plugin.h"

#include "tests/abi/host/system.h"

namespace host {
namespace {

struct CalledTable {
    const void* table;
    uint32_t slots;
};
CalledTable called[8];

CalledTable& Called(const void* table) {
    for (CalledTable& entry : called) {
        if (entry.table == nullptr) entry.table = table;
        if (entry.table == table) return entry;
    }
    Fail("too many tables");
}

}  // namespace

// Errors are thrown on several threads at once, through slots that were called before.
void NoteCall(const void* table, int slot) {
    CalledTable& entry = Called(table);
    if ((entry.slots >> slot & 1) == 0) entry.slots |= 1u << slot;
}
uint32_t SlotsCalled(const void* object) { return Called(*static_cast<const void* const*>(object)).slots; }

Plugin::Plugin(const char* fileName)
    : module(LoadModule(Line("%s%s", ProgramFolder(), fileName))),
      create(reinterpret_cast<CreateRcvrFunction>(FindSymbol(module, "CreateRcvr"))),
      destroy(reinterpret_cast<DestroyRcvrFunction>(FindSymbol(module, "DestroyRcvr"))) {
    if (module == nullptr || create == nullptr || destroy == nullptr) {
        Fail(Line("%s or its exports are missing", fileName));
    }
}
Plugin::~Plugin() { UnloadModule(module); }

CTargetStateNotification& ReceiverCalls::Notified() const { return *receiver; }
void ReceiverCalls::TargetStateChanged(const char* cpu, uint32_t state) const {
    return raw ? Slot<void>(receiver, 0, cpu, state) : Notified().TargetStateChanged(cpu, state);
}
void ReceiverCalls::TargetEvent(const char* cpu, uint32_t event) const {
    return raw ? Slot<void>(receiver, 1, cpu, event) : Notified().TargetEvent(cpu, event);
}
void ReceiverCalls::TargetNotice(const char* cpu, uint32_t notice, uint32_t value) const {
    return raw ? Slot<void>(receiver, 2, cpu, notice, value) : Notified().TargetNotice(cpu, notice, value);
}
uint32_t ReceiverCalls::GetNumCpus() const {
    return raw ? Slot<uint32_t>(receiver, 4) : receiver->GetNumCpus();
}
void ReceiverCalls::GetCpuNames(char** buffers) const {
    return raw ? Slot<void>(receiver, 5, buffers) : receiver->GetCpuNames(buffers);
}
CChannelDriver* ReceiverCalls::Allocate(const char* cpu, TargetAdapter* adapter, uint32_t id,
                                        uint32_t channel) const {
    return raw ? Slot<CChannelDriver*>(receiver, 6, cpu, adapter, id, channel)
               : receiver->AllocateChannelDriver(cpu, adapter, id, channel);
}
void ReceiverCalls::Release(CChannelDriver* driver) const {
    return raw ? Slot<void>(receiver, 7, driver) : receiver->ReleaseChannelDriver(driver);
}
uint32_t ReceiverCalls::ConstantQueryA() const {
    return raw ? Slot<uint32_t>(receiver, 8) : receiver->ConstantQueryA();
}
void* ReceiverCalls::GetDataSource(void* request) const {
    return raw ? Slot<void*>(receiver, 9, request) : receiver->GetDataSource(request);
}
CChannelDriver* ReceiverCalls::GetChannelDriver(const char* cpu) const {
    return raw ? Slot<CChannelDriver*>(receiver, 10, cpu) : receiver->GetChannelDriver(cpu);
}
uint32_t ReceiverCalls::GetNextAvailableChannel() const {
    return raw ? Slot<uint32_t>(receiver, 11) : receiver->GetNextAvailableChannel();
}
uint32_t ReceiverCalls::ConstantQueryB(uint32_t argument) const {
    return raw ? Slot<uint32_t>(receiver, 12, argument) : receiver->ConstantQueryB(argument);
}
void ReceiverCalls::ProgressNotice() const {
    return raw ? Slot<void>(receiver, 13) : receiver->ProgressNotice();
}
uint32_t ReceiverCalls::ConstantQueryC() const {
    return raw ? Slot<uint32_t>(receiver, 14) : receiver->ConstantQueryC();
}

TraceChannelAttributes& DriverCalls::Attributes() const { return *driver; }
void DriverCalls::GetAttribute(const char* name, TraceAttribute& answer) const {
    return raw ? Slot<void>(driver, 1, name, &answer) : Attributes().GetAttribute(name, answer);
}
bool DriverCalls::IsBufferWrapped() const { return raw ? Slot<bool>(driver, 2) : driver->IsBufferWrapped(); }
void DriverCalls::SetConfiguration(const char* name) const {
    return raw ? Slot<void>(driver, 3, name) : driver->SetConfiguration(name);
}
void DriverCalls::StartRecording() const {
    return raw ? Slot<void>(driver, 4, uint8_t{0}) : driver->StartRecording(uint8_t{0});
}
void DriverCalls::StopRecording() const { return raw ? Slot<void>(driver, 5) : driver->StopRecording(); }
void DriverCalls::ResumeRecording() const { return raw ? Slot<void>(driver, 6) : driver->ResumeRecording(); }
void DriverCalls::SaveFile(const char* name, int32_t format) const {
    return raw ? Slot<void>(driver, 7, name, format) : driver->SaveFile(name, format);
}
void DriverCalls::LoadFile(const char* name) const {
    return raw ? Slot<void>(driver, 8, name) : driver->LoadFile(name);
}
uint32_t DriverCalls::SeekReadTraceData(uint32_t start, uint32_t requested, void* buffer,
                                        uint32_t& read) const {
    return raw ? Slot<uint32_t>(driver, 9, start, requested, buffer, &read)
               : driver->SeekReadTraceData(start, requested, buffer, read);
}
uint32_t DriverCalls::GetNumSamples() const {
    return raw ? Slot<uint32_t>(driver, 10) : driver->GetNumSamples();
}
const char* DriverCalls::GetCpuName() const {
    return raw ? Slot<const char*>(driver, 11) : driver->GetCpuName();
}
void DriverCalls::GetStatus(StatusRecord& record) const {
    return raw ? Slot<void>(driver, 12, &record) : driver->GetStatus(record);
}
std::string& DriverCalls::GetExtendedInfo(std::string& result) const {
    return raw ? *Slot<std::string*>(driver, 13, &result) : driver->GetExtendedInfo(result);
}
void DriverCalls::JobStateChanged(uint32_t state) const {
    return raw ? Slot<void>(driver, 14, state) : driver->JobStateChanged(state);
}
void DriverCalls::SetTargetState(uint32_t state) const {
    return raw ? Slot<void>(driver, 15, state) : driver->SetTargetState(state);
}
void DriverCalls::SetHaltState(const char* cpu, uint8_t state) const {
    return raw ? Slot<void>(driver, 16, cpu, state) : driver->SetHaltState(cpu, state);
}
void DriverCalls::UnregisterCpu(const char* cpu) const {
    return raw ? Slot<void>(driver, 17, cpu) : driver->UnregisterCpu(cpu);
}

uint32_t DriverCalls::Code() const {
    StatusRecord record;
    GetStatus(record);
    return record.code;
}

}  // namespace host
