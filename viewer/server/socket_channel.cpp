#include "viewer/server/socket_channel.h"

#include <algorithm>
#include <array>

namespace Korr::Plim::Trace::Viewer {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr auto kLook = milliseconds(50);  // for the server's end

milliseconds Until(Clock::time_point end) {
    const auto left = std::chrono::ceil<milliseconds>(end - Clock::now());
    return std::clamp<milliseconds>(left, milliseconds(0), kLook);
}

}  // namespace

std::ptrdiff_t SocketChannel::Read(char* buffer, std::size_t size, milliseconds most) {
    const auto end = Clock::now() + most;
    while (!ending) {
        const std::ptrdiff_t count = Network::Receive(socket.Handle(), buffer, size);
        if (count != Network::kLater) return count;
        if (Clock::now() >= end) return Network::kLater;
        Network::WaitUntilReadable(socket.Handle(), Until(end));
    }
    return Network::kBroken;
}

bool SocketChannel::Write(const char* bytes, std::size_t size) {
    const auto end = Clock::now() + kLongestWrite;
    auto patience = Clock::now() + kMostPatience;
    while (size > 0 && !ending) {
        const std::ptrdiff_t count = Network::Send(socket.Handle(), bytes, size);
        if (count == Network::kBroken) return false;
        const auto now = Clock::now();
        if (now >= end) return false;
        if (count == Network::kLater) {
            if (now >= patience) return false;
            Network::WaitUntilWritable(socket.Handle(), Until(patience));
            continue;
        }
        patience = now + kMostPatience;
        bytes += count;
        size -= static_cast<std::size_t>(count);
    }
    return size == 0;
}

bool SocketChannel::Linger(milliseconds time) {
    std::array<char, 4096> passedOver;
    const auto end = Clock::now() + time;
    do {
        const std::ptrdiff_t count = Read(passedOver.data(), passedOver.size(), Until(end));
        if (count == Network::kEnded || count == Network::kBroken) return false;
    } while (Clock::now() < end);
    return true;
}

void SocketChannel::Finish() { Network::FinishSending(socket.Handle()); }

}  // namespace Korr::Plim::Trace::Viewer
