#include "trace/capture_analysis.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "trace/period_gaps.h"

namespace Korr::Plim::Trace::Swo {

namespace {

constexpr size_t kBlock = 65536;
constexpr double kFramesFit = 0.95;
constexpr unsigned kMostStreams = 8;  // of a target; wrong frames show more
constexpr size_t kHistory = 16384;    // bytes before the newest block: packets may be held back that long

/// The last bytes of a capture, for the first bytes of ledger entries.
class RecentBytes {
  public:
    RecentBytes() : bytes(kHistory + kBlock) {}
    void Add(std::span<const uint8_t> block) {
        if (size + block.size() > bytes.size()) {
            const size_t kept = std::min(size, kHistory);
            std::memmove(bytes.data(), bytes.data() + size - kept, kept);
            start += size - kept;
            size = kept;
        }
        std::memcpy(bytes.data() + size, block.data(), block.size());
        size += block.size();
    }
    /// Fills in what stands at an entry, when it is still there.
    void Show(LedgerEntry& entry) const {
        if (entry.offset < start || entry.offset >= start + size) return;
        const auto place = static_cast<size_t>(entry.offset - start);
        const size_t count = std::min(entry.bytes.size(), size - place);
        std::memcpy(entry.bytes.data(), bytes.data() + place, count);
        entry.byteCount = static_cast<uint8_t>(count);
    }

  private:
    std::vector<uint8_t> bytes;
    uint64_t start = 0;
    size_t size = 0;
};

/// What the beginning of a capture shows: its first kHead bytes, and when synchronisation is waited for,
/// those from there on.
struct HeadCounts {
    bool waiting = false;  ///< for the first synchronisation packet: what comes before it is not looked at
    uint64_t end = CaptureAnalysis::kHead;  ///< offset from which on nothing is looked at
    ByteCounts values{};
    uint64_t bytes = 0;  ///< of the stream, in packets of any kind
    uint64_t good = 0;   ///< of them, in assigned packets
    uint64_t packets = 0;
    uint64_t syncs = 0;
    uint64_t runOffset = 0;  ///< of the stretch without a packet that is being read
    uint64_t runLength = 0;
    uint64_t longestOffset = 0;
    uint64_t longestLength = 0;

    void OnPacket(Packet packet) {
        if (waiting) {
            if (packet.kind != PacketKind::Sync) return;
            waiting = false;
            end = packet.offset + CaptureAnalysis::kHead;
        }
        bytes += packet.length;
        if (!IsAssigned(packet.kind)) {
            if (IsDamage(packet.kind)) OnDamage(packet);
            return;
        }
        good += packet.length;
        ++packets;
        if (packet.kind == PacketKind::Sync) ++syncs;
        runLength = 0;
    }
    void OnDamage(const Packet& packet) {
        if (runLength == 0) runOffset = packet.offset;
        runLength += packet.length;
        if (runLength <= longestLength) return;
        longestLength = runLength;
        longestOffset = runOffset;
    }
};

}  // namespace

class CaptureAnalysis::Work {
  public:
    explicit Work(const AnalysisOptions& wanted)
        : options(wanted),
          ledger({wanted.counterPort, wanted.waitForSync}),
          timer(*this, TraceClock(wanted.prescale)),
          decoder(*this, CaptureOptions{wanted.framing, ItmOptions{!wanted.waitForSync}}) {
        head.waiting = wanted.waitForSync;
    }

    /// From the decoder.
    [[gnu::always_inline]] void OnPacket(const Packet& packet) {
        ++decoded;
        if (options.text != nullptr && packet.kind == PacketKind::Stimulus &&
            options.textPorts[packet.source]) {
            const TextBytes text = TextOf(packet);
            options.text->Write(static_cast<uint8_t>(packet.source), text.bytes.data(), text.count);
        }
        if (packet.offset < head.end || head.waiting) head.OnPacket(packet);
        timer.OnPacket(packet);
    }
    /// From the timer.
    void OnPacket(const Packet& packet, const PacketTime& time) {
        Count(packet, time);
        ledger.OnPacket(packet, time);
        if (const uint64_t missing = periods.Take(packet, time)) ledger.OnPeriodGap(packet, time, missing);
        if (packet.kind == PacketKind::LocalTime) OnLocalTime(packet, time);
        if (options.packets != nullptr) options.packets->OnPacket(packet, time);
    }

    void OnState(const CaptureState& state) {
        if (options.states != nullptr) options.states->OnState({state, timer.State(), decoded});
    }
    void OnFrameStep(const FrameStep& step) { ledger.OnFrameStep(step.from, step.to, step.phase); }

