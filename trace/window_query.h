#pragma once

#include "trace/recording_index.h"
#include "trace/window_columns.h"

namespace Korr::Plim::Trace::Swo {

/// The answer to what a window shows. Takes what it needs of the index when it is made, so that the index may
/// go on while the capture is read again.
class WindowQuery {
  public:
    /// A window of no more bytes is decoded again; of no more packets every event is told.
    static constexpr uint64_t kMostDecoded = uint64_t{4} << 20;
    static constexpr uint64_t kMostEvents = 100'000;

    /// \param window kept by reference \param columnsOnly columns even where every event could be told
    WindowQuery(const RecordingIndex& index, const WindowFrame& window, bool columnsOnly);
    /// Any thread. \throws std::runtime_error when the capture cannot be read
    WindowAnswer Answer(const CaptureBytes& bytes);

  private:
    template <class Sink>
    WindowAnswer Decode(const CaptureBytes& bytes);

    const WindowFrame& frame;
    bool exact = false;
    bool decodes = false;
    ReplayPlan plan;
    uint64_t from = 0;  ///< place of the first block
    std::array<uint16_t, kPorts> openLines{};
    WindowEnd end;
    WindowAnswer shown;  ///< when it is not decoded
};

}  // namespace Korr::Plim::Trace::Swo
