// For types that are aligned more strictly than malloc does.
#include <malloc.h>

#include <new>

void* operator new(size_t size, std::align_val_t alignment) {
    void* const memory = _aligned_malloc(size != 0 ? size : 1, static_cast<size_t>(alignment));
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}
void* operator new[](size_t size, std::align_val_t alignment) { return operator new(size, alignment); }
void operator delete(void* memory, std::align_val_t) noexcept { _aligned_free(memory); }
void operator delete(void* memory, size_t, std::align_val_t) noexcept { _aligned_free(memory); }
void operator delete[](void* memory, std::align_val_t) noexcept { _aligned_free(memory); }
void operator delete[](void* memory, size_t, std::align_val_t) noexcept { _aligned_free(memory); }
