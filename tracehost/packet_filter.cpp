#include "tracehost/packet_filter.h"

#include <charconv>
#include <vector>

#include "tracehost/errors.h"
#include "tracehost/number_option.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr double kLongestCapture = 1e9;  // seconds

std::vector<std::string> Split(const std::string& list) {
    std::vector<std::string> parts;
    std::size_t begin = 0;
    while (true) {
        const std::size_t comma = list.find(',', begin);
        parts.push_back(list.substr(begin, comma == std::string::npos ? comma : comma - begin));
        if (comma == std::string::npos) return parts;
        begin = comma + 1;
    }
}

template <typename Number>
bool ReadWholeNumber(std::string_view text, Number& number) {
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
    return failure == std::errc() && end == text.data() + text.size() && !text.empty();
}

std::string KindNames() {
    std::string names;
    for (int kind = 0; kind < Swo::kPacketKinds; ++kind) {
        names.append(kind == 0 ? "" : " ").append(Swo::KindName(static_cast<Swo::PacketKind>(kind)));
    }
    return names;
}

/// Whether a packet lies before a place.
bool Before(const CapturePlace& place, const Swo::Packet& packet, const Swo::PacketTime& time,
            const Exports::TimeScale& scale) {
    if (place.offset) return packet.offset < *place.offset;
    return static_cast<double>(scale.Nanoseconds(time.ticks)) < place.seconds * 1e9;
}

}  // namespace

bool PacketFilter::IsInStretch(const Swo::Packet& packet, const Swo::PacketTime& time,
                               const Exports::TimeScale& scale) const {
    if (NeedsTime() && time.quality == Swo::TimeQuality::None) return false;
    return !(from && Before(*from, packet, time, scale)) && !(to && !Before(*to, packet, time, scale));
}

void SetKinds(PacketFilter& filter, const std::string& list) {
    filter.kinds.fill(false);
    for (const std::string& name : Split(list)) {
        bool found = false;
        for (int kind = 0; kind < Swo::kPacketKinds; ++kind) {
            if (Swo::KindName(static_cast<Swo::PacketKind>(kind)) != name) continue;
            filter.kinds[static_cast<std::size_t>(kind)] = found = true;
        }
        if (!found) throw UsageError("--kinds \"" + name + "\": the kinds are " + KindNames());
    }
}

Swo::Ports ParsePorts(const std::string& option, const std::string& list) {
    Swo::Ports ports;
    for (const std::string& part : Split(list)) {
        const std::size_t dash = part.find('-');
        uint32_t first = 0;
        uint32_t last = 0;
        const bool firstRead = ReadWholeNumber(std::string_view(part).substr(0, dash), first);
        const bool lastRead = dash == std::string::npos
                                  ? firstRead
                                  : ReadWholeNumber(std::string_view(part).substr(dash + 1), last);
        if (dash == std::string::npos) last = first;
        if (!firstRead || !lastRead || last > 255 || first > last) {
            throw UsageError(std::string(option).append(" \"").append(list).append(
                "\": give stimulus ports from 0 to 255, such as 0,3,8-15"));
        }
        for (uint32_t port = first; port <= last; ++port) ports.set(port);
    }
    return ports;
}

CapturePlace ParsePlace(const std::string& option, const std::string& text) {
    CapturePlace place;
    if (!text.starts_with('#')) {
        place.seconds = ParseNumber({option.c_str(), Measure::Time, 0, kLongestCapture}, text);
        return place;
    }
    uint64_t offset = 0;
    if (!ReadWholeNumber(std::string_view(text).substr(1), offset)) {
        throw UsageError(option + " \"" + text + "\": give a time such as 1.5s, or an offset such as #12345");
    }
    place.offset = offset;
    return place;
}

void SetStretch(PacketFilter& filter, const std::string& from, const std::string& to) {
    if (!from.empty()) filter.from = ParsePlace("--from", from);
    if (!to.empty()) filter.to = ParsePlace("--to", to);
    if (!filter.from || !filter.to) return;
    if (filter.from->offset.has_value() != filter.to->offset.has_value()) return;  // a place and a time
    if (filter.to->offset < filter.from->offset || filter.to->seconds < filter.from->seconds) {
        throw UsageError("--to \"" + to + "\" lies before --from \"" + from + "\"");
    }
}

}  // namespace Korr::Plim::Trace::Tracehost
