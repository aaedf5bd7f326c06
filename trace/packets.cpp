#include "trace/packets.h"

#include <array>

namespace Korr::Plim::Trace::Swo {

std::string_view KindName(PacketKind kind) {
    static constexpr std::array<std::string_view, kPacketKinds> kNames = {
        "sync",      "overflow",       "local-time",    "global-time-low",  "global-time-high",
        "page",      "extension",      "stimulus",      "event-counters",   "exception",
        "pc-sample", "pc-sleep",       "pc-prohibited", "pmu-overflow",     "data-match",
        "data-pc",   "data-address",   "data-value",    "unknown-hardware", "reserved",
        "malformed", "unsynchronised", "truncated-end"};
    return kNames[static_cast<size_t>(kind)];
}

}  // namespace Korr::Plim::Trace::Swo
