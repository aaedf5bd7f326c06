#include "tracehost/check/platform.h"

#include <malloc.h>

#include <cstdlib>
#include <filesystem>

namespace Korr::Plim::Trace::Tracehost::Validation {

namespace {

uint32_t CountEntries(const char* folder) {
    std::error_code failure;
    uint32_t count = 0;
    for (std::filesystem::directory_iterator entry(folder, failure), end; !failure && entry != end;
         entry.increment(failure)) {
        ++count;
    }
    return count;
}

}  // namespace

const char* ErrorDeleteExport() { return "_ZN12cPelkitError6DeleteEv"; }

uint32_t CountHandles() { return CountEntries("/proc/self/fd"); }

uint32_t CountThreads() { return CountEntries("/proc/self/task"); }

std::optional<uint64_t> CountHeapBytes() {
    const auto used = [] {
        const struct mallinfo2 info = mallinfo2();
        return info.uordblks + info.hblkhd;
    };
    // Another allocator in this one's place, a sanitizer's for example, shows nothing.
    const uint64_t before = used();
    void* volatile const probe = std::malloc(10000);
    const bool counts = used() > before;
    std::free(probe);
    return counts ? std::optional<uint64_t>(before) : std::nullopt;
}

}  // namespace Korr::Plim::Trace::Tracehost::Validation
