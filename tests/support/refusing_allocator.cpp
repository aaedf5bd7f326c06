#include "tests/support/refusing_allocator.h"

#include <cstdlib>
#include <new>

namespace support {

std::atomic<std::size_t> refusedSize{0};
thread_local std::size_t refusedNext = 0;
std::atomic<int> refusals{0};

}  // namespace support

namespace {

bool IsRefused(std::size_t size) {
    if (support::refusedNext != 0 && --support::refusedNext == 0) {
        ++support::refusals;
        return true;
    }
    return size != 0 && size == support::refusedSize;
}

}  // namespace

void* operator new(std::size_t size) {
    const bool refused = IsRefused(size);
    void* memory = refused ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
