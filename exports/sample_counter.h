#pragma once

#include <cstdint>
#include <unordered_map>

#include "exports/capture_writer.h"
#include "trace/exception_timeline.h"

namespace Korr::Plim::Trace::Exports {

/// Counts PC samples by what ran and where. Suspect samples are left out and counted apart. Memory is
/// bounded: behind kMostPlaces different places samples are counted without their place.
class SampleCounter : public CaptureWriter {
  public:
    static constexpr std::size_t kMostPlaces = std::size_t{1} << 18;
    static constexpr uint16_t kUnknownException = 512;  ///< what runs is not known; 0 is thread mode

    struct Place {
        uint16_t exception = 0;  ///< the innermost
        uint32_t pc = 0;
        bool operator==(const Place&) const = default;
    };
    struct Hash {
        std::size_t operator()(const Place& place) const {
            return std::hash<uint64_t>()(uint64_t{place.exception} << 32 | place.pc);
        }
    };
    using Counts = std::unordered_map<uint16_t, uint64_t>;  ///< by exception

    void Begin(const CaptureFacts& facts) override;
    void OnPacket(const Swo::Packet& packet, const Swo::PacketTime& time) override;
    void Pass(const Swo::Packet& packet) override { exceptions.OnPacket(packet); }
    void End(const Swo::Ledger&) override {}
    void Finish() override {}

    const std::unordered_map<Place, uint64_t, Hash>& Places() const { return places; }
    const Counts& Sleeping() const { return sleeping; }
    const Counts& Prohibited() const { return prohibited; }
    const Counts& Unplaced() const { return unplaced; }  ///< beyond kMostPlaces
    uint64_t Suspects() const { return suspects; }
    static uint64_t Sum(const Counts& counts);

  private:
    uint16_t Running() const;

    Swo::ExceptionTimeline exceptions;
    std::unordered_map<Place, uint64_t, Hash> places;
    Counts sleeping;
    Counts prohibited;
    Counts unplaced;
    uint64_t suspects = 0;
};

}  // namespace Korr::Plim::Trace::Exports
