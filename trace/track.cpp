#include "trace/track.h"

namespace Korr::Plim::Trace::Swo {

size_t RowOf(const Track& track) {
    using namespace track_row;
    switch (track.kind) {
        case TrackKind::Bandwidth:
            return kBandwidth;
        case TrackKind::Nesting:
            return kNesting;
        case TrackKind::Exception:
            return kException + track.number % kExceptions;
        case TrackKind::Port:
            return kPort + track.number % kPorts;
        case TrackKind::WatchRead:
        case TrackKind::WatchWrite:
        case TrackKind::WatchPc:
        case TrackKind::WatchAddress: {
            const auto which = static_cast<size_t>(track.kind) - static_cast<size_t>(TrackKind::WatchRead);
            return kWatch + 4 * (track.number % kComparators) + which;
        }
        case TrackKind::Counter:
            return kCounter + track.number % kCounters;
        case TrackKind::Pc:
            break;
    }
    return kPc;
}

Track TrackAt(size_t row) {
    using namespace track_row;
    const auto at = [row](TrackKind kind, size_t first) {
        return Track{kind, static_cast<uint16_t>(row - first)};
    };
    if (row < kException) return {row == kBandwidth ? TrackKind::Bandwidth : TrackKind::Nesting, 0};
    if (row < kPort) return at(TrackKind::Exception, kException);
    if (row < kWatch) return at(TrackKind::Port, kPort);
    if (row < kCounter) {
        const size_t which = (row - kWatch) % 4;
        return {static_cast<TrackKind>(static_cast<size_t>(TrackKind::WatchRead) + which),
                static_cast<uint16_t>((row - kWatch) / 4)};
    }
    if (row < kPc) return at(TrackKind::Counter, kCounter);
    return {TrackKind::Pc, 0};
}

}  // namespace Korr::Plim::Trace::Swo
