#pragma once

#include <memory>

#include "trace/line_splitter.h"
#include "trace/window_answer.h"
#include "trace/window_bandwidth.h"

namespace Korr::Plim::Trace::Swo {

/// Collects every event of a window, out of the packets of a capture from some place before it on.
class WindowEvents {
  public:
    /// \param frame kept by reference \param stack what is active at `position`, where the packets begin
    WindowEvents(const WindowFrame& frame, const ExceptionStack& stack, uint64_t position);
    /// Text counts from a place on, where a port's line is open; see LineSplitter.
    void BeginText(uint64_t from, const std::array<uint16_t, kPorts>& open) {
        textFrom = from;
        for (size_t port = 0; port < kPorts; ++port) lines[port] = LineSplitter(open[port]);
    }

    /// \return whether packets of the window can still come
    bool OnPacket(const Packet& packet, const PacketTime& time, const Standing& standing);
    /// There are no more packets.
    WindowAnswer Finish(const WindowEnd& end);

    // From TellTracks and ExceptionRuns.
    void OnPort(const Packet& packet);
    void OnValue(const Track& track, const Packet& packet);
    void OnCount(const Track& track);
    void OnPc(const Packet& packet);
    void OnRun(const ExceptionRun& run);
    void OnTop(uint16_t, uint16_t, uint64_t, uint64_t) {}
    void OnEntry(uint16_t) {}

  private:
    struct Events {
        std::vector<double> time;
        std::vector<double> value;
        std::vector<double> offset;
        std::vector<uint8_t> flags;
        std::vector<uint32_t> start;
        std::vector<uint8_t> bytes;
    };
    struct Runs {
        std::vector<double> begin;
        std::vector<double> end;
        std::vector<double> offset;
        std::vector<uint16_t> number;
        std::vector<uint8_t> depth;
        std::vector<uint8_t> flags;
    };

    Events* EventsOf(const Track& track);
    void Add(const Track& track, double value);
    void AddText(const Packet& packet);
    void AddRun(const Track& track, const ExceptionRun& run);
    static std::vector<NamedArray> Arrays(TrackKind kind, bool text, Events&& list);
    /// In the order of their beginnings, the outer ones first.
    static std::vector<NamedArray> Arrays(TrackKind kind, const Runs& list);

    const WindowFrame& frame;
    WindowBandwidth bandwidth;
    std::array<LineSplitter, kPorts> lines;
    std::array<std::unique_ptr<Events>, kTracks> events;
    std::array<std::unique_ptr<Runs>, kExceptions + 2> runs;
    ExceptionRuns<WindowEvents> exceptions;
    bool hasText = true;  ///< the packet at hand stands behind textFrom
    uint64_t textFrom = 0;
    bool inside = false;  ///< the packet at hand is in the window
    double now = 0;       ///< its time
    uint64_t place = 0;
    uint8_t flags = 0;
};

}  // namespace Korr::Plim::Trace::Swo
