// tracehost doctor
#include <algorithm>
#include <cstdio>

#include "source_utilities/visible_text.h"
#include "tracehost/commands.h"
#include "tracehost/doctor_checks.h"
#include "tracehost/errors.h"
#include "tracehost/json_output.h"
#include "tracehost/number_option.h"
#include "tracehost/plugin.h"
#include "tracehost/standard_output.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

struct DoctorRequest {
    std::string port;  ///< as given; empty: those of probes
    bool json = false;
    std::string plugin = kDefaultPlugin;
};

void PrintCheck(std::FILE* output, const Check& check) {
    const std::string advice = check.advice.empty() ? "" : "; " + check.advice;
    std::fprintf(output, "%-6s %-24s %s\n", check.ok ? "ok" : "to do", check.name.c_str(),
                 KORR_PLIM::Visible(check.found + advice).Text());
}

Json ToJson(const std::vector<Check>& checks, bool allOk) {
    Json list = Json::array();
    for (const Check& check : checks) {
        list.push_back({{"name", check.name},
                        {"ok", check.ok},
                        {"found", check.found},
                        {"advice", OrNull(check.advice)}});
    }
    return {{"ok", allOk}, {"checks", list}};
}

int Run(const DoctorRequest& request) {
    std::FILE* const output = TakeStandardOutput();
    const std::vector<Check> checks = RunChecks(request.plugin, request.port);
    const auto toDo =
        std::count_if(checks.begin(), checks.end(), [](const Check& check) { return !check.ok; });
    if (request.json) {
        PrintJson(output, ToJson(checks, toDo == 0));
    } else {
        for (const Check& check : checks) PrintCheck(output, check);
    }
    FinishStandardOutput(output);
    return toDo == 0 ? kDone : kFailed;
}

}  // namespace

void AddDoctorCommand(CLI::App& program, int& status) {
    auto request = std::make_shared<DoctorRequest>();
    CLI::App* const command = program.add_subcommand(
        "doctor", "Check what a recording needs, and say what to do; status 1 when there is something");
    AddText(*command, "--port", "PORT",
            "COM port to look at: 5, COM5 or, on Linux, a device (default: those of probes)", request->port);
    AddJsonFlag(*command, request->json);
    AddPluginOption(*command, request->plugin);
    command->footer("Example:\n  tracehost doctor --port 5\n");
    command->callback([request, &status] { status = Run(*request); });
}

}  // namespace Korr::Plim::Trace::Tracehost
