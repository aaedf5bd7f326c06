#include "tracehost/live_view.h"

#include <algorithm>
#include <filesystem>
#include <new>
#include <thread>
#include <utility>

#include "source_utilities/visible_text.h"
#include "tracehost/byte_source.h"
#include "tracehost/capture_input.h"
#include "tracehost/interrupt.h"
#include "tracehost/record_options.h"
#include "tracehost/recording_view.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr auto kLook = std::chrono::milliseconds(100);

/// Where the last capture in a file begins.
uint64_t LastCaptureIn(const std::string& file) {
    CaptureInput input(std::make_unique<FileSource>(file));
    uint64_t offset = 0;
    while (input.Next()) offset = input.Offset();
    return offset;
}

std::vector<Swo::Arrival> ArrivalsOf(const ArrivalLog& log) {
    std::vector<Swo::Arrival> arrivals;
    for (const ArrivalPoint& point : log.Points()) arrivals.push_back({point.milliseconds, point.bytes});
    return arrivals;
}

}  // namespace

LiveView::LiveView(const RecordRequest& wanted, std::function<LivePart()> present,
                   const std::function<void()>& end)
    : part(std::move(present)),
      browserWanted(!wanted.noBrowser),
      controls([this, end] {
          if (over || !end) return false;
          end();
          return true;
      }),
      left(wanted.bytes) {
    Capture known{};
    known.name = part().name;
    known.scale.prescale = AskedLineOf(wanted).timestampPrescale.value_or(1);
    known.options.prescale = known.scale.prescale;
    known.options.counterPort = wanted.counterPort;
    settings = SettingsOf(known, {wanted.elf, wanted.portFormats});
    settings.live = settings.changeable = true;
    settings.stoppable = end != nullptr;
    before = std::make_shared<Viewer::RecordingFeed>(settings, std::make_shared<KeptBytes>());
    shown.Show(before);
    server.emplace("--view", uint16_t{0}, shown, controls);
    std::fprintf(stderr, "tracehost: the recording, as it is made: %s\n", server->Address().c_str());
    std::fflush(stderr);  // also where it is a file
}

void LiveView::Take(std::span<const uint8_t> taken) {
    if (broken) return;
    try {
        if (!inPart) BeginPart();
        const uint64_t count = left ? std::min<uint64_t>(taken.size(), *left) : taken.size();
        if (left) *left -= count;
        size += count;
        const auto age = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begun);
        arrivals.Add({static_cast<uint64_t>(age.count()), size});
        feeder->SetArrivals(ArrivalsOf(arrivals));
        feeder->Grow(size);
    } catch (const std::exception& failure) {
        GiveUp(failure.what());
    }
}

void LiveView::BeginPart() {
    const LivePart present = part();
    settings.name = std::filesystem::path(present.name).filename().string();
    if (++parts > 1) settings.name += ", part " + std::to_string(parts);
    ++settings.recording;
    if (present.port) settings.port = "COM" + std::to_string(*present.port);
    if (present.clockHz > 0) settings.clockHz = present.clockHz;
    if (present.bitRate > 0) settings.baud = present.bitRate;
    bytes = std::make_shared<MovableBytes>(std::make_shared<FileBytes>(present.captureFile, 0));
    auto next = std::make_unique<FeedThread>(settings, bytes);
    shown.Show(next->Feed());
    feeder = std::move(next);
    inPart = true;
    size = 0;
    begun = Clock::now();
    arrivals = ArrivalLog();
}

void LiveView::EndPart(const RecordingSheet& sheet) noexcept {
    if (broken) return;
    try {
        if (inPart) Conclude(sheet);
        if (parts == 0) before->Finish();  // nothing came at all
    } catch (const std::exception& failure) {
        GiveUp(failure.what());
    }
}

/// From now on the saved file is read: the next recording writes into the same capture file.
void LiveView::Conclude(const RecordingSheet& sheet) {
    inPart = false;
    const LivePart present = part();
    if (!present.savedFile.empty()) {
        const uint64_t offset = present.raw ? 0 : LastCaptureIn(present.savedFile);
        bytes->MoveTo(std::make_shared<FileBytes>(present.savedFile, offset));
    }
    Capture known{};
    known.sheet = sheet;
    atEnd = [known](Swo::CaptureAnalysis& analysis) {
        Swo::SignalFeatures features = analysis.Features();
        AddHostKnowledge(known, analysis, features);
    };
    feeder->End(size, atEnd);
}

/// The present part or the last one, from its beginning.
void LiveView::ShowAnew() {
    auto next = std::make_unique<FeedThread>(settings, bytes);
    next->SetArrivals(ArrivalsOf(arrivals));
    next->Grow(size);
    if (!inPart) next->End(size, atEnd);
    shown.Show(next->Feed());
    feeder = std::move(next);
}

void LiveView::Look() {
    if (std::exchange(browserWanted, false)) server->OpenBrowser();
    server->TellBrowserProblem();
    if (broken || feeder == nullptr) return;
    std::string problem = feeder->Problem();
    try {
        if (controls.Apply(settings.ports)) ShowAnew();
    } catch (const std::exception& failure) {
        problem = failure.what();
    }
    if (!problem.empty()) GiveUp(problem.c_str());
}

void LiveView::GiveUp(const char* why) {
    broken = true;
    std::fprintf(stderr, "tracehost: --view shows no more of the recording, which goes on: %s\n",
                 KORR_PLIM::Visible(why).Text());
    std::fflush(stderr);  // also where it is a file
    try {
        shown.Tell("No more of the recording is shown here; the recording itself is not affected: " +
                   std::string(why));
    } catch (const std::bad_alloc&) {
        // Standard error has told it.
    }
}

void LiveView::ServeUntilInterrupted() {
    over = true;
    std::fprintf(stderr, "tracehost: the page is there until Ctrl-C: %s\n", server->Address().c_str());
    std::fflush(stderr);  // also where it is a file
    while (!InterruptRequested()) {
        Look();
        std::this_thread::sleep_for(kLook);
    }
}

}  // namespace Korr::Plim::Trace::Tracehost
