// The other forms of operator delete for single objects, which do what the plain one does, also a program's
// own.
#include <new>

void operator delete(void* memory, size_t) noexcept { operator delete(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { operator delete(memory); }
