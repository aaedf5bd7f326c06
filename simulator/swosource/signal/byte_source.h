#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>

namespace Korr::Plim::Trace::Simulator {

/// What a target sends on its pin, byte by byte.
class ByteSource {
  public:
    virtual ~ByteSource() = default;
    /// Fills `buffer` with the next bytes. \return how many; fewer than `count` when the source has ended
    virtual size_t Read(uint8_t* buffer, size_t count) = 0;
    /// From now on a byte lasts this many trace clocks on the wire; a source that tells the time goes by it.
    virtual void SetByteTime(uint32_t /*traceClocks*/) {}
    /// What has been sent so far, for the report.
    virtual nlohmann::ordered_json Content() const = 0;
};

}  // namespace Korr::Plim::Trace::Simulator
