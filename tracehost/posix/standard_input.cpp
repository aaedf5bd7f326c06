#include <unistd.h>

#include "tracehost/byte_source.h"
#include "uart/posix/uninterrupted.h"

namespace Korr::Plim::Trace::Tracehost {

void PrepareStandardInput() {}

std::ptrdiff_t ReadStandardInput(std::span<uint8_t> buffer) {
    return Tarnel::Uninterrupted([&] { return ::read(STDIN_FILENO, buffer.data(), buffer.size()); });
}

}  // namespace Korr::Plim::Trace::Tracehost
