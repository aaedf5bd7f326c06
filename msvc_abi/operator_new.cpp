// Memory of the C runtime's heap, from which the host's modules take theirs. Each operator that a program may
// replace on its own is a file of its own.
#include <stdlib.h>

#include <new>

void* operator new(size_t size) {
    void* const memory = malloc(size != 0 ? size : 1);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}
