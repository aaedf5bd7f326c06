// tracehost view
#include <chrono>
#include <thread>

#include "source_utilities/visible_text.h"
#include "tracehost/captures.h"
#include "tracehost/commands.h"
#include "tracehost/exit_status.h"
#include "tracehost/interrupt.h"
#include "tracehost/number_option.h"
#include "tracehost/page_server.h"
#include "tracehost/plugin.h"
#include "tracehost/recording_view.h"
#include "tracehost/standard_output.h"
#include "tracehost/viewed_file.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

struct ViewCommandRequest {
    CaptureRequest capture;
    ViewRequest view;
    uint16_t port = 0;
    bool noBrowser = false;
    std::string plugin = kDefaultPlugin;
};

constexpr NumberOption kListen{"--listen", Measure::Count, 0, UINT16_MAX, true};
constexpr auto kLook = std::chrono::milliseconds(100);

constexpr const char* kViewFooter =
    "Serves a page on this machine that shows the recording, prints its address and opens it in the browser, "
    "until\n"
    "Ctrl-C. The address holds a password: whoever has it can look. A raw file that still grows is "
    "followed.\n"
    "\n"
    "Examples:\n"
    "  tracehost view trace.tdf\n"
    "  tracehost view trace.bin --clock 48MHz --elf firmware.elf --port-type 3=f32:speed\n"
    "  tracehost view trace.tdf --section 2 --listen 8080 --no-browser\n";

int Run(const ViewCommandRequest& request) {
    CatchInterrupts();
    ViewedFile file(request.capture, request.view);
    PageServer server("--listen", request.port, file.Feed(), file.Controls());
    PrintText(server.Address() + "\n");
    std::fprintf(stderr, "tracehost: showing %s until Ctrl-C\n", KORR_PLIM::Visible(file.Name()).Text());
    std::fflush(stderr);  // also where it is a file
    if (!request.noBrowser) server.OpenBrowser();
    while (!InterruptRequested()) {
        server.TellBrowserProblem();
        file.Look();
        std::this_thread::sleep_for(kLook);
    }
    return file.Whole() ? kDone : kFailed;
}

}  // namespace

void AddViewCommand(CLI::App& program, int& status) {
    auto request = std::make_shared<ViewCommandRequest>();
    CLI::App* const command = program.add_subcommand("view", "Show a recording in the browser");
    AddCaptureOptions(*command, request->capture);
    command->get_option("FILE")->description("Raw or TDF file on a disk");
    command->remove_option(command->get_option("--fail-on"));  // it ends when the user wants
    AddLineRate(*command, request->capture);
    AddViewOptions(*command, request->view);
    AddNumber(*command, kListen, "Port of 127.0.0.1 to serve the page at; 0: any (default: 0)",
              [request](auto port) { request->port = static_cast<uint16_t>(*port); });
    command->add_flag("--no-browser", request->noBrowser, "Print the page's address alone");
    AddPluginOption(*command, request->plugin);
    command->footer(kViewFooter);
    command->callback([request, &status] { status = Run(*request); });
}

}  // namespace Korr::Plim::Trace::Tracehost
