#pragma once

#include <cerrno>

namespace Korr::Plim::Trace::Tarnel {

/// The answer of a system call, which is repeated as long as signals interrupt it. Not for close: an
/// interrupted one has closed.
template <typename Call>
auto Uninterrupted(Call call) {
    auto answer = call();
    while (answer < 0 && errno == EINTR) answer = call();
    return answer;
}

}  // namespace Korr::Plim::Trace::Tarnel
