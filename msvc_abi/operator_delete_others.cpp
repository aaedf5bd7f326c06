#include <new>

void operator delete(void* memory, size_t) noexcept { operator delete(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { operator delete(memory); }