    void Feed(std::span<const uint8_t> bytes) {
        while (!bytes.empty()) {
            const auto block = bytes.first(std::min(bytes.size(), kBlock));
            recent.Add(block);
            for (size_t i = 0; i < block.size() && fed + i < kHead; ++i) ++head.values[block[i]];
            fed += block.size();
            decoder.Feed(block);
            ShowEntries(false);
            bytes = bytes.subspan(block.size());
        }
    }
    void Finish() {
        decoder.Finish();
        timer.Flush();
        ShowEntries(true);
        ledger.Finish();
    }
    SignalFeatures Features() const {
        SignalFeatures features;
        features.line = MeasureLine(head.values);
        features.validity =
            head.bytes == 0 ? 0 : static_cast<double>(head.good) / static_cast<double>(head.bytes);
        features.packets = head.packets;
        features.syncs = head.syncs;
        features.stretchOffset = head.longestOffset;
        features.stretchLength = head.longestLength;
        const Framing& framing = decoder.Found();
        features.framed = framing.framed;
        features.phaseScore = framing.alignment.best.frames;
        features.framesWithoutItm = !framing.framed && framing.alignment.bytes > 0 &&
                                    framing.alignment.best.frames >= kFramesFit &&
                                    framing.alignment.best.streams <= kMostStreams;
        return features;
    }

    void Decide() {
        decoder.Decide();
        ShowEntries(false);
    }
    void Idle() {
        Decide();
        if (!timer.Timed()) timer.Flush();
    }
    void WantState() { decoder.WantState(); }
    const CaptureDecoder<Work>& Decoder() const { return decoder; }

    AnalysisOptions options;
    Ledger ledger;
    CaptureCounts counts;
    uint64_t fed = 0;

  private:
    /// Without branches on the packet's kind, which nobody can foresee.
    void Count(const Packet& packet, const PacketTime& time) {
        const auto kind = static_cast<size_t>(packet.kind);
        ++counts.packets[kind];
        counts.bytes[kind] += packet.length;
        ++counts.qualities[static_cast<size_t>(time.quality)];
        const bool stimulus = packet.kind == PacketKind::Stimulus;
        counts.portPackets[packet.source & 0xFF] += stimulus ? 1 : 0;
        counts.portBytes[packet.source & 0xFF] += stimulus ? packet.size : 0;
        const bool entered = packet.kind == PacketKind::Exception && (packet.flags & kKindFlags) == kEntered;
        counts.exceptionsEntered[packet.source & 0x1FF] += entered ? 1 : 0;
        if (packet.kind == PacketKind::Sync && !counts.firstSync) counts.firstSync = packet.offset;
    }
    void OnLocalTime(const Packet& packet, const PacketTime& time) {
        if (!timed) counts.firstTicks = time.ticks;
        timed = true;
        counts.lastTicks = time.ticks;
        if (timer.Clock().Missed() > 0) ledger.OnGlobalGap(packet, time, timer.Clock().Missed());
    }
    /// \param last no more bytes come
    void ShowEntries(bool last) {
        auto& entries = ledger.Entries();
        for (; shown < entries.size(); ++shown) {
            LedgerEntry& entry = entries[shown];
            if (!last && entry.offset + entry.bytes.size() > fed) return;
            recent.Show(entry);
        }
    }

    RecentBytes recent;
    HeadCounts head;
    PeriodGaps periods;
    PacketTimer<Work> timer;
    CaptureDecoder<Work> decoder;
    uint64_t decoded = 0;  ///< packets
    size_t shown = 0;      ///< ledger entries that have their bytes
    bool timed = false;
};

CaptureAnalysis::CaptureAnalysis(const AnalysisOptions& options) : work(std::make_unique<Work>(options)) {}
CaptureAnalysis::~CaptureAnalysis() = default;

void CaptureAnalysis::Feed(std::span<const uint8_t> bytes) { work->Feed(bytes); }
void CaptureAnalysis::Decide() { work->Decide(); }
void CaptureAnalysis::Idle() { work->Idle(); }
void CaptureAnalysis::WantState() { work->WantState(); }
bool CaptureAnalysis::FramingIsKnown() const { return work->Decoder().Decided(); }
const KnownPackets& CaptureAnalysis::Known() const { return work->Decoder().Known(); }
uint64_t CaptureAnalysis::FramesUpTo() const {
    const TpiuDeframer* const deframer = work->Decoder().Deframer();
    return deframer == nullptr ? 0 : deframer->Offset();
}
const Framing& CaptureAnalysis::FramingFound() const { return work->Decoder().Found(); }
const std::array<uint64_t, kStreams>* CaptureAnalysis::BytesOfStreams() const {
    const TpiuDeframer* const deframer = work->Decoder().Deframer();
    return deframer == nullptr ? nullptr : &deframer->BytesOf();
}
void CaptureAnalysis::Finish() { work->Finish(); }
uint64_t CaptureAnalysis::Bytes() const { return work->fed; }
const Ledger& CaptureAnalysis::Losses() const { return work->ledger; }
Ledger& CaptureAnalysis::Losses() { return work->ledger; }
const CaptureCounts& CaptureAnalysis::Counts() const { return work->counts; }
SignalFeatures CaptureAnalysis::Features() const { return work->Features(); }

}  // namespace Korr::Plim::Trace::Swo
