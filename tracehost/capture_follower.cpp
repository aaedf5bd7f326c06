#include "tracehost/capture_follower.h"

#include <algorithm>

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr uint64_t kSampleSize = 8;             // bytes
constexpr uint32_t kSamplesAtOnce = 32 * 1024;  // 256 KiB
constexpr double kPause = 0.1;                  // seconds

}  // namespace

void CaptureFollower::Follow(CChannelDriver& driver, double seconds) {
    if (observers.empty() || seconds < nextAt) return;
    nextAt = seconds + kPause;
    const uint64_t samples = driver.GetNumSamples();
    if (samples > 0) TakeUpTo(driver, (samples - 1) * kSampleSize);
}

void CaptureFollower::Finish(CChannelDriver& driver, uint64_t bytes) {
    if (!observers.empty()) TakeUpTo(driver, bytes);
}

/// A read that brings nothing, because the file went away, ends the step.
void CaptureFollower::TakeUpTo(CChannelDriver& driver, uint64_t bytes) {
    buffer.resize(kSamplesAtOnce * kSampleSize);
    while (taken < bytes) {
        const uint64_t left = (bytes - taken + kSampleSize - 1) / kSampleSize;
        const auto wanted = static_cast<uint32_t>(std::min<uint64_t>(left, kSamplesAtOnce));
        uint32_t samples = 0;
        driver.SeekReadTraceData(static_cast<uint32_t>(taken / kSampleSize), wanted, buffer.data(), samples);
        const uint64_t count =
            std::min<uint64_t>(uint64_t{std::min(samples, wanted)} * kSampleSize, bytes - taken);
        if (count == 0) return;
        for (CaptureObserver* const observer : observers) {
            observer->Take(std::span<const uint8_t>(buffer.data(), static_cast<std::size_t>(count)));
        }
        taken += count;
    }
}

}  // namespace Korr::Plim::Trace::Tracehost
