#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace Korr::Plim::Trace::Network {

/// An opaque handle of a TCP socket on 127.0.0.1, of which no other machine can reach the far end. No
/// operation on it waits but WaitUntil..., and no child process gets it. kNoSocket is used by no platform.
using SocketHandle = std::intptr_t;
inline constexpr SocketHandle kNoSocket = -1;

/// What Receive and Send give in place of a count.
inline constexpr std::ptrdiff_t kEnded = 0;    ///< the far end sends no more; never of Send
inline constexpr std::ptrdiff_t kLater = -1;   ///< nothing can be moved now
inline constexpr std::ptrdiff_t kBroken = -2;  ///< the connection is gone, LastNetworkError says why

/// Seam: takes a port of 127.0.0.1 alone and listens there. \param port 0: any that is free
/// \param taken out: the port \return kNoSocket on failure, LastNetworkError says why
SocketHandle Listen(uint16_t port, uint16_t& taken);
/// Seam: the next connection that waits at a listening socket; kNoSocket: there is none, or it cannot be
/// taken
SocketHandle Accept(SocketHandle listener);
/// Seam: waits until reading (accepting) brings something, the end and a failure included. \return whether it
/// does
bool WaitUntilReadable(SocketHandle socket, std::chrono::milliseconds most);
/// Seam: the same for writing.
bool WaitUntilWritable(SocketHandle socket, std::chrono::milliseconds most);
/// Seam: takes what has come, at most `size` bytes, more than none. \return their count, kEnded, kLater or
/// kBroken
std::ptrdiff_t Receive(SocketHandle socket, void* buffer, std::size_t size);
/// Seam: gives bytes on, at most `size`, more than none. \return their count, kLater or kBroken
std::ptrdiff_t Send(SocketHandle socket, const void* bytes, std::size_t size);
/// Seam: tells the far end that nothing more comes; what was sent before still reaches it.
void FinishSending(SocketHandle socket);
/// Seam: gives the socket back. What was sent still reaches the far end.
void CloseSocket(SocketHandle socket);
/// Seam: gives the socket back and throws away what was not sent yet: the far end sees that the connection
/// broke, not that it ended.
void ResetSocket(SocketHandle socket);
/// Seam: the platform's number of the calling thread's last failure.
uint32_t LastNetworkError();

/// Owns a socket.
class Socket {
  public:
    explicit Socket(SocketHandle owned = kNoSocket) : handle(owned) {}
    ~Socket() { Close(); }
    Socket(Socket&& other) noexcept : handle(other.handle) { other.handle = kNoSocket; }
    Socket& operator=(Socket&& other) noexcept {
        if (this == &other) return *this;
        Close();
        handle = other.handle;
        other.handle = kNoSocket;
        return *this;
    }

    SocketHandle Handle() const { return handle; }
    explicit operator bool() const { return handle != kNoSocket; }
    void Close() {
        if (handle != kNoSocket) CloseSocket(handle);
        handle = kNoSocket;
    }
    void Reset() {
        if (handle != kNoSocket) ResetSocket(handle);
        handle = kNoSocket;
    }

  private:
    SocketHandle handle;
};

}  // namespace Korr::Plim::Trace::Network
