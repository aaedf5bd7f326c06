#pragma once

#include "trace/line_reader.h"
#include "trace/recording_index.h"

namespace Korr::Plim::Trace::Swo {

/// Where some lines of a port begin: a few of a capture's blocks.
struct TextPart {
    ReplayPlan plan;
    uint64_t from = 0;       ///< place
    uint64_t to = 0;         ///< place behind it
    uint16_t open = 0;       ///< bytes of the line that is open at its beginning
    uint64_t firstLine = 0;  ///< number of the first line that begins in it
    uint64_t lines = 0;      ///< that begin in it
};

/// Finds the parts of a capture that hold text. Kept by reference: the index.
class TextParts {
  public:
    TextParts(const RecordingIndex& recording, uint8_t port)
        : index(recording), cells(TextOf(recording, port)) {}

    /// Lines of the port in all.
    uint64_t Lines() const;
    /// The first parts, in their order, that hold lines from `line` on: at least `lines` of them, when there
    /// are so many, and the rest of the last one; no more than `mostBytes` of the capture, but at least one
    /// part. Parts that touch are one.
    std::vector<TextPart> From(uint64_t line, uint64_t lines, uint64_t mostBytes) const;
    /// The last parts that hold lines in front of `line`, in their order, of about so many bytes.
    std::vector<TextPart> Before(uint64_t line, uint64_t mostBytes) const;
    /// A line such that no earlier one begins at this position or behind it, at most one block earlier than
    /// the first that does.
    uint64_t LineNear(uint64_t position) const;

  private:
    static const std::deque<TextCell>& TextOf(const RecordingIndex& recording, uint8_t port);
    std::vector<TextPart> Parts(size_t first, size_t behind, uint64_t firstLine) const;

    const RecordingIndex& index;
    const std::deque<TextCell>& cells;
};

/// Reads the lines that begin in the parts, one after another, and what of the last one stands in them.
void ReadLines(const std::vector<TextPart>& parts, const CaptureBytes& bytes, uint8_t port, bool timed,
               const LineReader::Take& take);

}  // namespace Korr::Plim::Trace::Swo
