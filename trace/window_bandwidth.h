#pragma once

#include <algorithm>
#include <cmath>

#include "trace/window_answer.h"

namespace Korr::Plim::Trace::Swo {

/// Bytes and losses by column.
class WindowBandwidth {
  public:
    explicit WindowBandwidth(const WindowFrame& window)
        : frame(window),
          bytes(window.pixels),
          padding(window.pixels),
          overflows(window.pixels),
          damage(window.pixels) {}

    /// Bytes that came in a stretch of the axis, and how often something was lost there.
    void Add(double begin, double end, double count, double ofPadding, uint32_t dropped, uint32_t broken);
    /// A packet, and the bytes of the capture up to the next one.
    void OnPacket(const Packet& packet, const Standing& standing, double time, bool inside);
    /// The capture's bytes up to here belong to the last packet.
    void EndAt(uint64_t end) { Settle(end); }
    std::vector<NamedArray> Take();

  private:
    void Settle(uint64_t upTo);

    const WindowFrame& frame;
    std::vector<double> bytes;
    std::vector<double> padding;
    std::vector<uint32_t> overflows;
    std::vector<uint32_t> damage;
    bool counts = false;  ///< the last packet was in the window
    uint64_t place = 0;   ///< its
    double time = 0;
};

/// Which share of a stretch lies in each column.
/// \param take called with (column, share) in the order of the columns; shares are above 0, or 1 of an empty
/// stretch. Nothing is called for stretches outside the window.
template <class Take>
void SpreadOver(const WindowFrame& frame, double begin, double end, Take&& take) {
    if (begin >= frame.to || end < frame.from || (end == frame.from && begin < end)) return;
    if (end <= begin) return take(frame.Column(begin), 1.0);
    const double width = (frame.to - frame.from) / frame.pixels;
    const double low = std::max(begin, frame.from);
    const double high = std::min(end, frame.to);
    const uint32_t firstColumn = frame.Column(low);
    const uint32_t lastColumn = frame.Column(high);
    for (uint32_t column = firstColumn; column <= lastColumn; ++column) {
        const double left = column == firstColumn ? low : frame.from + column * width;
        const double right = column == lastColumn ? high : frame.from + (column + 1) * width;
        if (right > left) take(column, (right - left) / (end - begin));
    }
}

}  // namespace Korr::Plim::Trace::Swo
