#include "trace/window_bandwidth.h"

namespace Korr::Plim::Trace::Swo {

void WindowBandwidth::Add(double begin, double end, double count, double ofPadding, uint32_t dropped,
                          uint32_t broken) {
    double droppedSoFar = 0;
    double brokenSoFar = 0;
    SpreadOver(frame, begin, end, [&](uint32_t column, double share) {
        bytes[column] += count * share;
        padding[column] += ofPadding * share;
        const auto whole = [share](double& soFar, uint32_t all) {
            const double before = std::floor(soFar + 0.5);
            soFar += share * all;
            return static_cast<uint32_t>(std::floor(soFar + 0.5) - before);
        };
        overflows[column] += whole(droppedSoFar, dropped);
        damage[column] += whole(brokenSoFar, broken);
    });
}

void WindowBandwidth::OnPacket(const Packet& packet, const Standing& standing, double when, bool inside) {
    Settle(standing.place);
    counts = inside;
    place = standing.place;
    time = when;
    if (!inside) return;
    const uint32_t column = frame.Column(when);
    if (packet.kind == PacketKind::Overflow) ++overflows[column];
    if (IsDamage(packet.kind)) ++damage[column];
}

void WindowBandwidth::Settle(uint64_t upTo) {
    if (counts && upTo > place) bytes[frame.Column(time)] += static_cast<double>(upTo - place);
    counts = false;
}

std::vector<NamedArray> WindowBandwidth::Take() {
    std::vector<NamedArray> arrays;
    arrays.push_back({"bytes", std::move(bytes)});
    arrays.push_back({"padding", std::move(padding)});
    arrays.push_back({"overflows", std::move(overflows)});
    arrays.push_back({"damage", std::move(damage)});
    return arrays;
}

}  // namespace Korr::Plim::Trace::Swo
