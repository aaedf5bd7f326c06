#include "source_utilities/process.h"

#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "source_utilities/file_stream.h"

namespace KORR_PLIM::platform {
namespace {

/// What is in the status file of a task: the process that it belongs to, and whether it has ended and only
/// waits to be asked for its result.
struct TaskStatus {
    unsigned long process = 0;
    bool ended = true;
};

TaskStatus ReadStatus(std::FILE* stream) {
    TaskStatus status;
    std::array<char, 256> line{};
    while (std::fgets(line.data(), static_cast<int>(line.size()), stream) != nullptr) {
        if (std::strncmp(line.data(), "State:\t", 7) == 0) {
            status.ended = std::strchr("ZX", line[7]) != nullptr;
        }
        if (std::strncmp(line.data(), "Tgid:\t", 6) == 0) {
            status.process = std::strtoul(line.data() + 6, nullptr, 10);
        }
    }
    return status;
}

}  // namespace

uint32_t CurrentProcessId() { return static_cast<uint32_t>(getpid()); }

// A signal could be sent to threads and to ended processes as well.
bool ProcessExists(uint32_t processId) {
    const FileStream stream(std::fopen(("/proc/" + std::to_string(processId) + "/status").c_str(), "re"));
    if (stream == nullptr) return false;
    const TaskStatus status = ReadStatus(stream.get());
    return processId != 0 && status.process == processId && !status.ended;
}

}  // namespace KORR_PLIM::platform
