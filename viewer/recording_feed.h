#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "symbols/elf_symbols.h"
#include "trace/recording_index.h"
#include "viewer/feed.h"
#include "viewer/line_finder.h"

namespace Korr::Plim::Trace::Viewer {

/// What a capture's beginning says of its signal, in words.
struct Verdict {
    std::string name;  ///< see SignalVerdictName
    std::string text;
};

/// What is known of a recording beside its bytes, and how it is told.
struct RecordingSettings {
    std::string name;                    ///< "trace.tdf, section 1"
    uint64_t recording = 0;              ///< another number: another recording, be it of that name
    std::optional<std::string> port;     ///< that it was taken from
    std::optional<std::string> started;  ///< UTC
    std::optional<std::string> elf;      ///< name of the firmware's file
    std::shared_ptr<const Symbols::ElfSymbols> symbols;  ///< of that file; null: there is none
    std::shared_ptr<LineFinder> lines;                   ///< of that file's source; null: there are none
    Swo::AnalysisOptions analysis;                       ///< without receivers
    Swo::PortFormats ports;              ///< as the user gives them; others are guessed, see Swo::PortLook
    std::optional<double> clockHz;       ///< trace clock
    std::optional<double> baud;          ///< of the line
    std::vector<Swo::Arrival> arrivals;  ///< of the recording's sheet
    bool live = false;                   ///< more bytes may come until Finish
    bool stoppable = false;              ///< and the page may end that, see Controls
    bool changeable = false;             ///< the page may change the types of ports, see Controls

    /// Words for the page; may be empty, then there are names alone. Called by any thread, one at a time.
    std::function<std::string(const Swo::LedgerEntry&)> describe;
    std::function<std::string(const Swo::LedgerTotals&)> summarise;
    std::function<Verdict(const Swo::SignalFeatures&)> judge;
};

/// From and to on the axis.
struct AxisStretch {
    double from = 0;
    double to = 0;
};

/// Answers about one capture. One thread feeds it, any number of threads ask, all at once. The bytes are read
/// again through `bytes`, which has to give at least what has been fed.
class RecordingFeed : public Feed {
  public:
    RecordingFeed(RecordingSettings wanted, std::shared_ptr<const Swo::CaptureBytes> captured);
    ~RecordingFeed() override;

    // [feeding thread]
    /// The capture's next bytes.
    void Take(std::span<const uint8_t> bytes);
    /// No bytes have come for a while, of a recording that goes on: what has come is shown.
    void Idle();
    /// The capture has ended. \param change may add to the ledger what the host knows; null: nothing
    void Finish(const std::function<void(Swo::CaptureAnalysis&)>& change = nullptr);
    /// How many bytes a file has that is being fed, so that `complete` can be told.
    void SetBytesAtHand(uint64_t bytes);
    /// When bytes have arrived so far, of a recording that goes on.
    void SetArrivals(std::vector<Swo::Arrival> arrivals);
    /// How likely a hole is noticed, 0 to 1.
    void SetForecast(double share);

    /// The stretch of the axis that holds the packets around a place of the capture, so many on each side.
    AxisStretch Around(uint64_t offset, uint32_t packets) const;

    FeedState Now() const override;
    std::string Overview() const override;
    std::string Window(const WindowQuestion& question) const override;
    std::string Events(const EventsQuestion& question) const override;
    std::string Text(const TextQuestion& question) const override;
    std::string Find(const FindQuestion& question) const override;
    std::string LineAt(uint8_t port, double time) const override;
    std::string Ledger(uint64_t from, uint32_t count) const override;
    std::string Profile(const ProfileQuestion& question) const override;

  private:
    class Work;
    std::unique_ptr<Work> work;
};

}  // namespace Korr::Plim::Trace::Viewer
