#include "tests/support/refusing_allocator.h"

#include <cstdlib>
#include <new>

namespace support {

std::atomic<std::size_t> refusedSize{0};

}  // namespace support

void* operator new(std::size_t size) {
    const bool refused = size != 0 && size == support::refusedSize;
    void* memory = refused ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
