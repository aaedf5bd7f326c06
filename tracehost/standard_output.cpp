#include "tracehost/standard_output.h"

#include "tracehost/errors.h"

namespace Korr::Plim::Trace::Tracehost {

void FinishStandardOutput(std::FILE* stream) {
    const bool flushed = std::fflush(stream) == 0;
    if (flushed && std::ferror(stream) == 0) return;
    const std::string text = "standard output cannot be written: is the disk full, or did its reader end?";
    if (ReaderHasEnded(stream)) throw ReaderEnded(text);
    throw HostError(text);
}

void PrintText(const std::string& text) {
    std::FILE* const output = TakeStandardOutput();
    std::fwrite(text.data(), 1, text.size(), output);
    FinishStandardOutput(output);
}

}  // namespace Korr::Plim::Trace::Tracehost
