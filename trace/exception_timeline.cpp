#include "trace/exception_timeline.h"

#include <algorithm>

namespace Korr::Plim::Trace::Swo {

const std::vector<ExceptionTimeline::Event>& ExceptionTimeline::OnPacket(const Packet& packet) {
    events.clear();
    if (packet.kind == PacketKind::Overflow || IsDamage(packet.kind)) {
        Lose();
    } else if (packet.kind == PacketKind::Exception) {
        switch (packet.flags & kKindFlags) {
            case kEntered:
                Enter(packet.source);
                break;
            case kExited:
                Exit(packet.source);
                break;
            default:
                Return(packet.source);
                break;
        }
    }
    return events;
}

void ExceptionTimeline::Enter(uint16_t number) {
    if (number == 0) return Return(0);  // thread mode is no exception
    if (Runs(number)) {                 // it cannot be entered twice: its exit was not seen
        PopAbove(number);
        Pop(Change::Inferred);
    }
    running.push_back(number);
    events.push_back({Change::Begin, number, static_cast<uint16_t>(running.size() - 1)});
}

void ExceptionTimeline::Exit(uint16_t number) {
    if (!Runs(number)) {
        return;  // entered before the recording or in a hole: it ends here, where it never began
    }
    PopAbove(number);
    Pop(Change::End);
}

void ExceptionTimeline::Return(uint16_t number) {
    if (number == 0) {
        while (!running.empty()) Pop(Change::Inferred);
        known = true;
        return;
    }
    if (Runs(number)) return PopAbove(number);
    // Above what is returned to nothing runs; below it there may be more that is not known.
    while (!running.empty()) Pop(Change::Inferred);
    running.push_back(number);
    events.push_back({Change::Resume, number, 0});
}

void ExceptionTimeline::Lose() {
    if (!known && running.empty()) return;
    known = false;
    running.clear();
    events.push_back({Change::Unknown, 0, 0});
}

void ExceptionTimeline::Pop(Change change) {
    const uint16_t number = running.back();
    running.pop_back();
    events.push_back({change, number, static_cast<uint16_t>(running.size())});
}

bool ExceptionTimeline::Runs(uint16_t number) const {
    return std::find(running.begin(), running.end(), number) != running.end();
}

void ExceptionTimeline::PopAbove(uint16_t number) {
    while (running.back() != number) Pop(Change::Inferred);
}

}  // namespace Korr::Plim::Trace::Swo
