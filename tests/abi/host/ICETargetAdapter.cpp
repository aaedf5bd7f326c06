// The host's library "ICETargetAdapter".
#include "tests/abi/host/library.h"

namespace {

uint32_t ReadMemory(uint32_t address, uint32_t& value) {
    Act(Place::ReadMemory);
    HostScript()->address = address;
    value = HostScript()->word;
    return 0;
}

struct Memory final : MemoryAccessor {
    uint32_t ReadMemory(uint32_t address, uint32_t& value) override { return ::ReadMemory(address, value); }
} memory;

uint32_t RawReadMemory(Raw*, uint32_t address, uint32_t* value) { return ReadMemory(address, *value); }
const void* const table[] = {SLOT(RawReadMemory)};
Raw raw = {table};

}  // namespace

EXPORT void* NewTargetAdapter(const char* cpuName, void** handle) {
    Act(Place::NewTargetAdapter);
    ExpectName(cpuName, strlen(cpuName), HostScript()->cpu);
    return *handle =
               HostScript()->rawTables ? static_cast<void*>(&raw) : static_cast<MemoryAccessor*>(&memory);
}
