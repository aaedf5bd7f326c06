#include "simulator/host_libraries/memory_accessor.h"

#include "simulator/host_libraries/hosts_error.h"
#include "simulator/host_libraries/journal.h"
#include "simulator/host_libraries/library_name.h"

namespace Korr::Plim::Trace::Simulator {

uint32_t SimulatedMemory::ReadMemory(uint32_t address, uint32_t& value) try {
    JournalCall call(kTargetAdapterLibrary, "ReadMemory",
                     {{"cpu", cpuName}, {"address", HexadecimalText(address)}});
    const auto word = call.board().memory.find(address);
    value = word != call.board().memory.end() ? word->second : 0;
    call.Argument("value", HexadecimalText(value));
    return call.Return(uint32_t{0});
} catch (...) {
    ThrowAsHostsError();
}

}  // namespace Korr::Plim::Trace::Simulator
