#pragma once

#include "trace/line_splitter.h"
#include "trace/window_columns.h"

namespace Korr::Plim::Trace::Swo {

/// Folds every event of a window into columns: for windows that hold more events than anybody wants to see
/// one by one. Takes packets as WindowEvents does.
class WindowFold {
  public:
    WindowFold(const WindowFrame& window, const ExceptionStack& stack, uint64_t position)
        : frame(window),
          wantsExceptions(window.WantsExceptions()),
          columns(window),
          exceptions(*this, stack, position) {}
    /// Text counts from a place on, where a port's line is open; see LineSplitter.
    void BeginText(uint64_t from, const std::array<uint16_t, kPorts>& open) {
        textFrom = from;
        for (size_t port = 0; port < kPorts; ++port) lines[port] = LineSplitter(open[port]);
    }

    bool OnPacket(const Packet& packet, const PacketTime& time, const Standing& standing);
    WindowAnswer Finish(const WindowEnd& end);

    // From TellTracks and ExceptionRuns.
    void OnPort(const Packet& packet);
    void OnValue(const Track& track, const Packet& packet);
    void OnCount(const Track& track);
    void OnPc(const Packet& packet);
    void OnRun(const ExceptionRun& run);
    void OnTop(uint16_t number, uint16_t depth, uint64_t begin, uint64_t end);
    void OnEntry(uint16_t number);

  private:
    const WindowFrame& frame;
    const bool wantsExceptions;
    WindowColumns columns;
    std::array<LineSplitter, kPorts> lines;
    ExceptionRuns<WindowFold> exceptions;
    bool counts = false;  ///< the packet at hand is in the window, and not suspect
    bool hasText = true;  ///< the packet at hand stands behind textFrom
    uint64_t textFrom = 0;
    bool inside = false;
    double now = 0;
};

}  // namespace Korr::Plim::Trace::Swo
