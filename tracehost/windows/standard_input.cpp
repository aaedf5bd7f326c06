#include <fcntl.h>
#include <io.h>
#include <stdio.h>

#include <algorithm>

#include "tracehost/byte_source.h"

namespace Korr::Plim::Trace::Tracehost {

void PrepareStandardInput() { _setmode(_fileno(stdin), _O_BINARY); }

std::ptrdiff_t ReadStandardInput(std::span<uint8_t> buffer) {
    const auto most = static_cast<unsigned>(std::min<std::size_t>(buffer.size(), 1 << 20));
    return _read(_fileno(stdin), buffer.data(), most);
}

}  // namespace Korr::Plim::Trace::Tracehost
