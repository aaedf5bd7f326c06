#include "tests/support/live_bytes.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> live{0};

void Release(void* memory) {
    live -= malloc_usable_size(memory);
    std::free(memory);
}

}  // namespace

std::size_t support::LiveBytes() { return live; }

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory != nullptr) live += malloc_usable_size(memory);
    return memory;
}
void* operator new(std::size_t size) {
    void* const memory = operator new(size, std::nothrow);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}
void operator delete(void* memory) noexcept { Release(memory); }
void operator delete(void* memory, std::size_t) noexcept { Release(memory); }
