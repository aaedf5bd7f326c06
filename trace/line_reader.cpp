#include "trace/line_reader.h"

#include <utility>

#include "trace/window_answer.h"

namespace Korr::Plim::Trace::Swo {

bool LineReader::OnPacket(const Packet& packet, const PacketTime& time, const Standing& standing) {
    const bool meant = packet.kind == PacketKind::Stimulus && packet.source == wanted;
    if (!meant || standing.place < begin) return more;
    const TextBytes text = TextOf(packet);
    for (size_t i = 0; i < text.count && more; ++i) {
        const LineSplitter::Step step = splitter.Take(text.bytes[i]);
        if (step.begins) {
            Give();
            line = {number++, standing.Position(timed), packet.offset, 0, {}};
            open = true;
        }
        if (!open) continue;  // of a line that began before
        line.flags |= EventFlags(packet, time.quality);
        if (step.shown) {
            line.text += static_cast<char>(text.bytes[i]);
        } else {
            Give();
        }
    }
    return more;
}

void LineReader::Give() {
    if (!std::exchange(open, false) || !more) return;
    if (!line.text.empty() && line.text.back() == '\r') line.text.pop_back();
    more = take(std::move(line));
}

}  // namespace Korr::Plim::Trace::Swo
