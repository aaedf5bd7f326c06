// std::exception_ptr for exceptions of this ABI: a counted copy of the thrown object. libc++ calls these
// functions, which the platform's compiler brings in a library that is not part of the system.
#include <malloc.h>
#include <string.h>

#include <exception>

namespace {

/// How the compiler describes what is thrown. Offsets are counted from the base of the module that throws.
struct CatchableType {
    unsigned properties;
    int type;
    int displacement[3];
    int size;
    int copyConstructor;  ///< 0: copied byte by byte
};
constexpr unsigned kSimpleType = 1;      // copied byte by byte
constexpr unsigned kHasVirtualBase = 4;  // its copy constructor is told that it makes the whole object
struct CatchableTypes {
    int count;
    int types[1];  ///< the first is that of the object itself
};
struct ThrowInformation {
    unsigned attributes;
    int destructor;  ///< 0: nothing to destroy
    int forward;
    int catchableTypes;
};
struct ExceptionRecord {
    unsigned code, flags;
    ExceptionRecord* nested;
    void* address;
    unsigned count;
    void* information[15];  ///< 1: object, 2: throw information, 3: base of the module
};
constexpr unsigned kCxxException = 0xE06D7363;

/// Of every copy. What is thrown does not tell its own; more is not served.
constexpr size_t kAlignment = 64;

/// What an exception pointer points to; the object follows it.
struct alignas(kAlignment) Held {
    long references;
    ThrowInformation* information;
    char* base;
    void* Object() { return this + 1; }
};

const CatchableType& Thrown(const ThrowInformation& information, char* base) {
    const auto* const types = reinterpret_cast<const CatchableTypes*>(base + information.catchableTypes);
    return *reinterpret_cast<const CatchableType*>(base + types->types[0]);
}

void CopyObject(void* to, const void* from, const CatchableType& type, char* base) {
    if (type.copyConstructor == 0 || (type.properties & kSimpleType) != 0) {
        memcpy(to, from, static_cast<size_t>(type.size));
    } else if ((type.properties & kHasVirtualBase) != 0) {
        reinterpret_cast<void (*)(void*, const void*, int)>(base + type.copyConstructor)(to, from, 1);
    } else {
        reinterpret_cast<void (*)(void*, const void*)>(base + type.copyConstructor)(to, from);
    }
}

Held* Hold(const void* object, ThrowInformation* information, char* base) {
    const CatchableType& type = Thrown(*information, base);
    auto* const held =
        static_cast<Held*>(_aligned_malloc(sizeof(Held) + static_cast<size_t>(type.size), kAlignment));
    if (held == nullptr) std::terminate();
    *held = {1, information, base};
    CopyObject(held->Object(), object, type, base);
    return held;
}

void Release(Held* held) {
    if (held == nullptr || __atomic_sub_fetch(&held->references, 1, __ATOMIC_ACQ_REL) != 0) return;
    if (held->information->destructor != 0) {
        reinterpret_cast<void (*)(void*)>(held->base + held->information->destructor)(held->Object());
    }
    _aligned_free(held);
}

Held*& Of(void* pointer) { return *static_cast<Held**>(pointer); }
Held* Of(const void* pointer) { return *static_cast<Held* const*>(pointer); }
Held* Again(Held* held) {
    if (held != nullptr) __atomic_add_fetch(&held->references, 1, __ATOMIC_RELAXED);
    return held;
}

}  // namespace

extern "C" {
ExceptionRecord** __current_exception();
int* __processing_throw();
[[noreturn]] void _CxxThrowException(void* object, void* information);
__declspec(dllimport) void* RtlPcToFileHeader(void* address, void** base);
int __uncaught_exceptions() { return *__processing_throw(); }
}

void __ExceptionPtrCreate(void* pointer) { Of(pointer) = nullptr; }
void __ExceptionPtrDestroy(void* pointer) { Release(Of(pointer)); }
void __ExceptionPtrCopy(void* to, const void* from) { Of(to) = Again(Of(from)); }
void __ExceptionPtrAssign(void* to, const void* from) {
    Held* const before = Of(to);
    Of(to) = Again(Of(from));
    Release(before);
}
bool __ExceptionPtrCompare(const void* left, const void* right) { return Of(left) == Of(right); }
bool __ExceptionPtrToBool(const void* pointer) { return Of(pointer) != nullptr; }
void __ExceptionPtrSwap(void* left, void* right) {
    Held* const held = Of(left);
    Of(left) = Of(right);
    Of(right) = held;
}
void __ExceptionPtrCurrentException(void* pointer) {
    const ExceptionRecord* const record = *__current_exception();
    Of(pointer) = nullptr;
    if (record == nullptr || record->code != kCxxException || record->information[2] == nullptr) return;
    Of(pointer) = Hold(record->information[1], static_cast<ThrowInformation*>(record->information[2]),
                       static_cast<char*>(record->information[3]));
}
void __ExceptionPtrCopyException(void* pointer, const void* object, const void* information) {
    void* base = nullptr;
    RtlPcToFileHeader(const_cast<void*>(information), &base);
    Of(pointer) = Hold(object, static_cast<ThrowInformation*>(const_cast<void*>(information)),
                       static_cast<char*>(base));
}
[[noreturn]] void __ExceptionPtrRethrow(const void* pointer) {
    Held* const held = Of(pointer);
    if (held == nullptr) std::terminate();
    const CatchableType& type = Thrown(*held->information, held->base);
    void* const copy = __builtin_alloca_with_align(static_cast<size_t>(type.size), 8 * kAlignment);
    CopyObject(copy, held->Object(), type, held->base);
    _CxxThrowException(copy, held->information);
}
