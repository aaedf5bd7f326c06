#include "tracehost/recording_view.h"

#include <filesystem>

#include "tracehost/diagnosis_text.h"
#include "tracehost/firmware.h"
#include "tracehost/loss_text.h"
#include "tracehost/port_types.h"
#include "tracehost/source_lines.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

/// As the profile on the command line has them, but without folders: the page may be given away.
Viewer::LineFinder::Find LinesIn(const std::string& elf) {
    return [elf](const std::vector<uint32_t>& addresses) {
        auto lines = FindSourceLines(elf, addresses);
        for (auto& [address, line] : lines) line.erase(0, line.find_last_of("/\\") + 1);
        return lines;
    };
}

}  // namespace

void AddViewOptions(CLI::App& command, ViewRequest& request) {
    AddElf(command, request.elf);
    AddPortTypes(command, request.ports);
}

Viewer::RecordingSettings SettingsOf(const Capture& capture, const ViewRequest& request) {
    const RecordingSheet& sheet = capture.sheet;
    Viewer::RecordingSettings settings;
    // The page may be given away: it names files, not where they stand.
    settings.name = std::filesystem::path(capture.name).filename().string();
    if (!sheet.port.empty()) settings.port = sheet.port;
    if (!sheet.started.empty()) settings.started = sheet.started;
    if (!request.elf.empty()) {
        settings.symbols = ReadFirmware(request.elf);
        settings.elf = std::filesystem::path(request.elf).filename().string();
        if (HasLineReader()) settings.lines = std::make_shared<Viewer::LineFinder>(LinesIn(request.elf));
    }
    settings.analysis = capture.options;
    settings.ports = request.ports;
    if (capture.scale.clockHz > 0) settings.clockHz = static_cast<double>(capture.scale.clockHz);
    settings.baud = capture.baud ? capture.baud : sheet.baudTaken ? sheet.baudTaken : sheet.baudAsked;
    for (const ArrivalPoint& point : sheet.arrivals) {
        settings.arrivals.push_back({point.milliseconds, point.bytes});
    }
    settings.describe = DescribeLoss;
    settings.summarise = SummariseLosses;
    settings.judge = [](const Swo::SignalFeatures& features) {
        const Swo::Diagnosis diagnosis = Swo::Diagnose(features);
        return Viewer::Verdict{std::string(Swo::SignalVerdictName(diagnosis.verdict)),
                               VerdictLine(features, diagnosis)};
    };
    return settings;
}

}  // namespace Korr::Plim::Trace::Tracehost
