#include <sys/random.h>

#include <cerrno>

#include "viewer/server/access_token.h"

namespace Korr::Plim::Trace::Viewer {

bool FillWithSecretBytes(std::span<uint8_t> buffer) {
    while (!buffer.empty()) {
        const ssize_t count = getrandom(buffer.data(), buffer.size(), 0);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        buffer = buffer.subspan(static_cast<std::size_t>(count));
    }
    return true;
}

}  // namespace Korr::Plim::Trace::Viewer
