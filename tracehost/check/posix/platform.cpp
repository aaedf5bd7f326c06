#include "tracehost/check/platform.h"

#include <malloc.h>

#include <cstdlib>
#include <filesystem>

namespace Korr::Plim::Trace::Tracehost::Validation {

const char* ErrorDeleteExport() { return "_ZN12cPelkitError6DeleteEv"; }

std::optional<uint64_t> CountHandles() {
    std::error_code failure;
    uint64_t count = 0;
    for (std::filesystem::directory_iterator entry("/proc/self/fd", failure), end; !failure && entry != end;
         entry.increment(failure)) {
        ++count;
    }
    return failure ? std::nullopt : std::optional(count);
}

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
