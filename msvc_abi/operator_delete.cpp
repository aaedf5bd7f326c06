// The end of every block of operator new, on the C runtime's heap, whichever module took it. A file of its
// own: a program that replaces this operator keeps the others, which call it.
#include <stdlib.h>

#include <new>

void operator delete(void* memory) noexcept { free(memory); }
