#include "tracehost/capture_export.h"

#include <array>
#include <cstdio>
#include <filesystem>

#include "source_utilities/visible_text.h"
#include "tracehost/errors.h"
#include "tracehost/file_access.h"
#include "tracehost/human_numbers.h"
#include "tracehost/loss_text.h"
#include "tracehost/place_times.h"

namespace Korr::Plim::Trace::Tracehost {

using Swo::PacketKind;

namespace {

/// Hands the packets that are wanted to a writer, with offsets that count on from capture to capture.
class WantedPackets final : public Swo::PacketReceiver {
  public:
    WantedPackets(Exports::CaptureWriter& target, const PacketFilter& wanted, const Capture& capture)
        : writer(target), filter(wanted), scale(capture.scale), base(capture.base) {}
    void OnPacket(const Swo::Packet& packet, const Swo::PacketTime& time) override {
        Swo::Packet moved = packet;
        moved.offset += base;
        if (!filter.IsInside(moved, time, scale)) return writer.Pass(moved);
        ++inside;
        if (!filter.IsChosen(moved)) return;
        ++chosen[static_cast<std::size_t>(moved.kind)];
        writer.OnPacket(moved, time);
    }
    void OnPackets(std::span<const Swo::Packet> packets, const Swo::PacketTime& time) override {
        for (const Swo::Packet& packet : packets) OnPacket(packet, time);
    }
    uint64_t Inside() const { return inside; }
    uint64_t Chosen(Swo::PacketKind kind) const { return chosen[static_cast<std::size_t>(kind)]; }

  private:
    uint64_t inside = 0;  ///< packets between "from" and "to"
    std::array<uint64_t, Swo::kPacketKinds> chosen{};
    Exports::CaptureWriter& writer;
    const PacketFilter& filter;
    Exports::TimeScale scale;
    uint64_t base;
};

/// An output that is empty though the capture is not.
void TellAbsence(const ExportRequest& request, const Capture& capture, const WantedPackets& packets,
                 uint64_t bytes) {
    if (packets.Inside() == 0 && (request.filter.from || request.filter.to)) {
        return TellNothingBetween(capture, bytes);
    }
    const char* told = nullptr;
    if (request.matter == ExportMatter::Text && packets.Chosen(PacketKind::Stimulus) == 0) {
        told = "these stimulus ports said nothing; \"tracehost report\" tells which did";
    }
    const uint64_t samples = packets.Chosen(PacketKind::PcSample) + packets.Chosen(PacketKind::PcSleep) +
                             packets.Chosen(PacketKind::PcProhibited);
    if (request.matter == ExportMatter::Samples && samples == 0) {
        told = "no PC samples came: there is nothing to count";
    }
    if (told != nullptr) std::fprintf(stderr, "%s: %s\n", KORR_PLIM::Visible(capture.name).Text(), told);
}

Exports::CaptureFacts FactsOf(const ExportRequest& request, const Capture& capture) {
    Exports::CaptureFacts facts;
    facts.name = capture.name;
    facts.scale = capture.scale;
    facts.symbols = request.symbols;
    facts.ports = request.ports;
    facts.base = capture.base;
    const PlaceTimes places(capture.sheet, capture.baud);
    if (places.Known() == PlaceTimes::Kind::None) return facts;
    facts.placeTime = [places](uint64_t offset) { return places.Nanoseconds(offset); };
    facts.arrival = places.Known() == PlaceTimes::Kind::Arrival;
    facts.placeExplained = places.Explained();
    return facts;
}

}  // namespace

void RequireClock(const PacketFilter& filter, const Capture& capture) {
    if (!filter.NeedsTime() || capture.scale.clockHz > 0) return;
    throw UsageError("a time needs the trace clock, which no recording sheet tells: give --clock");
}

void KeepApart(const std::string& input, const std::string& output, bool replace) {
    if (input == "-") return;
    std::error_code failure;
    // A pipe is opened once, by who reads it, and written into whether or not files are replaced.
    const bool pipe = std::filesystem::is_fifo(input, failure);
    if (!pipe) const FileSource readable(input);
    if (!(replace || pipe) || output == "-") return;
    const bool same = pipe ? FileIdentity(input) == FileIdentity(output)
                           : std::filesystem::equivalent(input, output, failure);
    if (same) throw UsageError("\"" + output + "\" is the file that is read: give another name");
}

void RefuseSecond(const CaptureRequest& request, bool hasOne, const char* onlyOne) {
    if (!hasOne) return;
    throw UsageError("\"" + request.file + "\" holds several captures, and " + onlyOne +
                     " one: the first is written; --section gives another");
}

int TellLosses(const Capture& capture, Swo::CaptureAnalysis& analysis, FailOn failOn) {
    Swo::SignalFeatures features = analysis.Features();
    AddHostKnowledge(capture, analysis, features);
    const Swo::SignalVerdict verdict = Swo::Diagnose(features).verdict;
    const bool usable = IsUsable(features, verdict);
    const auto& totals = analysis.Losses().Totals();
    if (!usable) {
        std::fprintf(stderr, "%s: nothing usable (%s); \"tracehost diagnose\" tells more\n",
                     KORR_PLIM::Visible(capture.name).Text(),
                     std::string(Swo::SignalVerdictName(verdict)).c_str());
    } else if (totals.lostOnTheWay + totals.lostInTarget > 0) {
        std::fprintf(stderr, "%s: lost: %s; \"tracehost report\" tells where\n",
                     KORR_PLIM::Visible(capture.name).Text(), SummariseLosses(totals).c_str());
    }
    return StatusOf(totals, usable, failOn);
}

void TellNothingBetween(const Capture& capture, uint64_t bytes) {
    std::fprintf(stderr, "%s: nothing lies between --from and --to: the capture has %s bytes\n",
                 KORR_PLIM::Visible(capture.name).Text(), FormatCount(bytes).c_str());
}

int ExportCaptures(const ExportRequest& request, Exports::CaptureWriter& writer, const ExportHooks& hooks) {
    int status = kDone;
    bool hasOne = false;
    ForEachCapture(request.capture, [&](Capture& capture) {
        if (request.isSurvey && hasOne) return;
        if (hasOne && request.onlyOne != nullptr) {
            writer.Finish();
            RefuseSecond(request.capture, hasOne, request.onlyOne);
        }
        hasOne = true;
        RequireClock(request.filter, capture);
        WantedPackets packets(writer, request.filter, capture);
        capture.options.packets = &packets;
        const Exports::CaptureFacts facts = FactsOf(request, capture);
        Swo::CaptureAnalysis analysis(capture.options);
        writer.Begin(facts);
        capture.Read([&](std::span<const uint8_t> bytes) {
            analysis.Feed(bytes);
            hooks.piece();
        });
        analysis.Finish();
        if (!request.isSurvey) {
            status = WorseStatus(status, TellLosses(capture, analysis, request.capture.failOn));
            if (analysis.Bytes() > 0) TellAbsence(request, capture, packets, analysis.Bytes());
        }
        writer.End(analysis.Losses());
        hooks.finish(capture);
    });
    writer.Finish();
    return status;
}

}  // namespace Korr::Plim::Trace::Tracehost
