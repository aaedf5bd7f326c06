// Thread-local variables. No module of this build has a thread-local section, because the system does not
// turn the thread notifications of such a library off; the compiler asks here for the address of a variable
// instead, by the record that it makes for each. Variables with a constructor or a destructor would need
// more, and do not link.
#include <malloc.h>
#include <stdlib.h>
#include <string.h>

#include "module_start.h"

/// Layout of the compiler's record.
struct Variable {
    size_t size;
    size_t alignment;  ///< a power of 2
    union {
        size_t slot;   ///< 0, or 1 more than the system's number of the slot with each thread's address
        void* shared;  ///< of size 0: the address for all threads
    };
    const void* initial;  ///< null: all zero
};

extern "C" {
__declspec(dllimport) void AcquireSRWLockExclusive(void** lock);
__declspec(dllimport) void ReleaseSRWLockExclusive(void** lock);
__declspec(dllimport) unsigned long FlsAlloc(void (*endOfThread)(void* value));
__declspec(dllimport) int FlsFree(unsigned long slot);
__declspec(dllimport) void* FlsGetValue(unsigned long slot);
__declspec(dllimport) int FlsSetValue(unsigned long slot, void* value);

/// The latest epoch of local_statics.cpp, which the compiler takes for thread-local. On this processor it
/// need not be: stores are seen in their order, so who sees a guard's final value sees the variable made, and
/// who sees an older epoch asks once more.
extern int tarnel_newest_epoch;
Variable epoch __asm__("__emutls_v._Init_thread_epoch") = {0, 0, {.shared = &tarnel_newest_epoch}, nullptr};
}

namespace {

void* lock = nullptr;
unsigned long slots[64];  // in use
unsigned slotCount = 0;

/// \return the variable's slot, and 1
size_t MakeSlot(Variable& variable) {
    constexpr unsigned long kNoSlot = 0xFFFFFFFF;
    AcquireSRWLockExclusive(&lock);
    if (variable.slot == 0) {
        if (slotCount == sizeof slots / sizeof slots[0]) abort();
        const unsigned long slot = FlsAlloc(_aligned_free);
        if (slot == kNoSlot) abort();
        slots[slotCount++] = slot;
        __atomic_store_n(&variable.slot, slot + size_t{1}, __ATOMIC_RELEASE);
    }
    ReleaseSRWLockExclusive(&lock);
    return variable.slot;
}

}  // namespace

extern "C" void FreeThreadLocals() {
    while (slotCount > 0) FlsFree(slots[--slotCount]);
}

extern "C" void* __emutls_get_address(Variable* variable) {
    if (variable->size == 0) return variable->shared;
    size_t slotAndOne = __atomic_load_n(&variable->slot, __ATOMIC_ACQUIRE);
    if (slotAndOne == 0) slotAndOne = MakeSlot(*variable);
    const auto slot = static_cast<unsigned long>(slotAndOne - 1);
    if (void* const known = FlsGetValue(slot)) return known;
    void* const made = _aligned_malloc(variable->size, variable->alignment);
    if (made == nullptr || FlsSetValue(slot, made) == 0) abort();
    if (variable->initial != nullptr) return memcpy(made, variable->initial, variable->size);
    return memset(made, 0, variable->size);
}
