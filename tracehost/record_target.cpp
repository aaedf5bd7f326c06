#include "tracehost/record_target.h"

#include "tracehost/errors.h"
#include "tracehost/number_option.h"
#include "tracehost/record_settings.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr uint32_t kDemoPrescaler = 11;  // 2 Mbaud of the 24 MHz target, which every machine keeps up with

}  // namespace

TargetOptions AddTarget(CLI::App& command, RecordRequest& request) {
    TargetOptions options;
    options.others = {
        AddText(command, "--board", "FILE", "Board file (default: TRACEHOST_BOARD)", request.board),
        AddText(command, "--cpu", "NAME", "Name of the CPU (default: board/cpu)", request.cpu),
        AddText(command, "--options", "FILE",
                "Options file (see \"tracehost options\") instead of the next five", request.options)};
    options.settings = AddSettings(command, request);
    options.others.push_back(command.add_flag("--demo", request.demo, "Record a simulated board and signal"));
    return options;
}

void SettleTarget(RecordRequest& request, const TargetOptions& options) {
    for (const CLI::Option* const setting : options.settings) {
        if (!request.options.empty() && setting->count() > 0) {
            throw UsageError(setting->get_name() + " cannot be given with --options: the file says it");
        }
    }
    if (request.demo && !request.options.empty()) {
        throw UsageError(
            "--demo brings its own port, which an options file cannot name: leave --options out");
    }
    if (request.demo && (request.port || !request.board.empty())) {
        throw UsageError("--demo brings its own board and port: leave --board and --port out");
    }
    bool rateGiven = false;
    for (const CLI::Option* const setting : options.settings) {
        const bool isRate = setting->check_name("--clock") || setting->check_name("--prescaler");
        rateGiven = rateGiven || (isRate && setting->count() > 0);
    }
    if (request.demo && !rateGiven) request.prescaler = kDemoPrescaler;
}

}  // namespace Korr::Plim::Trace::Tracehost
