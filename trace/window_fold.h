#pragma once

#include "trace/line_splitter.h"
#include "trace/window_columns.h"

namespace Korr::Plim::Trace::Swo {

/// Folds every event of a window into columns: for windows that hold more events than anybody wants to see
/// one by one. Takes packets as WindowEvents does.
class WindowFold {
  public:
    WindowFold(const WindowFrame& window, const ExceptionStack& stack, uint64_t position)
        : frame(window), columns(window), exceptions(*this, stack, position) {}
    void BeginText(uint8_t port, uint16_t open) { lines[port] = LineSplitter(open); }

    bool OnPacket(const Packet& packet, const PacketTime& time, const Standing& standing);
    WindowAnswer Finish(uint64_t end);

    // From TellTracks and ExceptionRuns.
    void OnPort(const Packet& packet);
    void OnValue(const Track& track, const Packet& packet);
    void OnCount(const Track& track);
    void OnPc(const Packet& packet);
    void OnRun(const ExceptionRun& run);
    void OnTop(uint16_t number, uint16_t depth, uint64_t begin, uint64_t end);
    void OnEntry(uint16_t number);

  private:
    bool Wants(const Track& track) const { return frame.wanted[RowOf(track)]; }

    const WindowFrame& frame;
    WindowColumns columns;
    std::array<LineSplitter, kPorts> lines;
    ExceptionRuns<WindowFold> exceptions;
    bool counts = false;  ///< the packet at hand is in the window, and not suspect
    bool inside = false;
    double now = 0;
};

}  // namespace Korr::Plim::Trace::Swo
