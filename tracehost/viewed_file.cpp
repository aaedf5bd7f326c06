#include "tracehost/viewed_file.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <utility>

#include "source_utilities/visible_text.h"
#include "tracehost/capture_bytes.h"
#include "tracehost/errors.h"
#include "tracehost/file_access.h"

namespace Korr::Plim::Trace::Tracehost {

namespace fs = std::filesystem;

namespace {

void TellOnStandardError(const std::string& text) {
    std::fprintf(stderr, "tracehost: %s\n", KORR_PLIM::Visible(text).Text());
    std::fflush(stderr);  // also where it is a file
}

}  // namespace

ViewedFile::ViewedFile(const CaptureRequest& captureRequest, const ViewRequest& viewRequest,
                       std::chrono::milliseconds quietFor)
    : request(captureRequest), quiet(quietFor) {
    std::error_code failure;
    const bool isThere = fs::exists(request.file, failure);
    if (request.file == "-" || (isThere && !fs::is_regular_file(request.file, failure) &&
                                !fs::is_directory(request.file, failure))) {
        throw UsageError("\"" + request.file + "\" is no file on a disk: a view reads it again and again");
    }
    Choose();
    settings = SettingsOf(capture, viewRequest);
    settings.analysis.onTwoThreads = Swo::HasTwoProcessors();
    settings.changeable = true;
    Begin(mayGrow && IsBeingWritten());
}

/// Whether somebody has written into it a moment ago.
bool ViewedFile::IsBeingWritten() const {
    std::error_code failure;
    const auto written = fs::last_write_time(request.file, failure);
    return !failure && fs::file_time_type::clock::now() - written < quiet;
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
    } catch (const HostError& failure) {
        if (captures == 0) throw;
        damage = failure.what();
        Tell(damage);
    }
    capture.input = nullptr;  // it is gone
}

/// Its identity is asked first: when another file comes in its place meanwhile, that shows with the next
/// look.
void ViewedFile::Begin(bool growing) {
    std::string present = FileIdentity(request.file);
    settings.live = growing;
    auto next = std::make_unique<FeedThread>(settings, std::make_shared<FileBytes>(request.file, offset));
    shown.Show(next->Feed());
    if (!damage.empty()) TellPages(damage);
    feeder = std::move(next);
    identity = std::move(present);
    live = growing;
    grewAt = Clock::now();
    problemTold = false;
    std::error_code failure;
    const uint64_t found = fs::file_size(request.file, failure);
    const uint64_t bytes = failure ? 0 : found - std::min(found, offset);
    size = mayGrow ? 0 : std::min(capture.length.value_or(bytes), bytes);
    if (mayGrow) Grow(bytes);
    if (!growing) End();
}

/// What cannot be read stays as it was shown. \param other whether it is another recording
void ViewedFile::BeginAnew(const char* why, bool other) {
    try {
        if (other) ++settings.recording;
        Begin(true);
    } catch (const HostError& failure) {
        return Tell(failure.what());
    }
    TellOnStandardError("\"" + request.file + "\" " + why);
}

void ViewedFile::Look() {
    try {
        if (controls.Apply(settings.ports)) Begin(live);
    } catch (const HostError& failure) {
        Tell(failure.what());
    }
    if (mayGrow) {
        FollowGrowth();
    } else {
        WatchLength();
    }
    const std::string problem = feeder->Problem();
    if (!problem.empty()) Tell(problem);
}

void ViewedFile::FollowGrowth() {
    std::error_code failure;
    const uint64_t now = fs::file_size(request.file, failure);
    const std::string present = FileIdentity(request.file);
    const bool wasGone = std::exchange(gone, static_cast<bool>(failure));
    if (failure) {
        if (!wasGone) {
            TellOnStandardError("\"" + request.file +
                                "\" is not there any more: what came of it is still shown");
        }
        if (live) End();
    } else if (present != identity && !present.empty() && !identity.empty()) {
        BeginAnew("is another file now: it is shown anew", true);
    } else if (now < size) {
        BeginAnew("has become shorter: it is another recording now", true);
    } else if (now > size && !live) {
        BeginAnew("has grown: it is shown anew", false);  // it was taken for complete
    } else if (now > size) {
        Grow(now);
    } else if (live && Clock::now() - grewAt >= quiet) {
        End();
    }
}

void ViewedFile::Grow(uint64_t now) {
    size = now;
    grewAt = Clock::now();
    feeder->Grow(now);
}

/// No more bytes come, for all that is known.
void ViewedFile::End() {
    live = false;
    feeder->End(size, [this](Swo::CaptureAnalysis& analysis) {
        Swo::SignalFeatures features = analysis.Features();
        AddHostKnowledge(capture, analysis, features);
    });
}

/// What is shown exactly is read in the file again.
void ViewedFile::WatchLength() {
    std::error_code failure;
    const uint64_t now = fs::file_size(request.file, failure);
    if (failure || FileIdentity(request.file) != identity || now >= offset + size) return;
    Tell("\"" + request.file +
         "\" has become shorter while it is shown: begin again to see what it holds now");
}

void ViewedFile::Tell(const std::string& problem) {
    if (std::exchange(problemTold, true)) return;
    whole = false;
    TellOnStandardError(problem);
    TellPages(problem);
}

void ViewedFile::TellPages(const std::string& problem) {
    shown.Tell("Not all of the recording is shown: " + problem);
}

}  // namespace Korr::Plim::Trace::Tracehost
