#pragma once

#include <atomic>

#include "network/local_socket.h"
#include "viewer/server/byte_channel.h"

namespace Korr::Plim::Trace::Viewer {

/// A connection of this machine. Once the server ends nothing is moved any more.
class SocketChannel : public ByteChannel {
  public:
    /// How long the far end may take nothing of what is written.
    static constexpr auto kMostPatience = std::chrono::seconds(10);
    /// How long it may take for all of one Write.
    static constexpr auto kLongestWrite = std::chrono::seconds(60);

    /// \param serverEnds outlives the channel
    SocketChannel(Network::Socket connection, const std::atomic<bool>& serverEnds)
        : socket(std::move(connection)), ending(serverEnds) {}
    std::ptrdiff_t Read(char* buffer, std::size_t size, std::chrono::milliseconds most) override;
    bool Write(const char* bytes, std::size_t size) override;
    bool Linger(std::chrono::milliseconds time) override;
    /// Nothing more is written. What was is still delivered when the far end reads on.
    void Finish();

  private:
    Network::Socket socket;
    const std::atomic<bool>& ending;
};

}  // namespace Korr::Plim::Trace::Viewer
