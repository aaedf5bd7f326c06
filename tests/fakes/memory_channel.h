#pragma once

#include <algorithm>
#include <string>

#include "network/local_socket.h"
#include "viewer/server/byte_channel.h"

namespace fakes {

/// A far end that has said all that it will say, and keeps what it gets.
class MemoryChannel : public Korr::Plim::Trace::Viewer::ByteChannel {
  public:
    /// \param all that it says \param atOnce bytes that come together at most
    explicit MemoryChannel(std::string all, std::size_t atOnce = 1 << 20)
        : said(std::move(all)), most(atOnce) {}

    std::ptrdiff_t Read(char* buffer, std::size_t size, std::chrono::milliseconds) override {
        const std::size_t count = std::min({size, most, said.size() - taken});
        if (count == 0) return atEnd;
        std::copy_n(said.data() + taken, count, buffer);
        taken += count;
        return static_cast<std::ptrdiff_t>(count);
    }
    bool Write(const char* bytes, std::size_t size) override {
        if (got.size() + size > room) return false;
        got.append(bytes, size);
        return true;
    }
    bool Linger(std::chrono::milliseconds) override { return --turns >= 0; }

    std::string got;
    std::size_t room = SIZE_MAX;                                ///< bytes that it takes
    std::ptrdiff_t atEnd = Korr::Plim::Trace::Network::kEnded;  ///< what reading gives when all was said
    int turns = 3;                                              ///< of a stream, until it is gone

  private:
    const std::string said;
    const std::size_t most;
    std::size_t taken = 0;
};

}  // namespace fakes
