// tracehost report
#include <filesystem>

#include "tracehost/capture_bytes.h"
#include "tracehost/capture_export.h"
#include "tracehost/captures.h"
#include "tracehost/commands.h"
#include "tracehost/errors.h"
#include "tracehost/number_option.h"
#include "tracehost/plugin.h"
#include "tracehost/recording_view.h"
#include "tracehost/report_text.h"
#include "tracehost/text_output.h"
#include "viewer/html_writer.h"
#include "viewer/page_html.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr std::size_t kHtmlBudget =
    900000;  // bytes of a page; leaves room for what is in it whatever it takes
constexpr NumberOption kDetail{"--detail", Measure::Size, 0, 1e9, true};

struct ReportRequest {
    CaptureRequest capture;
    std::string json;
    std::string html;
    ViewRequest view;
    std::size_t detail = kHtmlBudget - Viewer::PageHtml().size();
    bool force = false;
    std::string plugin = kDefaultPlugin;
};

constexpr uint64_t kMostPiped = uint64_t{256} << 20;  // bytes that are kept in memory

constexpr const char* kReportFooter =
    "Examples:\n"
    "  tracehost report trace.tdf\n"
    "  tracehost report trace.bin --clock 48MHz --counter-port 1\n"
    "  tracehost report trace.bin --json -\n"
    "  tracehost report trace.tdf --html trace.html --elf firmware.elf --port-type 3=f32:speed\n"
    "  tracehost report trace.tdf --html trace.html --detail 20M\n";

/// What a page shows of one capture, collected while the capture is read.
class PageOfCapture {
  public:
    PageOfCapture(const Capture& capture, const ReportRequest& request)
        : detail(request.detail),
          piped(ComesOnce(request.capture.file)),
          from(request.capture.file == "-" ? "on standard input" : "out of \"" + request.capture.file + "\""),
          kept(std::make_shared<KeptBytes>()) {
        std::shared_ptr<const Swo::CaptureBytes> bytes = kept;
        if (!piped) bytes = std::make_shared<FileBytes>(request.capture.file, capture.input->Offset());
        feed = std::make_unique<Viewer::RecordingFeed>(SettingsOf(capture, request.view), bytes);
    }
    void Take(std::span<const uint8_t> bytes) {
        if (piped) Keep(bytes);
        feed->Take(bytes);
    }
    std::string Html(const CaptureReport& report) {
        feed->Finish([&report](Swo::CaptureAnalysis& analysis) {
            Swo::SignalFeatures features = report.features;
            AddHostKnowledge(report.capture, analysis, features);
        });
        if (report.forecast.holes > 0) feed->SetForecast(report.forecast.Share());
        return Viewer::EmbedRecording(*feed, Viewer::PageHtml(), detail);
    }

  private:
    /// Whether what comes out of a file cannot be read again.
    static bool ComesOnce(const std::string& file) {
        std::error_code failure;
        return !std::filesystem::is_regular_file(file, failure);
    }
    void Keep(std::span<const uint8_t> bytes) {
        taken += bytes.size();
        if (taken > kMostPiped) {
            throw HostError("--html: more than 256 MiB came " + from + ": save them to a file first");
        }
        kept->Append(bytes);
    }

    std::size_t detail;
    bool piped;
    std::string from;    ///< where the bytes of a pipe came
    uint64_t taken = 0;  ///< bytes of a pipe
    std::shared_ptr<KeptBytes> kept;
    std::unique_ptr<Viewer::RecordingFeed> feed;
};

class Reporting {
  public:
    explicit Reporting(const ReportRequest& wanted) : request(wanted) {
        if (request.json == "-" && request.html == "-") {
            throw UsageError("--json and --html: only one of them can be standard output");
        }
        for (const std::string& output : {request.json, request.html}) {
            if (!output.empty()) KeepApart(request.capture.file, output, request.force);
        }
        if (!request.json.empty()) json.emplace(request.json, request.force);
        if (!request.html.empty() && request.html != "-") RefuseSame(request.json, request.html);
        if (!request.html.empty()) html.emplace(request.html, request.force);
        if (request.json != "-" && request.html != "-") terminal.emplace("-", false);
    }

    int Run() {
        ForEachCapture(request.capture, [this](Capture& capture) { Report(capture); });
        if (terminal) terminal->Finish();
        if (json) json->Finish();
        if (html) html->Finish();
        return status;
    }

  private:
    /// The first is open by now.
    static void RefuseSame(const std::string& first, const std::string& second) {
        std::error_code failure;
        if (!std::filesystem::equivalent(first, second, failure)) return;
        throw UsageError("--json and --html: \"" + second + "\" cannot be both");
    }
    void Report(const Capture& capture) {
        std::optional<PageOfCapture> page;
        if (html && captures++ > 0) {
            throw UsageError("--html shows one recording: \"" + request.capture.file +
                             "\" has several, --section says which");
        }
        if (html) page.emplace(capture, request);
        Swo::CaptureAnalysis analysis(capture.options);
        std::vector<uint8_t> head;
        capture.Read([&](std::span<const uint8_t> bytes) {
            const std::size_t room = Swo::kForecastBytes - std::min(head.size(), Swo::kForecastBytes);
            head.insert(head.end(), bytes.begin(),
                        bytes.begin() + static_cast<std::ptrdiff_t>(std::min(room, bytes.size())));
            analysis.Feed(bytes);
            if (page) page->Take(bytes);
        });
        analysis.Finish();
        CaptureReport report{capture, analysis, analysis.Features(), {}, {}, kDone};
        AddHostKnowledge(capture, analysis, report.features);
        report.diagnosis = Swo::Diagnose(report.features);
        const bool usable = IsUsable(report.features, report.diagnosis.verdict);
        if (usable) report.forecast = Swo::ForecastHoles(head, capture.options);
        report.status = StatusOf(analysis.Losses().Totals(), usable, request.capture.failOn);
        status = WorseStatus(status, report.status);
        if (page) html->Print(page->Html(report));
        Print(report);
    }

    void Print(const CaptureReport& report) {
        if (terminal) terminal->Print((shown++ > 0 ? "\n" : "") + FormatReport(report));
        if (json) json->Print(ReportAsJson(report));
    }

    const ReportRequest& request;
    std::optional<TextOutput> terminal;
    std::optional<TextOutput> json;
    std::optional<TextOutput> html;
    int captures = 0;
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
    AddText(*command, "--html", "FILE",
            "File for a browser: a page that shows the recording, without a network", request->html);
    AddViewOptions(*command, request->view);
    AddNumber(*command, kDetail,
              "Bytes of the recording in that page, such as 20M (default: what keeps it below 1 MB)",
              [request](auto size) { request->detail = static_cast<std::size_t>(*size); });
    for (const char* name : {"--elf", "--port-type", "--detail"}) command->get_option(name)->needs("--html");
    command->add_flag("--force", request->force, "Replace a file that is there");
    AddPluginOption(*command, request->plugin);
    command->footer(kReportFooter);
    command->callback([request, &status] { status = Reporting(*request).Run(); });
}

}  // namespace Korr::Plim::Trace::Tracehost
