#include "tracehost/feed_thread.h"

#include <algorithm>
#include <chrono>
#include <exception>

#include "trace/hole_forecast.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kPiece = std::size_t{1} << 20;
constexpr std::chrono::nanoseconds kIdle =
    std::chrono::milliseconds(300);  // without bytes, after which what came is shown to its end

}  // namespace

FeedThread::FeedThread(Viewer::RecordingSettings settings, std::shared_ptr<const Swo::CaptureBytes> captured)
    : analysis(settings.analysis),
      bytes(captured),
      feed(std::make_shared<Viewer::RecordingFeed>(std::move(settings), std::move(captured))),
      piece(kPiece) {
    thread = std::thread([this] { Run(); });
}

FeedThread::~FeedThread() {
    {
        const std::lock_guard guard(mutex);
        stop = true;
        changed.notify_one();
    }
    thread.join();
}

void FeedThread::Grow(uint64_t size) {
    const std::lock_guard guard(mutex);
    atHand = std::max(atHand, size);
    changed.notify_one();
}

void FeedThread::SetArrivals(std::vector<Swo::Arrival> arrivals) {
    const std::lock_guard guard(mutex);
    newArrivals = std::move(arrivals);
    arrived = true;
}

void FeedThread::End(uint64_t size, Change change) {
    const std::lock_guard guard(mutex);
    atHand = std::max(atHand, size);
    atEnd = std::move(change);
    ended = true;
    changed.notify_one();
}

std::string FeedThread::Problem() const {
    const std::lock_guard guard(mutex);
    return problem;
}

void FeedThread::Run() {
    try {
        FeedUntilTheEnd();
    } catch (const std::exception& failure) {
        const std::lock_guard guard(mutex);
        problem = failure.what();
    }
}

void FeedThread::FeedUntilTheEnd() {
    std::unique_lock lock(mutex);
    bool idle = true;
    auto cameAt = Clock::now();
    while (!stop) {
        try {
            if (TakeMore(lock)) {
                idle = false;
                cameAt = Clock::now();
                continue;
            }
        } catch (const std::exception& failure) {
            if (!lock.owns_lock()) lock.lock();
            problem = failure.what();
            ended = true;
        }
        if (ended) return Conclude(lock);
        // By the clock, because a wait may end a little early.
        const auto silent = Clock::now() - cameAt;
        if (idle || silent < kIdle) {
            changed.wait_for(lock, idle ? kIdle : std::chrono::nanoseconds(kIdle - silent));
            continue;
        }
        lock.unlock();
        feed->Idle();
        idle = true;
        lock.lock();
    }
}

/// \return false when nothing is left of what is there
bool FeedThread::TakeMore(std::unique_lock<std::mutex>& lock) {
    if (taken >= atHand) return false;
    const uint64_t there = atHand;
    const bool tellArrivals = std::exchange(arrived, false);
    std::vector<Swo::Arrival> arrivals = std::move(newArrivals);
    newArrivals.clear();
    lock.unlock();
    if (tellArrivals) feed->SetArrivals(std::move(arrivals));
    feed->SetBytesAtHand(there);
    const auto wanted = static_cast<std::size_t>(std::min<uint64_t>(kPiece, there - taken));
    const std::size_t got = bytes->ReadAt(taken, std::span(piece).first(wanted));
    feed->Take(std::span(piece).first(got));
    if (!forecast) {
        const std::size_t room = Swo::kForecastBytes - std::min(head.size(), Swo::kForecastBytes);
        head.insert(head.end(), piece.begin(),
                    piece.begin() + static_cast<std::ptrdiff_t>(std::min(got, room)));
        if (room <= got && taken + got >= there) Forecast();
    }
    taken += got;
    lock.lock();
    return got > 0;
}

/// The lock is given back.
void FeedThread::Conclude(std::unique_lock<std::mutex>& lock) {
    const Change change = std::move(atEnd);
    if (taken < atHand && problem.empty()) {
        problem = "the capture cannot be read beyond " + std::to_string(taken) +
                  " bytes: did it become shorter while it was read?";
    }
    lock.unlock();
    if (!forecast) Forecast();
    feed->SetBytesAtHand(taken);
    feed->Finish(change);
}

void FeedThread::Forecast() {
    forecast = true;
    const Swo::HoleForecast holes = Swo::ForecastHoles(head, analysis);
    if (holes.holes > 0) feed->SetForecast(holes.Share());
    head = {};
}

}  // namespace Korr::Plim::Trace::Tracehost
