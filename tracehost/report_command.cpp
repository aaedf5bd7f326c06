// tracehost report
#include "tracehost/captures.h"
#include "tracehost/commands.h"
#include "tracehost/errors.h"
#include "tracehost/number_option.h"
#include "tracehost/plugin.h"
#include "tracehost/report_text.h"
#include "tracehost/text_output.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

struct ReportRequest {
    CaptureRequest capture;
    std::string json;
    bool force = false;
    std::string plugin = kDefaultPlugin;
};

constexpr const char* kReportFooter =
    "Examples:\n"
    "  tracehost report trace.tdf\n"
    "  tracehost report trace.bin --clock 48MHz --counter-port 1\n"
    "  tracehost report trace.bin --json -\n";

class Reporting {
  public:
    explicit Reporting(const ReportRequest& wanted) : request(wanted) {
        if (!request.json.empty()) json.emplace(request.json, request.force);
        if (request.json != "-") terminal.emplace("-", false);
    }

    int Run() {
        ForEachCapture(request.capture, [this](Capture& capture) { Report(capture); });
        if (terminal) terminal->Finish();
        if (json) json->Finish();
        return status;
    }

  private:
    void Report(const Capture& capture) {
        Swo::CaptureAnalysis analysis(capture.options);
        std::vector<uint8_t> head;
        capture.Read([&](std::span<const uint8_t> bytes) {
            const std::size_t room = Swo::kForecastBytes - std::min(head.size(), Swo::kForecastBytes);
            head.insert(head.end(), bytes.begin(),
                        bytes.begin() + static_cast<std::ptrdiff_t>(std::min(room, bytes.size())));
            analysis.Feed(bytes);
        });
        analysis.Finish();
        CaptureReport report{capture, analysis, analysis.Features(), {}, {}, kDone};
        AddHostKnowledge(capture, analysis, report.features);
        report.diagnosis = Swo::Diagnose(report.features);
        const bool usable = IsUsable(report.features, report.diagnosis.verdict);
        if (usable) report.forecast = Swo::ForecastHoles(head, capture.options);
        report.status = StatusOf(analysis.Losses().Totals(), usable, request.capture.failOn);
        status = WorseStatus(status, report.status);
        Print(report);
    }

    void Print(const CaptureReport& report) {
        if (terminal) terminal->Print((shown++ > 0 ? "\n" : "") + FormatReport(report));
        if (json) json->Print(ReportAsJson(report));
    }

    const ReportRequest& request;
    std::optional<TextOutput> terminal;
    std::optional<TextOutput> json;
    int shown = 0;
    int status = kDone;
};

}  // namespace

void AddReportCommand(CLI::App& program, int& status) {
    auto request = std::make_shared<ReportRequest>();
    CLI::App* const command =
        program.add_subcommand("report", "Tell what a capture holds, and what was lost of it");
    AddCaptureOptions(*command, request->capture);
    AddLineRate(*command, request->capture);
    AddText(*command, "--json", "FILE", "File for programs: a JSON object a ledger entry, then the totals",
            request->json);
    command->add_flag("--force", request->force, "Replace a file that is there");
    AddPluginOption(*command, request->plugin);
    command->footer(kReportFooter);
    command->callback([request, &status] { status = Reporting(*request).Run(); });
}

}  // namespace Korr::Plim::Trace::Tracehost
