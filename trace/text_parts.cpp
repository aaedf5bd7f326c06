#include "trace/text_parts.h"

#include <algorithm>

namespace Korr::Plim::Trace::Swo {

namespace {

constexpr uint32_t kNearBlocks = 4;  // blocks: to decode so many without text costs less than to begin anew

/// Gives the packets of one part.
class PartReader {
  public:
    PartReader(LineReader& lines, uint64_t behind) : reader(lines), to(behind) {}
    bool OnPacket(const Packet& packet, const PacketTime& time, const Standing& standing) {
        if (standing.place >= to) return false;
        more = reader.OnPacket(packet, time, standing);
        return more;
    }
    bool More() const { return more; }

  private:
    LineReader& reader;
    uint64_t to;
    bool more = true;
};

}  // namespace

const std::deque<TextCell>& TextParts::TextOf(const RecordingIndex& recording, uint8_t port) {
    static const std::deque<TextCell> kNone;
    const CellTrack<TextCell>* const track = recording.Summaries().TextOf(port);
    return track == nullptr ? kNone : track->Base();
}

uint64_t TextParts::Lines() const {
    uint64_t lines = 0;
    for (const TextCell& cell : cells) lines += cell.lines;
    return lines;
}

std::vector<TextPart> TextParts::Parts(size_t first, size_t behind, uint64_t firstLine) const {
    const RecordingSummaries& summaries = index.Summaries();
    std::vector<TextPart> parts;
    std::shared_ptr<const KnownPackets> known;
    uint32_t last = 0;
    for (size_t i = first; i < behind; ++i) {
        const TextCell& cell = cells[i];
        if (parts.empty() || cell.block - last > kNearBlocks) {
            TextPart part;
            part.from = summaries.PlaceOf(cell.block);
            part.plan = index.PlanFrom(part.from, known);
            known = part.plan.known;
            part.open = cell.open;
            part.firstLine = firstLine;
            parts.push_back(std::move(part));
        }
        last = cell.block;
        parts.back().to = summaries.PlaceOf(cell.block + 1);
        parts.back().lines += cell.lines;
        firstLine += cell.lines;
    }
    // What comes last may stand behind the last block that has begun.
    if (!parts.empty() && behind == cells.size()) parts.back().to = UINT64_MAX;
    return parts;
}

std::vector<TextPart> TextParts::From(uint64_t line, uint64_t lines, uint64_t mostBytes) const {
    const uint64_t blockBytes = index.Summaries().BlockBytes();
    uint64_t before = 0;
    size_t first = 0;
    while (first < cells.size() && before + cells[first].lines <= line) before += cells[first++].lines;
    uint64_t seen = before;
    uint64_t bytes = 0;
    size_t behind = first;
    // The last line goes on until another one begins.
    while (behind < cells.size() && (seen <= line || seen - line <= lines) &&
           (behind == first || bytes < mostBytes)) {
        seen += cells[behind++].lines;
        bytes += blockBytes;
    }
    return Parts(first, behind, before);
}

std::vector<TextPart> TextParts::Before(uint64_t line, uint64_t mostBytes) const {
    uint64_t before = 0;
    size_t behind = 0;
    while (behind < cells.size() && before < line) before += cells[behind++].lines;
    size_t first = behind;
    for (uint64_t bytes = 0; first > 0 && bytes < mostBytes; bytes += index.Summaries().BlockBytes()) {
        before -= cells[--first].lines;
    }
    // What the last line lacks stands in the following blocks.
    uint64_t more = 0;
    while (behind < cells.size() && more == 0) more += cells[behind++].lines;
    return Parts(first, behind, before);
}

uint64_t TextParts::LineNear(uint64_t position) const {
    const RecordingSummaries& summaries = index.Summaries();
    uint64_t before = 0;
    for (size_t i = 0; i < cells.size(); ++i) {
        const uint64_t ends = summaries.BeginOf(cells[i].block + 1, index.EndPosition());
        if (ends >= position) break;
        before += cells[i].lines;
    }
    return before;
}

void ReadLines(const std::vector<TextPart>& parts, const CaptureBytes& bytes, uint8_t port, bool timed,
               const LineReader::Take& take) {
    if (parts.empty()) return;
    LineReader lines(port, timed, parts.front().open, parts.front().firstLine, take);
    for (const TextPart& part : parts) {
        lines.PassTo(part.from);
        PartReader reader(lines, part.to);
        const Replay<PartReader> replay(part.plan, bytes, reader);
        if (!reader.More()) return;
    }
    lines.Finish();
}

}  // namespace Korr::Plim::Trace::Swo
