#include "trace/capture_analysis.h"

#include <algorithm>

#include "trace/capture_account.h"
#include "trace/capture_front.h"
#include "trace/packet_batch.h"
#include "trace/relay.h"

namespace Korr::Plim::Trace::Swo {

namespace {

constexpr size_t kBatches = 32;

/// Where a CaptureFront gives what it finds: to the account at once, or to a batch for later.
class Handover {
  public:
    explicit Handover(CaptureAccount& target) : account(target) {}
    void OnPackets(std::span<const Packet> packets, const PacketTime& time, uint64_t missed) {
        if (batch != nullptr) return batch->OnPackets(packets, time, missed);
        account.OnPackets(packets, time, missed);
    }
    void OnState(const AnalysisState& state) {
        if (batch != nullptr) return batch->OnState(state);
        account.OnState(state);
    }
    void OnFrameStep(const FrameStep& step) {
        if (batch != nullptr) return batch->OnFrameStep(step);
        account.OnFrameStep(step);
    }
    /// \param later kept by reference; null: none
    void GiveTo(PacketBatch* later) { batch = later; }

  private:
    CaptureAccount& account;
    PacketBatch* batch = nullptr;
};

}  // namespace

class CaptureAnalysis::Work {
  public:
    explicit Work(const AnalysisOptions& wanted)
        : onTwoThreads(wanted.onTwoThreads),
          pieceSize(wanted.states == nullptr ? RecentBytes::kBlock : StateReceiver::kPiece),
          account(wanted),
          front(handover, wanted) {}

    void Feed(std::span<const uint8_t> bytes) {
        if (onTwoThreads && bytes.size() >= kWorthAThread && FeedOnTwoThreads(bytes)) return;
        while (!bytes.empty()) {
            const auto piece = TakePiece(bytes);
            account.Begin(piece);
            front.Feed(piece);
            account.End(front.Frames());
        }
    }
    void Decide() {
        front.Decide();
        account.ShowEntries(false);
    }
    void Idle() {
        Decide();
        front.Idle();
    }
    void Finish() {
        relay.reset();
        front.Finish();
        account.Finish(front.Frames());
    }

    const CaptureFront<Handover>& Front() const { return front; }
    const CaptureDecoder<CaptureFront<Handover>>& Decoder() const { return front.Decoder(); }
    CaptureAccount& Account() { return account; }

  private:
    /// The next piece off the bytes.
    std::span<const uint8_t> TakePiece(std::span<const uint8_t>& bytes) const {
        const uint64_t room = pieceSize - front.Fed() % pieceSize;
        const auto piece = bytes.first(static_cast<size_t>(std::min<uint64_t>(bytes.size(), room)));
        bytes = bytes.subspan(piece.size());
        return piece;
    }
    /// \return false: there is no other thread, and nothing was done
    bool FeedOnTwoThreads(std::span<const uint8_t> bytes) {
        if (!relay) relay = std::make_unique<Relay<PacketBatch>>(kBatches);
        const auto decode = [this, &bytes](PacketBatch& batch) {
            if (bytes.empty()) return false;
            const auto piece = TakePiece(bytes);
            batch.Begin(piece);
            handover.GiveTo(&batch);
            front.Feed(piece);
            batch.End(front.Frames());
            return true;
        };
        const auto reckon = [this](const PacketBatch& batch) { batch.GiveTo(account); };
        struct Afterwards {
            Handover& handover;
            ~Afterwards() { handover.GiveTo(nullptr); }
        } const afterwards{handover};
        return relay->Run(decode, reckon);
    }

    const bool onTwoThreads;
    const uint64_t pieceSize;  ///< bytes
    CaptureAccount account;
    Handover handover{account};
    CaptureFront<Handover> front;
    std::unique_ptr<Relay<PacketBatch>> relay;  ///< once it was needed
};

bool HasTwoProcessors() { return std::thread::hardware_concurrency() >= 2; }

CaptureAnalysis::CaptureAnalysis(const AnalysisOptions& options) : work(std::make_unique<Work>(options)) {}
CaptureAnalysis::~CaptureAnalysis() = default;

void CaptureAnalysis::Feed(std::span<const uint8_t> bytes) { work->Feed(bytes); }
void CaptureAnalysis::Decide() { work->Decide(); }
void CaptureAnalysis::Idle() { work->Idle(); }
bool CaptureAnalysis::FramingIsKnown() const { return work->Decoder().Decided(); }
const KnownPackets& CaptureAnalysis::Known() const { return work->Decoder().Known(); }
const Framing& CaptureAnalysis::FramingFound() const { return work->Decoder().Found(); }
const std::array<uint64_t, kStreams>* CaptureAnalysis::BytesOfStreams() const {
    const TpiuDeframer* const deframer = work->Decoder().Deframer();
    return deframer == nullptr ? nullptr : &deframer->BytesOf();
}
void CaptureAnalysis::Finish() { work->Finish(); }
uint64_t CaptureAnalysis::Bytes() const { return work->Account().Bytes(); }
const Ledger& CaptureAnalysis::Losses() const { return work->Account().Losses(); }
Ledger& CaptureAnalysis::Losses() { return work->Account().Losses(); }
const CaptureCounts& CaptureAnalysis::Counts() const { return work->Front().Counts(); }
SignalFeatures CaptureAnalysis::Features() const { return work->Front().Features(); }

}  // namespace Korr::Plim::Trace::Swo
