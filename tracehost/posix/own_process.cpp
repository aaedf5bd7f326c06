#include "tracehost/own_process.h"

#include <sys/resource.h>

#include <cstdlib>
#include <filesystem>

namespace Korr::Plim::Trace::Tracehost {

std::vector<uint64_t> OwnThreads() {
    std::vector<uint64_t> threads;
    std::error_code failure;
    for (std::filesystem::directory_iterator task("/proc/self/task", failure), none; !failure && task != none;
         task.increment(failure)) {
        threads.push_back(std::strtoull(task->path().filename().c_str(), nullptr, 10));
    }
    if (failure) threads.clear();
    return threads;
}

std::optional<uint64_t> FileSizeLimit() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) return std::nullopt;
    return limit.rlim_cur;
}

}  // namespace Korr::Plim::Trace::Tracehost
