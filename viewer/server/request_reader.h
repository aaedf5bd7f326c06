#pragma once

#include <chrono>
#include <string>

#include "viewer/server/byte_channel.h"

namespace Korr::Plim::Trace::Viewer {

/// What of a request's head counts.
struct RequestHead {
    bool gone = false;  ///< there is no request: the far end asks nothing more
    int refusal = 0;    ///< HTTP status of a request that is none; 0: it is one
    std::string why;    ///< of a refusal
    std::string line;   ///< "GET /path?query HTTP/1.1", of visible ASCII characters
    std::string host;
    std::string origin;   ///< empty: the header is not there
    bool isHead = false;  ///< its method is HEAD, also of one that is refused: it is answered without a body
    bool close = true;    ///< the connection ends with this request
};

/// Reads the heads of HTTP requests, within limits that hold whatever comes. There are GET, HEAD and
/// POST, and no bodies.
class RequestReader {
  public:
    static constexpr std::size_t kLongestLine = 8000;   ///< bytes of the request line; the library takes 8190
    static constexpr std::size_t kLongestHead = 16384;  ///< bytes of all
    static constexpr std::size_t kMostHeaders = 64;
    static constexpr auto kIdle = std::chrono::seconds(5);      ///< that a kept connection may be silent
    static constexpr auto kSlowest = std::chrono::seconds(10);  ///< from the first byte of a head to its last

    explicit RequestReader(ByteChannel& from) : channel(from) {}
    /// The next request. A connection whose first one does not come in time is gone, too.
    RequestHead Read();

  private:
    bool Fill(RequestHead& head);

    ByteChannel& channel;
    std::string pending;  ///< bytes that came and were not used yet
};

}  // namespace Korr::Plim::Trace::Viewer
