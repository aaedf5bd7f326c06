// Preloaded into a program, counts the bytes that it has on the heap: stands between it and glibc's
// allocator, and keeps the count, 8 bytes in the machine's order, at the begin of the file that
// TARNEL_LIVE_MEMORY_FILE names. Unlike resident memory, which also grows by fragments when threads share a
// heap, the count tells a leak of a single small block a round.

#include <fcntl.h>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);

}  // extern "C"

namespace {

using Count = std::atomic<std::int64_t>;

Count before_the_file{0};
std::atomic<Count*> live{&before_the_file};

void* Add(void* block) {
    *live.load() += static_cast<std::int64_t>(malloc_usable_size(block));  // 0 for null
    return block;
}

[[gnu::constructor]] void CountInFile() {
    const char* const path = std::getenv("TARNEL_LIVE_MEMORY_FILE");
    const int file = path == nullptr ? -1 : open(path, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    void* const page = file == -1 || ftruncate(file, sizeof(Count)) != 0
                           ? MAP_FAILED
                           : mmap(nullptr, sizeof(Count), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (page == MAP_FAILED) {
        std::perror("TARNEL_LIVE_MEMORY_FILE");
        std::abort();
    }
    close(file);
    auto* const count = static_cast<Count*>(page);  // constructors run before any thread
    *count = before_the_file.load();
    live = count;
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) noexcept { return Add(__libc_malloc(size)); }

void* calloc(std::size_t count, std::size_t size) noexcept { return Add(__libc_calloc(count, size)); }

void* realloc(void* block, std::size_t size) noexcept {
    const auto before = static_cast<std::int64_t>(malloc_usable_size(block));
    void* const moved = __libc_realloc(block, size);
    if (moved != nullptr || size == 0) {  // otherwise the old block stands
        *live.load() -= before;
    }
    return Add(moved);
}

void* memalign(std::size_t alignment, std::size_t size) noexcept {
    return Add(__libc_memalign(alignment, size));
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
    return Add(__libc_memalign(alignment, size));
}

int posix_memalign(void** block, std::size_t alignment, std::size_t size) noexcept {
    *block = Add(__libc_memalign(alignment, size));
    return *block == nullptr ? ENOMEM : 0;
}

void free(void* block) noexcept {
    *live.load() -= static_cast<std::int64_t>(malloc_usable_size(block));
    __libc_free(block);
}

}  // extern "C"
