#include "tracehost/viewed_file.h"

#include <cstdio>
#include <filesystem>

#include "source_utilities/visible_text.h"
#include "tracehost/capture_bytes.h"
#include "tracehost/errors.h"

namespace Korr::Plim::Trace::Tracehost {

namespace fs = std::filesystem;

namespace {

constexpr auto kQuiet = std::chrono::seconds(10);  // without growth, after which a file counts as complete

/// Whether somebody has written into a file a moment ago.
bool IsBeingWritten(const std::string& file) {
    std::error_code failure;
    const auto written = fs::last_write_time(file, failure);
    return !failure && fs::file_time_type::clock::now() - written < kQuiet;
}

}  // namespace

ViewedFile::ViewedFile(const CaptureRequest& captureRequest, const ViewRequest& viewRequest)
    : request(captureRequest) {
    std::error_code failure;
    const bool there = fs::exists(request.file, failure);
    if (request.file == "-" ||
        (there && !fs::is_regular_file(request.file, failure) && !fs::is_directory(request.file, failure))) {
        throw UsageError("\"" + request.file + "\" is no file on a disk: a view reads it again and again");
    }
    Choose();
    settings = SettingsOf(capture, viewRequest);
    Begin(mayGrow && IsBeingWritten(request.file));
}

/// The one recording that was asked for. A file that is damaged behind it is shown as far as it goes.
void ViewedFile::Choose() {
    int captures = 0;
    try {
        ForEachCapture(request, [&](const Capture& found) {
            if (captures++ > 0) {
                throw UsageError("a view shows one recording: \"" + request.file +
                                 "\" has several, --section says which");
            }
            capture = found;
            offset = found.input->Offset();
            mayGrow = found.input->Section() == 0 && !found.hasSheet;
        });
    } catch (const UsageError&) {
        throw;
    } catch (const HostError& damage) {
        if (captures == 0) throw;
        Tell(damage.what());
    }
    capture.input = nullptr;  // it is gone
}

void ViewedFile::Begin(bool growing) {
    feeder.reset();
    settings.live = live = growing;
    size = mayGrow || !capture.length ? 0 : *capture.length;
    feeder = std::make_unique<FeedThread>(settings, std::make_shared<FileBytes>(request.file, offset));
    shown.Show(feeder->Feed());
    grewAt = Clock::now();
    if (mayGrow) FollowGrowth();
    if (growing) return;
    feeder->End(size, [this](Swo::CaptureAnalysis& analysis) {
        Swo::SignalFeatures features = analysis.Features();
        AddHostKnowledge(capture, analysis, features);
    });
}

void ViewedFile::Look() {
    if (mayGrow) FollowGrowth();
    const std::string problem = feeder->Problem();
    if (!problem.empty() && !problemTold) Tell(problem);
}

void ViewedFile::FollowGrowth() {
    std::error_code failure;
    const uint64_t now = fs::file_size(request.file, failure);
    if (failure) return;
    if (now < size) {
        std::fprintf(stderr, "tracehost: \"%s\" has become shorter: it is another recording now\n",
                     KORR_PLIM::Visible(request.file).Text());
        std::fflush(stderr);  // also where it is a file
        return Begin(true);
    }
    if (now > size) {
        if (size > 0 && !live) return Begin(true);  // it was taken for complete
        size = now;
        grewAt = Clock::now();
        feeder->Grow(size);
    } else if (live && Clock::now() - grewAt >= kQuiet) {
        live = false;
        feeder->End(size);
    }
}

void ViewedFile::Tell(const std::string& problem) {
    problemTold = true;
    whole = false;
    std::fprintf(stderr, "tracehost: %s\n", KORR_PLIM::Visible(problem).Text());
    std::fflush(stderr);  // also where it is a file
}

}  // namespace Korr::Plim::Trace::Tracehost
