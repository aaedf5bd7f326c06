#include "network/local_socket.h"

#include <winsock2.h>

#include <algorithm>

namespace Korr::Plim::Trace::Network {

namespace {

constexpr int kWaiting = 64;  // connections that nobody has accepted yet

/// The platform's sockets, from the first use to the end of the process.
bool Ready() {
    static const int failure = [] {
        WSADATA about{};
        return WSAStartup(MAKEWORD(2, 2), &about);
    }();
    if (failure != 0) WSASetLastError(failure);
    return failure == 0;
}

SOCKET Native(SocketHandle socket) { return static_cast<SOCKET>(socket); }

sockaddr_in LocalAddress(uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

/// Closes a socket that cannot be used and keeps the reason.
SocketHandle GiveUp(SOCKET socket) {
    const int why = WSAGetLastError();
    if (socket != INVALID_SOCKET) closesocket(socket);
    WSASetLastError(why);
    return kNoSocket;
}

bool DoNotWait(SOCKET socket) {
    u_long yes = 1;
    return ioctlsocket(socket, static_cast<long>(FIONBIO), &yes) == 0;
}

bool WaitFor(SocketHandle socket, short events, std::chrono::milliseconds most) {
    WSAPOLLFD wanted{Native(socket), events, 0};
    return WSAPoll(&wanted, 1, static_cast<int>(most.count())) > 0;
}

std::ptrdiff_t Result(int count) {
    if (count >= 0) return count;
    return WSAGetLastError() == WSAEWOULDBLOCK ? kLater : kBroken;
}

int Size(std::size_t size) { return static_cast<int>(std::min<std::size_t>(size, 1 << 30)); }

}  // namespace

SocketHandle Listen(uint16_t port, uint16_t& taken) {
    if (!Ready()) return kNoSocket;
    const SOCKET socket = WSASocketW(AF_INET, SOCK_STREAM, IPPROTO_TCP, nullptr, 0,
                                     WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
    if (socket == INVALID_SOCKET) return GiveUp(socket);
    // Nobody else takes the port while it is in use.
    const int yes = 1;
    sockaddr_in address = LocalAddress(port);
    int size = sizeof address;
    auto* const name = reinterpret_cast<sockaddr*>(&address);
    const bool done = setsockopt(socket, SOL_SOCKET, static_cast<int>(SO_EXCLUSIVEADDRUSE),
                                 reinterpret_cast<const char*>(&yes), sizeof yes) == 0 &&
                      DoNotWait(socket) && bind(socket, name, size) == 0 && listen(socket, kWaiting) == 0 &&
                      getsockname(socket, name, &size) == 0;
    if (!done) return GiveUp(socket);
    taken = ntohs(address.sin_port);
    return static_cast<SocketHandle>(socket);
}

SocketHandle Accept(SocketHandle listener) {
    const SOCKET socket = accept(Native(listener), nullptr, nullptr);
    if (socket == INVALID_SOCKET) return kNoSocket;
    // What it takes from the listener is that it does not wait, not who inherits it.
    SetHandleInformation(reinterpret_cast<HANDLE>(socket), HANDLE_FLAG_INHERIT, 0);
    return DoNotWait(socket) ? static_cast<SocketHandle>(socket) : GiveUp(socket);
}

bool WaitUntilReadable(SocketHandle socket, std::chrono::milliseconds most) {
    return WaitFor(socket, POLLRDNORM, most);
}

bool WaitUntilWritable(SocketHandle socket, std::chrono::milliseconds most) {
    return WaitFor(socket, POLLWRNORM, most);
}

std::ptrdiff_t Receive(SocketHandle socket, void* buffer, std::size_t size) {
    return Result(recv(Native(socket), static_cast<char*>(buffer), Size(size), 0));
}

std::ptrdiff_t Send(SocketHandle socket, const void* bytes, std::size_t size) {
    return Result(send(Native(socket), static_cast<const char*>(bytes), Size(size), 0));
}

void FinishSending(SocketHandle socket) { shutdown(Native(socket), SD_SEND); }

void CloseSocket(SocketHandle socket) { closesocket(Native(socket)); }

void ResetSocket(SocketHandle socket) {
    const linger atOnce{1, 0};
    setsockopt(Native(socket), SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&atOnce), sizeof atOnce);
    CloseSocket(socket);
}

uint32_t LastNetworkError() { return static_cast<uint32_t>(WSAGetLastError()); }

}  // namespace Korr::Plim::Trace::Network
