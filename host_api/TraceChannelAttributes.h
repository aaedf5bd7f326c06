#pragma once

#include <cstdint>

namespace Korr::Plim::Trace {

/// What GetAttribute fills. Owned by the caller; both texts stay the callee's.
struct TraceAttribute {
    const char* name = nullptr;   ///< the name that was asked for, the caller's own pointer
    uint32_t type = 0;            ///< the host's type code
    const char* value = nullptr;  ///< valid until the next GetAttribute on the same driver
};

/// Named properties of a trace channel.
class TraceChannelAttributes {
  public:
    virtual ~TraceChannelAttributes() = default;
    /// Answers a named property; unknown names give type 1, "0". [host thread]
    /// \throws cPelkitError for a null name
    virtual void GetAttribute(const char* name, TraceAttribute& answer) = 0;
};

}  // namespace Korr::Plim::Trace
