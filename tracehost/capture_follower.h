#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "host_api/CChannelDriver.h"

namespace Korr::Plim::Trace::Tracehost {

/// Sees the bytes of a capture while they come.
class CaptureObserver {
  public:
    virtual ~CaptureObserver() = default;
    /// The next bytes of the capture: all of them in their order, none twice. [host thread]
    virtual void Take(std::span<const uint8_t> bytes) = 0;
};

/// Reads a growing capture back through the plug-in, for observers: at most ten times a second, in large
/// steps, and not at all while nobody observes.
class CaptureFollower {
  public:
    /// \param observer outlives the follower
    void Add(CaptureObserver& observer) { observers.push_back(&observer); }
    /// A new capture begins: its first byte is the next one.
    void Begin() { taken = 0; }
    /// A look at a running capture. The last sample may still be in the making and is left for the next look.
    /// \param seconds of the recording, never falling
    void Follow(CChannelDriver& driver, double seconds);
    /// The rest of a capture that has been stopped. \param bytes of the whole capture, without padding
    void Finish(CChannelDriver& driver, uint64_t bytes);

  private:
    void TakeUpTo(CChannelDriver& driver, uint64_t bytes);

    std::vector<CaptureObserver*> observers;
    std::vector<uint8_t> buffer;
    uint64_t taken = 0;  ///< bytes of the capture that were given on: whole samples until Finish
    double nextAt = 0;
};

}  // namespace Korr::Plim::Trace::Tracehost
