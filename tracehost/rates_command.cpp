// tracehost rates
#include "tracehost/commands.h"
#include "tracehost/errors.h"
#include "tracehost/number_option.h"
#include "tracehost/plugin.h"
#include "tracehost/rate_table.h"
#include "tracehost/record_settings.h"
#include "tracehost/text_output.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

struct RatesRequest {
    std::string port;
    double clock = 0;
    uint32_t from = 0;
    uint32_t to = 8191;
    std::optional<uint32_t> around;
    std::string plugin = kDefaultPlugin;
};

constexpr uint32_t kLastPrescaler = 8191;
constexpr uint32_t kNeighbours = 8;  // on each side of --around

constexpr const char* kRatesFooter =
    "A probe's driver may take some milliseconds a rate: --around asks fewer. Nothing may have the port "
    "open.\n"
    "\n"
    "Examples:\n"
    "  tracehost rates --port 5 --clock 48MHz --around 23\n"
    "  tracehost rates --port 5 --clock 48MHz --to 100\n";

int RunRates(RatesRequest request) {
    if (request.around) {
        request.from = *request.around - std::min(*request.around, kNeighbours);
        request.to = std::min(*request.around + kNeighbours, kLastPrescaler);
    }
    if (request.from > request.to) throw UsageError("--from is above --to: no prescaler lies between them");
    const uint32_t port = ParsePort(request.port);
    TextOutput output("-", false);
    const auto rows = AskRates(port, request.clock, request.from, request.to);
    output.Print(FormatRates(rows));
    output.Finish();
    return kDone;
}

}  // namespace

void AddRatesCommand(CLI::App& program, int& status) {
    auto request = std::make_shared<RatesRequest>();
    CLI::App* const command = program.add_subcommand("rates", "Show which rates a port takes, and how well");
    command->add_option("--port", request->port, "COM port")->type_name("PORT")->required();
    AddNumber(*command, {"--clock", Measure::Hertz, 1, 4e9}, "Trace clock",
              [request](std::optional<double> number) { request->clock = *number; })
        ->required();
    AddNumber(*command, {"--from", Measure::Count, 0, kLastPrescaler, true}, "First prescaler (default: 0)",
              [request](std::optional<double> number) { request->from = static_cast<uint32_t>(*number); });
    AddNumber(*command, {"--to", Measure::Count, 0, kLastPrescaler, true}, "Last prescaler (default: 8191)",
              [request](std::optional<double> number) { request->to = static_cast<uint32_t>(*number); });
    AddNumber(*command, {"--around", Measure::Count, 0, kLastPrescaler, true},
              "This prescaler and 8 on each side, in place of --from and --to",
              [request](std::optional<double> number) { request->around = static_cast<uint32_t>(*number); });
    AddPluginOption(*command, request->plugin);
    command->footer(kRatesFooter);
    command->callback([request, &status] { status = RunRates(*request); });
}

}  // namespace Korr::Plim::Trace::Tracehost
