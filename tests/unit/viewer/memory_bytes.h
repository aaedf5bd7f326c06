#pragma once

#include <cstring>
#include <memory>

#include "viewer/recording_feed.h"

namespace Korr::Plim::Trace::Viewer {

/// A capture in memory.
class MemoryBytes : public Swo::CaptureBytes {
  public:
    explicit MemoryBytes(std::vector<uint8_t> content) : bytes(std::move(content)) {}
    size_t ReadAt(uint64_t offset, std::span<uint8_t> buffer) const override {
        if (offset >= bytes.size()) return 0;
        const auto count = std::min(buffer.size(), bytes.size() - static_cast<size_t>(offset));
        std::memcpy(buffer.data(), bytes.data() + offset, count);
        return count;
    }

  private:
    std::vector<uint8_t> bytes;
};

/// A question of which the last members may be left out.
inline EventsQuestion EventsIn(double from, double to, uint32_t limit = kMostEvents, uint64_t offset = 0,
                               std::vector<std::string> kinds = {}) {
    return {from, to, limit, offset, std::move(kinds)};
}

/// The feed of a whole capture.
inline std::unique_ptr<RecordingFeed> FeedOf(const std::vector<uint8_t>& capture,
                                             const RecordingSettings& settings = {}) {
    auto feed = std::make_unique<RecordingFeed>(settings, std::make_shared<MemoryBytes>(capture));
    feed->Take(capture);
    feed->Finish();
    return feed;
}

}  // namespace Korr::Plim::Trace::Viewer
