#pragma once

#include <span>
#include <variant>
#include <vector>

#include "trace/capture_analysis.h"
#include "trace/frame_follower.h"

namespace Korr::Plim::Trace::Swo {

/// What a CaptureFront gives of one piece of a capture, kept in its order for whoever takes it later. Memory
/// grows to what the largest piece needed, and stays.
class PacketBatch {
  public:
    /// \param bytes kept by reference
    void Begin(std::span<const uint8_t> bytes) {
        piece = bytes;
        packets.clear();
        runs.clear();
        asides.clear();
    }
    void OnPackets(std::span<const Packet> more, const PacketTime& time, uint64_t missed) {
        packets.insert(packets.end(), more.begin(), more.end());
        if (GoesOn(time, missed)) {
            runs.back().packets += more.size();
        } else {
            runs.push_back({more.size(), time, missed});
        }
        open = more.back().kind != PacketKind::LocalTime;
    }
    void OnState(const AnalysisState& state) { asides.push_back({runs.size(), state}); }
    void OnFrameStep(const FrameStep& step) { asides.push_back({runs.size(), step}); }
    void End(const FrameProgress& progress) { frames = progress; }

    /// Gives everything to a sink like CaptureAccount, as if it came just now.
    template <class Sink>
    void GiveTo(Sink& sink) const {
        sink.Begin(piece);
        auto aside = asides.begin();
        const auto giveAsides = [&](size_t run) {
            for (; aside != asides.end() && aside->run == run; ++aside) {
                std::visit([&sink](const auto& what) { Give(sink, what); }, aside->what);
            }
        };
        const Packet* next = packets.data();
        for (size_t run = 0; run < runs.size(); ++run) {
            giveAsides(run);
            sink.OnPackets({next, runs[run].packets}, runs[run].time, runs[run].missed);
            next += runs[run].packets;
        }
        giveAsides(runs.size());
        sink.End(frames);
    }

  private:
    /// Packets of one time.
    struct Run {
        size_t packets;
        PacketTime time;
        uint64_t missed;
    };
    /// What comes in front of a run.
    struct Aside {
        size_t run;
        std::variant<AnalysisState, FrameStep> what;
    };

    /// A local timestamp is the last packet of its run.
    bool GoesOn(const PacketTime& time, uint64_t missed) const {
        return !runs.empty() && open && runs.back().time == time && runs.back().missed == missed &&
               (asides.empty() || asides.back().run < runs.size());
    }
    template <class Sink>
    static void Give(Sink& sink, const AnalysisState& state) {
        sink.OnState(state);
    }
    template <class Sink>
    static void Give(Sink& sink, const FrameStep& step) {
        sink.OnFrameStep(step);
    }

    std::span<const uint8_t> piece;
    std::vector<Packet> packets;
    std::vector<Run> runs;
    bool open = false;  ///< the last packet is no local timestamp
    std::vector<Aside> asides;
    FrameProgress frames;
};

}  // namespace Korr::Plim::Trace::Swo
