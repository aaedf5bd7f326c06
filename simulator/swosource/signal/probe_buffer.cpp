#include "simulator/swosource/signal/probe_buffer.h"

#include <algorithm>

namespace Korr::Plim::Trace::Simulator {
namespace {

constexpr size_t kMostListed = 1000;

}  // namespace

ProbeBuffer::ProbeBuffer(size_t size) : ring(std::max<size_t>(size, 1)) {}

void ProbeBuffer::Receive(std::span<const uint8_t> bytes, size_t outside, bool attended) {
    const size_t held = waiting + outside;
    const size_t room = held < Size() ? Size() - held : 0;
    if (overrunning && room >= (Size() + 1) / 2) {
        overrunning = false;
        currentOverrun = 0;
    }
    const size_t fit = overrunning ? 0 : std::min(room, bytes.size());
    Store(bytes.first(fit));
    received += fit;
    mostWaiting = std::max(mostWaiting, held + fit);
    if (fit < bytes.size()) Drop(bytes.size() - fit, attended);
}

void ProbeBuffer::Store(std::span<const uint8_t> bytes) {
    for (const uint8_t byte : bytes) {
        ring[(begin + waiting) % Size()] = byte;
        ++waiting;
    }
}

void ProbeBuffer::Drop(size_t count, bool attended) {
    if (!attended) {
        unattended += count;
        currentOverrun = 0;
    } else {
        if (currentOverrun == 0) {
            ++overrunCount;
            if (overruns.size() < kMostListed) overruns.push_back({received, 0});
        }
        currentOverrun += count;
        longestOverrun = std::max(longestOverrun, currentOverrun);
        if (overrunCount == overruns.size()) overruns.back().length = currentOverrun;
    }
    overrunning = true;
    received += count;
    dropped += count;
}

std::span<const uint8_t> ProbeBuffer::Front(size_t most) const {
    return {ring.data() + begin, std::min({most, waiting, Size() - begin})};
}

void ProbeBuffer::Remove(size_t count) {
    begin = (begin + count) % Size();
    waiting -= count;
}

void ProbeBuffer::GiveUp(size_t outside, bool attended) {
    leftBehind += waiting + outside;
    dropped += waiting + outside;
    if (!attended) unattended += waiting + outside;
    waiting = 0;
}

}  // namespace Korr::Plim::Trace::Simulator
