// operator new that gives null in place of an exception, around the plain one, also a program's own.
#include <new>

void* operator new(size_t size, const std::nothrow_t&) noexcept {
    try {
        return operator new(size);
    } catch (...) {
        return nullptr;
    }
}
