#include "tracehost/take_recording.h"

#include "tracehost/errors.h"
#include "tracehost/live_analysis.h"
#include "tracehost/log_level.h"
#include "tracehost/recording.h"
#include "tracehost/sheet_file.h"

namespace Korr::Plim::Trace::Tracehost {

int TakeRecording(const RecordRequest& request, std::FILE* standardOutput) {
    WarnOfLogLevel();
    Recording recording(request, standardOutput);
    LiveAnalysis live(request, standardOutput);
    recording.Observe(live);
    recording.ShowBeside([&] {
        live.WatchPort(recording.Port());
        return live.Line();
    });
    std::string sheetProblem;
    recording.AfterPart([&](const RecordingResult& result) {
        const RecordingSheet sheet = live.EndPart(result);
        if (recording.File().IsStream()) return;
        try {
            WriteSheetOf(recording.File().Name(), recording.File().Raw(), sheet);
        } catch (const HostError& error) {
            sheetProblem = error.what();
        }
    });
    recording.AtEnd([&](std::FILE* output, Conclusion& conclusion) {
        live.Finish(output, conclusion);
        if (!sheetProblem.empty()) conclusion.Add(kFailed, sheetProblem);
    });
    return recording.Run();
}

}  // namespace Korr::Plim::Trace::Tracehost
