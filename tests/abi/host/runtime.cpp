// What a compiler links into every module, as far as the host's modules need it. None of the plug-in's
// pieces, and not needed where the platform's compiler links the host.
#include "tests/abi/host/system.h"

extern "C" {
void* malloc(size_t);
void free(void*);
extern const int _fltused = 1;  // asked for by code with floating point

// The table of the type information; its operations are never called.
extern const void* const typeInformation[2] __asm__("??_7type_info@@6B@");
const void* const typeInformation[2] = {};
}

void* operator new(size_t size) {
    void* const block = malloc(size);
    if (block == nullptr) host::Fail("no memory");
    return block;
}
void operator delete(void* block) noexcept { free(block); }
void operator delete(void* block, size_t) noexcept { free(block); }
