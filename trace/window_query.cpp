#include "trace/window_query.h"

#include "trace/window_events.h"
#include "trace/window_fold.h"
#include "trace/window_marks.h"

namespace Korr::Plim::Trace::Swo {

WindowQuery::WindowQuery(const RecordingIndex& index, const WindowFrame& window, bool columnsOnly)
    : frame(window) {
    const RecordingSummaries& summaries = index.Summaries();
    const auto blocks = summaries.BlocksOf(frame.first, frame.last);
    end = {index.EndPosition(), index.Analysis().Bytes()};
    from = summaries.PlaceOf(blocks.from);
    plan = index.PlanFrom(from);
    const uint64_t begin = plan.from ? plan.from->state.offset : 0;
    const uint64_t behind = std::min(summaries.PlaceOf(blocks.to), end.place);
    decodes = behind - std::min(behind, begin) <= kMostDecoded + 2 * summaries.BlockBytes();
    if (decodes) {
        exact = !columnsOnly && summaries.PacketsIn(blocks.from, blocks.to) <= kMostEvents;
        for (size_t port = 0; port < kPorts; ++port) openLines[port] = summaries.OpenLine(port, blocks.from);
    } else {
        WindowColumns columns(frame);
        summaries.Show(columns, end.position, end.place);
        shown = columns.Take();
    }
    shown.marks = MarksOf(index.Analysis().Losses(), frame, [&](uint64_t place) {
        return frame.axis.At(summaries.BeginOf(summaries.BlockOf(place), end.position));
    });
}

template <class Sink>
WindowAnswer WindowQuery::Decode(const CaptureBytes& bytes) {
    Sink sink(frame, plan.from ? plan.from->exceptions : ExceptionStack{},
              plan.from ? plan.from->standing.Position(frame.timed) : 0);
    sink.BeginText(from, openLines);
    const Replay<Sink> replay(plan, bytes, sink);
    return sink.Finish(end);
}

WindowAnswer WindowQuery::Answer(const CaptureBytes& bytes) {
    if (!decodes) return std::move(shown);
    WindowAnswer answer = exact ? Decode<WindowEvents>(bytes) : Decode<WindowFold>(bytes);
    answer.marks = std::move(shown.marks);
    return answer;
}

}  // namespace Korr::Plim::Trace::Swo
