#pragma once

#include <cstdint>

namespace Korr::Plim::Trace::Swo {

/// Cuts the text of one stimulus port into lines, byte by byte. A line ends with its line feed, or when it
/// has kLongestLine bytes. A copy keeps its state.
class LineSplitter {
  public:
    static constexpr uint16_t kLongestLine = 4096;

    LineSplitter() = default;
    /// Goes on in a line of which so many bytes have come; 0: none is open.
    explicit LineSplitter(uint16_t open) : length(open) {}

    struct Step {
        bool begins;  ///< a line begins with this byte
        bool shown;   ///< the byte is part of the line's text; else it ends it
    };
    Step Take(uint8_t byte) {
        if (byte == '\n') {
            const bool empty = length == 0;
            length = 0;
            return {empty, false};
        }
        const bool begins = length == 0 || length == kLongestLine;
        length = static_cast<uint16_t>(begins ? 1 : length + 1);
        return {begins, true};
    }
    /// Bytes of the line that is open, without a line feed; 0: none is.
    uint16_t Open() const { return length; }

  private:
    uint16_t length = 0;
};

}  // namespace Korr::Plim::Trace::Swo
