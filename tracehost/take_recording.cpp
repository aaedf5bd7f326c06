#include "tracehost/take_recording.h"

#include "tracehost/errors.h"
#include "tracehost/interrupt.h"
#include "tracehost/live_analysis.h"
#include "tracehost/live_view.h"
#include "tracehost/log_level.h"
#include "tracehost/recording.h"
#include "tracehost/recording_summary.h"
#include "tracehost/sheet_file.h"
#include "tracehost/standard_output.h"
#include "tracehost/tcp_output.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr auto kLastBytes = std::chrono::seconds(2);  // that clients may take for them

LivePart PresentPart(const Recording& recording) {
    LivePart present;
    present.name = recording.File().Name();
    present.raw = recording.File().Raw();
    present.port = recording.Port();
    const RecordingResult& result = recording.Result();
    present.clockHz = result.traceClock;
    present.bitRate = result.bitRate;
    if (result.parts.empty()) return present;
    present.captureFile = result.parts.back().captureFile;
    if (!recording.File().IsStream()) present.savedFile = result.parts.back().file;
    return present;
}

}  // namespace

int TakeRecording(const RecordRequest& request, std::FILE* standardOutput) {
    WarnOfLogLevel();
    Recording recording(request, standardOutput);
    LiveAnalysis live(request, standardOutput);
    recording.Observe(live);
    std::optional<TcpOutput> tcp;
    if (request.tcpPort) {
        tcp.emplace(*request.tcpPort, request.bytes);
        recording.Observe(*tcp);
        std::fprintf(stderr, "tracehost: the bytes, as they come, at 127.0.0.1:%u\n", tcp->Port());
        std::fflush(stderr);  // also where it is a file
    }
    std::optional<LiveView> view;
    if (request.view) {
        view.emplace(
            request, [&recording] { return PresentPart(recording); }, [&recording] { recording.AskToEnd(); });
        recording.Observe(*view);
    }
    recording.ShowBeside([&] {
        if (view) view->Look();
        live.WatchPort(recording.Port());
        return live.Line();
    });
    std::string sheetProblem;
    recording.AfterPart([&](const RecordingResult& result) {
        const RecordingSheet sheet = live.EndPart(result);
        if (view) view->EndPart(sheet);
        if (recording.File().IsStream()) return;
        try {
            WriteSheetOf(recording.File().Name(), recording.File().Raw(), sheet);
        } catch (const HostError& error) {
            sheetProblem = error.what();
        }
    });
    recording.AtEnd([&](std::FILE* output, Conclusion& conclusion) {
        if (tcp) conclusion.tcp = tcp->Finish(kLastBytes);
        if (tcp && output != nullptr) PrintTcpClients(output, *conclusion.tcp);
        live.Finish(output, conclusion);
        if (!sheetProblem.empty()) conclusion.Add(kFailed, sheetProblem);
    });
    const int status = recording.Run();
    if (view && !InterruptRequested() && IsTerminal(stdin)) view->ServeUntilInterrupted();
    return status;
}

}  // namespace Korr::Plim::Trace::Tracehost
