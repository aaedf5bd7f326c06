#pragma once

#include <stddef.h>

namespace std {
enum class align_val_t : size_t {};
struct nothrow_t {
    explicit nothrow_t() = default;
};
extern const nothrow_t nothrow;
}  // namespace std

void* operator new(size_t size);
void* operator new(size_t size, const std::nothrow_t&) noexcept;
void* operator new(size_t size, std::align_val_t alignment);
void* operator new(size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept;
void* operator new[](size_t size);
void* operator new[](size_t size, const std::nothrow_t&) noexcept;
void* operator new[](size_t size, std::align_val_t alignment);
void* operator new[](size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept;
void operator delete(void* memory) noexcept;
void operator delete(void* memory, size_t size) noexcept;
void operator delete(void* memory, const std::nothrow_t&) noexcept;
void operator delete(void* memory, std::align_val_t alignment) noexcept;
void operator delete(void* memory, size_t size, std::align_val_t alignment) noexcept;
void operator delete[](void* memory) noexcept;
void operator delete[](void* memory, size_t size) noexcept;
void operator delete[](void* memory, const std::nothrow_t&) noexcept;
void operator delete[](void* memory, std::align_val_t alignment) noexcept;
void operator delete[](void* memory, size_t size, std::align_val_t alignment) noexcept;
inline void* operator new(size_t, void* place) noexcept { return place; }
inline void* operator new[](size_t, void* place) noexcept { return place; }
inline void operator delete(void*, void*) noexcept {}
inline void operator delete[](void*, void*) noexcept {}
