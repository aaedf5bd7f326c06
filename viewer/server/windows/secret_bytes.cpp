#include <windows.h>
// Behind it.
#include <ntsecapi.h>

#include "viewer/server/access_token.h"

namespace Korr::Plim::Trace::Viewer {

bool FillWithSecretBytes(std::span<uint8_t> buffer) {
    return RtlGenRandom(buffer.data(), static_cast<ULONG>(buffer.size())) != FALSE;
}

}  // namespace Korr::Plim::Trace::Viewer
