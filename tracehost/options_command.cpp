// tracehost options
#include <cstdio>

#include "host_api/cPelkitError.h"
#include "options/ChannelOptionsHandler.h"
#include "tracehost/commands.h"
#include "tracehost/errors.h"
#include "tracehost/plugin.h"
#include "tracehost/record_options.h"
#include "tracehost/standard_output.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

struct OptionsRequest {
    std::string output;
    std::string plugin = kDefaultPlugin;
};

constexpr uint32_t kAnyProbe = 2;

std::string Choices(const Tarnel::ChannelOptions& option) {
    std::string text;
    for (const std::string& choice : option.choices) text += (text.empty() ? "" : ", ") + choice;
    return text;
}

void Save(const Tarnel::OptionList& options, const std::string& file) {
    try {
        SaveWholeOptions(options, file);
    } catch (const cPelkitErrorIF& error) {
        throw PluginError(error.GetText(),
                          "the file is \"" + file + "\": is its folder there, and may you write into it?");
    }
}

int Run(const OptionsRequest& request) {
    std::FILE* const output = TakeStandardOutput();
    Tarnel::ChannelOptionsHandler handler;
    Tarnel::OptionList options;
    handler.GetOptions(options, "", kAnyProbe);
    std::fprintf(output, "%-14s %-20s %s\n", "KEY", "DEFAULT", "CHOICES");
    for (const auto& option : options) {
        std::fprintf(output, "%-14s %-20s %s\n", option.key.c_str(), option.value.c_str(),
                     Choices(option).c_str());
    }
    if (!request.output.empty()) {
        Save(options, request.output);
        std::fprintf(output, "\nWritten to %s\n", request.output.c_str());
    }
    FinishStandardOutput(output);
    return kDone;
}

}  // namespace

void AddOptionsCommand(CLI::App& program, int& status) {
    auto request = std::make_shared<OptionsRequest>();
    CLI::App* const command = program.add_subcommand(
        "options", "Show the receiver options with their defaults, or write them to a file");
    command->add_option("--output", request->output, "Options file to write");
    AddPluginOption(*command, request->plugin);
    command->footer("Example:\n  tracehost options --output swo.xml\n");
    command->callback([request, &status] { status = Run(*request); });
}

}  // namespace Korr::Plim::Trace::Tracehost
