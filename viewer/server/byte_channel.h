#pragma once

#include <chrono>
#include <cstddef>

namespace Korr::Plim::Trace::Viewer {

/// A connection with a program that asks. Used by one thread.
class ByteChannel {
  public:
    virtual ~ByteChannel() = default;
    /// What has come, waited for at most so long. \return the count of bytes, or as Network::Receive
    virtual std::ptrdiff_t Read(char* buffer, std::size_t size, std::chrono::milliseconds most) = 0;
    /// Gives all bytes on. \return false when the far end takes them too slowly, is gone, or the server ends
    virtual bool Write(const char* bytes, std::size_t size) = 0;
    /// Waits, and passes over what comes. \return whether the far end is still there and the server goes on
    virtual bool Linger(std::chrono::milliseconds time) = 0;
};

}  // namespace Korr::Plim::Trace::Viewer
