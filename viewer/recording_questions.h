#pragma once

#include <mutex>

#include "viewer/fair_mutex.h"
#include "viewer/recording_feed.h"

namespace Korr::Plim::Trace::Viewer {

/// \throws BadQuestion when a stretch of the axis is none
void CheckStretch(double from, double to);

/// One question to a recording. Made and asked once while the recording is held; those that read the capture
/// again take what they need of the index and let go of it meanwhile.
class RecordingQuestions {
  public:
    using Hold = std::unique_lock<FairMutex>;

    /// All but the axis are kept by reference.
    RecordingQuestions(const RecordingSettings& recording, const Swo::CaptureBytes& capture,
                       const Swo::RecordingIndex& all, Swo::RecordingAxis numberLine, uint64_t present)
        : settings(recording),
          bytes(capture),
          index(all),
          axis(std::move(numberLine)),
          timed(all.Timed()),
          revision(present) {}

    std::string Window(const WindowQuestion& question, Hold& hold) const;
    std::string Events(const EventsQuestion& question, Hold& hold) const;
    AxisStretch Around(uint64_t offset, uint32_t packets, Hold& hold) const;
    std::string Text(const TextQuestion& question, Hold& hold) const;
    std::string Find(const FindQuestion& question, Hold& hold) const;
    std::string LineAt(uint8_t port, double time, Hold& hold) const;
    std::string Ledger(uint64_t from, uint32_t count) const;
    std::string Profile(const ProfileQuestion& question, Hold& hold) const;

  private:
    std::string FindOnwards(const FindQuestion& question, Hold& hold) const;
    std::string FindBack(const FindQuestion& question, Hold& hold) const;
    /// Of an answer that shows so many rows: it stays below some tens of megabytes.
    uint32_t MostColumns(const std::bitset<Swo::kTracks>& rows) const;
    /// \throws BadQuestion when the port has no text
    void CheckText(uint8_t port) const;

    const RecordingSettings& settings;
    const Swo::CaptureBytes& bytes;
    const Swo::RecordingIndex& index;
    const Swo::RecordingAxis axis;
    const bool timed;
    const uint64_t revision;
};

}  // namespace Korr::Plim::Trace::Viewer
