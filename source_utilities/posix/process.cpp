#include "source_utilities/process.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <limits>

namespace KORR_PLIM::platform {

uint32_t CurrentProcessId() { return static_cast<uint32_t>(getpid()); }

bool ProcessExists(uint32_t processId) {
    // 0 and negative ids stand for groups of processes.
    if (processId == 0 || processId > static_cast<uint32_t>(std::numeric_limits<pid_t>::max())) {
        return false;
    }
    return kill(static_cast<pid_t>(processId), 0) == 0 || errno == EPERM;
}

}  // namespace KORR_PLIM::platform
