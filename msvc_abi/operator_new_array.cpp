// Arrays are taken and given back as single objects are, also by a program's own operators.
#include <new>

void* operator new[](size_t size) { return operator new(size); }
void* operator new[](size_t size, const std::nothrow_t& tag) noexcept { return operator new(size, tag); }
void operator delete[](void* memory) noexcept { operator delete(memory); }
void operator delete[](void* memory, size_t) noexcept { operator delete(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { operator delete(memory); }
