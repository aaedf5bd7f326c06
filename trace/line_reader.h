#pragma once

#include <functional>
#include <string>

#include "trace/line_splitter.h"
#include "trace/recording_axis.h"
#include "trace/text_lines.h"

namespace Korr::Plim::Trace::Swo {

/// A line of a text port.
struct TextLine {
    uint64_t number = 0;    ///< from 0
    uint64_t position = 0;  ///< of its first byte, see RecordingAxis
    uint64_t offset = 0;
    uint8_t flags = 0;  ///< of its packets together, see EventFlags
    std::string text;   ///< without what ended it: a line feed, or a carriage return and a line feed
};

/// Gathers the lines of a port out of the packets of a capture. A sink of Replay.
class LineReader {
  public:
    /// Is given line after line. \return whether it wants another one
    using Take = std::function<bool(TextLine&&)>;

    /// \param bytes of the line that is open where the packets begin; 0: none is \param next number of the
    /// next line to begin
    LineReader(uint8_t port, bool inTicks, uint16_t bytes, uint64_t next, Take target)
        : wanted(port), timed(inTicks), splitter(bytes), number(next), take(std::move(target)) {}

    /// Passes over what stands before a place.
    void PassTo(uint64_t place) { begin = place; }
    bool OnPacket(const Packet& packet, const PacketTime& time, const Standing& standing);
    /// The text ends: gives a line that is open.
    void Finish() { Give(); }

  private:
    void Give();

    uint8_t wanted;
    bool timed;
    uint64_t begin = 0;
    LineSplitter splitter;
    uint64_t number;
    Take take;
    bool more = true;
    bool open = false;  ///< `line` is one
    TextLine line;
};

}  // namespace Korr::Plim::Trace::Swo
