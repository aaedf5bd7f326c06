#include "tracehost/log_space.h"

#include <fcntl.h>
#include <linux/falloc.h>
#include <unistd.h>

namespace Korr::Plim::Trace::Tracehost {

bool ForgetBeginning(const std::string& file, uint64_t bytes) {
    const int descriptor = ::open(file.c_str(), O_WRONLY | O_NOFOLLOW | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) return false;
    const int mode = FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE;
    const bool done = ::fallocate(descriptor, mode, 0, static_cast<off_t>(bytes)) == 0;
    ::close(descriptor);
    return done;
}

}  // namespace Korr::Plim::Trace::Tracehost
