#include "tracehost/output_stream.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace Korr::Plim::Trace::Tracehost {

bool IsStandardOutputName(const std::string& name) {
    return name == "-" || name == "/dev/stdout" || name == "/dev/fd/1" || name == "/proc/self/fd/1";
}

bool IsDeviceName(const std::string&) { return false; }

/// Only the opening must not wait; writes wait for their reader.
std::FILE* OpenStream(const std::string& name) {
    const int file = ::open(name.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (file < 0) return nullptr;
    const int flags = ::fcntl(file, F_GETFL);
    const bool waits = flags >= 0 && ::fcntl(file, F_SETFL, flags & ~O_NONBLOCK) >= 0;
    std::FILE* const stream = waits ? ::fdopen(file, "wb") : nullptr;
    if (stream != nullptr) return stream;
    const int reason = errno;
    ::close(file);
    errno = reason;
    return nullptr;
}

bool IsClosedPipe(int error) { return error == EPIPE; }

}  // namespace Korr::Plim::Trace::Tracehost
