#include <stdlib.h>

#include <new>

void operator delete(void* memory) noexcept { free(memory); }
