#include "network/local_socket.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

namespace Korr::Plim::Trace::Network {

namespace {

constexpr int kKind = SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC;
constexpr int kWaiting = 64;  // connections that nobody has accepted yet

sockaddr_in LocalAddress(uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

/// Closes a socket that cannot be used and keeps the reason.
SocketHandle GiveUp(int socket) {
    const int why = errno;
    if (socket >= 0) ::close(socket);
    errno = why;
    return kNoSocket;
}

bool WaitFor(SocketHandle socket, short events, std::chrono::milliseconds most) {
    pollfd wanted{static_cast<int>(socket), events, 0};
    return ::poll(&wanted, 1, static_cast<int>(most.count())) > 0;
}

std::ptrdiff_t Result(ssize_t count) {
    if (count >= 0) return count;
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR ? kLater : kBroken;
}

}  // namespace

SocketHandle Listen(uint16_t port, uint16_t& taken) {
    const int socket = ::socket(AF_INET, kKind, 0);
    if (socket < 0) return GiveUp(socket);
    // A port whose last connections have only just ended can be taken again; one that is listened at cannot.
    const int yes = 1;
    sockaddr_in address = LocalAddress(port);
    socklen_t size = sizeof address;
    auto* const name = reinterpret_cast<sockaddr*>(&address);
    const bool done = ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) == 0 &&
                      ::bind(socket, name, size) == 0 && ::listen(socket, kWaiting) == 0 &&
                      ::getsockname(socket, name, &size) == 0;
    if (!done) return GiveUp(socket);
    taken = ntohs(address.sin_port);
    return socket;
}

SocketHandle Accept(SocketHandle listener) {
    const int socket = ::accept4(static_cast<int>(listener), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    return socket >= 0 ? socket : kNoSocket;
}

bool WaitUntilReadable(SocketHandle socket, std::chrono::milliseconds most) {
    return WaitFor(socket, POLLIN, most);
}

bool WaitUntilWritable(SocketHandle socket, std::chrono::milliseconds most) {
    return WaitFor(socket, POLLOUT, most);
}

std::ptrdiff_t Receive(SocketHandle socket, void* buffer, std::size_t size) {
    return Result(::recv(static_cast<int>(socket), buffer, size, 0));
}

std::ptrdiff_t Send(SocketHandle socket, const void* bytes, std::size_t size) {
    return Result(::send(static_cast<int>(socket), bytes, size, MSG_NOSIGNAL));
}

void FinishSending(SocketHandle socket) { ::shutdown(static_cast<int>(socket), SHUT_WR); }

void CloseSocket(SocketHandle socket) { ::close(static_cast<int>(socket)); }

void ResetSocket(SocketHandle socket) {
    const linger atOnce{1, 0};
    ::setsockopt(static_cast<int>(socket), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    CloseSocket(socket);
}

uint32_t LastNetworkError() { return static_cast<uint32_t>(errno); }

}  // namespace Korr::Plim::Trace::Network
