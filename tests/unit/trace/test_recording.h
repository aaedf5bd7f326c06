#pragma once

#include <algorithm>
#include <random>
#include <sstream>

#include "tests/unit/trace/itm_encoder.h"
#include "tests/unit/trace/tpiu_encoder.h"
#include "trace/recording_index.h"
#include "trace/window_events.h"

namespace Korr::Plim::Trace::Swo {

class Memory : public CaptureBytes {
  public:
    explicit Memory(const Bytes& content) : bytes(content) {}
    size_t ReadAt(uint64_t offset, std::span<uint8_t> buffer) const override {
        const size_t count =
            offset >= bytes.size() ? 0 : std::min<size_t>(buffer.size(), bytes.size() - offset);
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(std::min<uint64_t>(offset, bytes.size())),
                    count, buffer.begin());
        return count;
    }

  private:
    const Bytes& bytes;
};

inline Bytes Harmed(Bytes bytes, unsigned seed, int times) {
    std::mt19937 random(seed);
    for (int i = 0; i < times; ++i) {
        const auto at = bytes.begin() + static_cast<std::ptrdiff_t>(5000 + random() % (bytes.size() - 6000));
        if (i % 3 == 0) {
            bytes.erase(at, at + static_cast<std::ptrdiff_t>(1 + random() % 300));
        } else if (i % 3 == 1) {
            *at = static_cast<uint8_t>(random());
        } else {
            bytes.insert(at, 1 + random() % 30, static_cast<uint8_t>(random()));
        }
    }
    return bytes;
}

/// Captures of some hundred KiB: with and without timestamps, frames and damage.
inline Bytes Capture(unsigned seed) {
    const bool framed = seed % 4 >= 2;
    Bytes bytes = FirmwareStream(seed, framed ? 60000 : 120000, seed % 2 == 0).bytes;
    if (framed) bytes = Frame(Mixed(bytes, 2, seed), {30, 60}, seed).bytes;
    return seed % 3 == 0 ? bytes : Harmed(bytes, seed, 30);
}

struct Recording {
    explicit Recording(Bytes content, IndexOptions options = {}) : bytes(std::move(content)), index(options) {
        std::mt19937 random(7);
        for (size_t at = 0; at < bytes.size();) {
            const size_t piece = std::min<size_t>(bytes.size() - at, 1 + random() % 50000);
            index.Feed(std::span(bytes).subspan(at, piece));
            at += piece;
        }
        index.Finish();
    }
    RecordingAxis Axis() const { return {{}, index.Timed()}; }

    Bytes bytes;
    RecordingIndex index;
};

/// Every packet of a capture.
struct All : PacketReceiver {
    explicit All(const Bytes& bytes) {
        AnalysisOptions options;
        options.packets = this;
        CaptureAnalysis analysis(options);
        analysis.Feed(bytes);
        analysis.Finish();
    }
    void OnPacket(const Packet& packet, const PacketTime& time) override {
        packets.push_back(packet);
        standings.push_back(placer.Take(packet.offset, time));
    }
    std::vector<Packet> packets;
    std::vector<Standing> standings;
    PacketPlacer placer;
};

/// Everything in an answer, as text.
inline std::string Text(const WindowAnswer& answer) {
    std::ostringstream text;
    text.precision(17);
    for (const WindowTrack& track : answer.tracks) {
        for (const NamedArray& array : track.arrays) {
            text << RowOf(track.track) << " " << array.name << ":";
            std::visit(
                [&](const auto& numbers) {
                    for (const auto number : numbers) text << " " << +number;
                },
                array.data);
            text << "\n";
        }
    }
    return text.str();
}

inline std::string FirstDifference(const std::string& a, const std::string& b) {
    const auto [inA, inB] = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
    if (inA == a.end() && inB == b.end()) return "";
    const auto at = static_cast<size_t>(inA - a.begin());
    const size_t line = a.rfind('\n', at) == std::string::npos ? 0 : a.rfind('\n', at) + 1;
    return "in \"" + a.substr(line, 30) + "\": \"" + a.substr(at, 60) + "\" <> \"" + b.substr(at, 60) + "\"";
}

template <class Sink>
WindowAnswer DecodeAll(const Recording& recording, const WindowFrame& frame) {
    ReplayPlan plan = recording.index.PlanFrom(0);
    plan.from.reset();
    Sink sink(frame, {}, 0);
    const Replay<Sink> replay(plan, Memory(recording.bytes), sink);
    return sink.Finish({recording.index.EndPosition(), recording.bytes.size()});
}

}  // namespace Korr::Plim::Trace::Swo
