#include "tracehost/standard_output.h"

#include "tracehost/errors.h"

namespace Korr::Plim::Trace::Tracehost {

void FinishStandardOutput(std::FILE* stream) {
    const bool flushed = std::fflush(stream) == 0;
    if (flushed && std::ferror(stream) == 0) return;
    throw HostError("standard output cannot be written: is the disk full, or did its reader end?");
}

}  // namespace Korr::Plim::Trace::Tracehost
