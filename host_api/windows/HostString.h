#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>

/// \file
/// Texts that cross the boundary on Windows. The host's std::string is that of its own compiler, in release
/// builds; this build's standard library has another. HostString is the host's, member for member, and is
/// used for nothing else.
///
/// Ownership: a string belongs to whoever owns the object it is in; either side may change it, move from it
/// and destroy it, because the memory of every string comes from the C runtime's heap, which all modules of
/// the process share. Its address is freed as it was taken:
/// - up to 15 bytes: no memory, the text is in the object;
/// - a block of fewer than 4096 bytes, the terminating zero included: operator new, operator delete;
/// - a larger block: operator new of 39 bytes more. The text begins at the last address of these that is a
/// multiple of
///   32; the 8 bytes before it hold the address that operator new gave, which is the one to free.
///
/// A host built in debug mode has a larger string and cannot be served.

namespace Korr::Plim::Trace {

/// The members of the host's string, in their order.
struct HostStringLayout {
    union {
        char inPlace[16];
        char* outside;
    } text;                ///< zero-terminated
    std::size_t size;      ///< bytes, without the terminating zero
    std::size_t capacity;  ///< bytes that fit without other memory; 15: the text is in place
};
static_assert(sizeof(void*) == 8 && sizeof(std::size_t) == 8);
static_assert(sizeof(HostStringLayout) == 32 && alignof(HostStringLayout) == 8);
static_assert(offsetof(HostStringLayout, text) == 0 && sizeof(HostStringLayout::text) == 16);
static_assert(offsetof(HostStringLayout, size) == 16 && offsetof(HostStringLayout, capacity) == 24);

/// A text of the host's standard string type. Throws std::bad_alloc without memory and std::length_error for
/// more than kMaxSize bytes; the text is then as it was.
class HostString {
  public:
    static constexpr std::size_t kMaxInPlace = 15;
    static constexpr std::size_t kMaxSize = PTRDIFF_MAX - 1;

    HostString() noexcept : layout(Empty()) {}
    HostString(std::string_view text) : HostString() { Assign(text); }
    HostString(const std::string& text) : HostString(std::string_view(text)) {}
    /// \param text never null
    HostString(const char* text) : HostString(std::string_view(text)) {}
    HostString(const HostString& other) : HostString(std::string_view(other)) {}
    /// The other string is empty afterwards.
    HostString(HostString&& other) noexcept : layout(other.layout) { other.layout = Empty(); }
    ~HostString() { Free(); }

    HostString& operator=(std::string_view text) {
        Assign(text);
        return *this;
    }
    HostString& operator=(const std::string& text) { return *this = std::string_view(text); }
    HostString& operator=(const char* text) { return *this = std::string_view(text); }
    HostString& operator=(const HostString& other) { return *this = std::string_view(other); }
    HostString& operator=(HostString&& other) noexcept {
        if (this == &other) return *this;
        Free();
        layout = other.layout;
        other.layout = Empty();
        return *this;
    }

    const char* c_str() const noexcept { return InPlace() ? layout.text.inPlace : layout.text.outside; }
    std::size_t size() const noexcept { return layout.size; }
    std::size_t capacity() const noexcept { return layout.capacity; }
    bool empty() const noexcept { return layout.size == 0; }
    /// Keeps the memory.
    void clear() noexcept { End(0); }
    operator std::string_view() const noexcept { return {c_str(), layout.size}; }
    operator std::string() const { return std::string(c_str(), layout.size); }

    friend bool operator==(const HostString& left, const HostString& right) noexcept {
        return std::string_view(left) == std::string_view(right);
    }
    friend bool operator==(const HostString& left, const std::string& right) noexcept {
        return std::string_view(left) == right;
    }
    friend bool operator==(const HostString& left, const char* right) noexcept {
        return std::string_view(left) == right;
    }

  private:
    static constexpr std::size_t kLargeBlock = 4096;
    static constexpr std::size_t kLargeAlignment = 32;
    static constexpr std::size_t kBeforeLarge = sizeof(void*) + kLargeAlignment - 1;

    static HostStringLayout Empty() noexcept { return {{{}}, 0, kMaxInPlace}; }
    bool InPlace() const noexcept { return layout.capacity <= kMaxInPlace; }
    char* Text() noexcept { return InPlace() ? layout.text.inPlace : layout.text.outside; }
    void End(std::size_t size) noexcept {
        layout.size = size;
        Text()[size] = '\0';
    }

    void Assign(std::string_view text) {
        if (text.size() > layout.capacity) Grow(text.size());
        std::memmove(Text(), text.data(), text.size());
        End(text.size());
    }

    // New memory for at least `size` bytes; the text is lost.
    void Grow(std::size_t size) {
        if (size > kMaxSize) throw std::length_error("string too long");
        const std::size_t wanted = GrownCapacity(size);
        char* const memory = Allocate(wanted + 1);
        Free();
        layout.text.outside = memory;
        layout.capacity = wanted;
    }

    // At least half more than before; what is asked for is rounded up so that the block is a multiple of 16
    // bytes.
    std::size_t GrownCapacity(std::size_t size) const noexcept {
        const std::size_t rounded = size | 15;
        const std::size_t old = layout.capacity;
        if (rounded > kMaxSize || old > kMaxSize - old / 2) return kMaxSize;
        return rounded > old + old / 2 ? rounded : old + old / 2;
    }

    static char* Allocate(std::size_t bytes) {
        if (bytes < kLargeBlock) return static_cast<char*>(::operator new(bytes));
        void* const block = ::operator new(bytes + kBeforeLarge);
        const std::size_t past = reinterpret_cast<std::uintptr_t>(block) + kBeforeLarge;
        char* const memory = static_cast<char*>(block) + kBeforeLarge - past % kLargeAlignment;
        std::memcpy(memory - sizeof(void*), &block, sizeof(void*));
        return memory;
    }

    void Free() noexcept {
        if (InPlace()) return;
        void* block = layout.text.outside;
        if (layout.capacity + 1 >= kLargeBlock) {
            std::memcpy(&block, layout.text.outside - sizeof(void*), sizeof(void*));
        }
        ::operator delete(block);
    }

    HostStringLayout layout;
};
static_assert(sizeof(HostString) == sizeof(HostStringLayout) &&
              alignof(HostString) == alignof(HostStringLayout));

}  // namespace Korr::Plim::Trace
