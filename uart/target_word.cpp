#include "uart/target_word.h"

#include "host_api/throw_error.h"

namespace Korr::Plim::Trace::Tarnel {

void ThrowClockError() {
    ThrowError(
        "Could not determine the System clock frequency automatically. Please set it manually in the "
        "receiver properties.");
}

TargetWord::TargetWord(MemoryAccessor* memory, uint32_t address) {
    uint32_t value = 0;
    if (memory != nullptr && memory->ReadMemory(address, value) == 0) word = value;
}

uint32_t TargetWord::ForClock() const {
    if (!word) ThrowClockError();
    return *word;
}

}  // namespace Korr::Plim::Trace::Tarnel
