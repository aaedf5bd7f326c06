// tracehost options
#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "host_api/cPelkitError.h"
#include "simulator/pelkit/error_reading.h"
#include "source_utilities/visible_text.h"
#include "tracehost/commands.h"
#include "tracehost/errors.h"
#include "tracehost/explanation.h"
#include "tracehost/json_output.h"
#include "tracehost/number_option.h"
#include "tracehost/own_board.h"
#include "tracehost/plugin.h"
#include "tracehost/record_options.h"
#include "tracehost/record_settings.h"
#include "tracehost/standard_output.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

struct OptionsRequest {
    RecordRequest settings;
    bool anySetting = false;
    std::string output;
    bool force = false;
    bool json = false;
};

std::string Choices(const Tarnel::ChannelOptions& option) {
    std::string text;
    for (const std::string& choice : option.choices) text += (text.empty() ? "" : ", ") + choice;
    return text;
}

void PrintTable(std::FILE* output, const Tarnel::OptionList& options, bool anySetting) {
    std::fprintf(output, "%-14s %-20s %s\n", "KEY", anySetting ? "VALUE" : "DEFAULT", "CHOICES");
    for (const auto& option : options) {
        std::fprintf(output, "%-14s %-20s %s\n", option.key.c_str(), option.value.c_str(),
                     Choices(option).c_str());
    }
}

Json ToJson(const Tarnel::OptionList& options, const std::vector<MissingSetting>& missing,
            const std::string& file) {
    Json object = {{"file", OrNull(file)}, {"options", Json::array()}, {"missing", Json::array()}};
    for (const auto& option : options) {
        object["options"].push_back(
            {{"id", option.id}, {"key", option.key}, {"value", option.value}, {"choices", option.choices}});
    }
    for (const MissingSetting& setting : missing) {
        object["missing"].push_back({{"key", setting.key}, {"wanted", setting.wanted}});
    }
    return object;
}

void RefuseExistingFile(const OptionsRequest& request) {
    std::error_code failure;
    if (request.force || !std::filesystem::is_regular_file(request.output, failure)) return;
    throw UsageError("\"" + request.output + "\" exists: give --force to replace it, or another --output");
}

void Save(const Tarnel::OptionList& options, const std::string& file) {
    try {
        SaveWholeOptions(options, file);
    } catch (const cPelkitErrorIF& error) {
        Surroundings used;
        used.outputFile = file;
        throw PluginError(pelkit::TextOf(error), Explain(pelkit::TextOf(error), used));
    }
}

/// On standard error, in the neighbourhood of the file, so that standard output stays what it is.
void TellWhatIsMissing(const std::string& file, const std::vector<MissingSetting>& missing) {
    for (const MissingSetting& setting : missing) {
        std::fprintf(stderr, "tracehost: \"%s\": to be filled in: %s: %s\n", KORR_PLIM::Visible(file).Text(),
                     setting.key.c_str(), setting.wanted.c_str());
    }
}

int Run(const OptionsRequest& request) {
    if (!request.output.empty()) RefuseExistingFile(request);
    std::FILE* const output = TakeStandardOutput();
    Tarnel::OptionList options = DocumentedDefaults();
    if (request.anySetting) ApplySettings(options, request.settings);
    const auto missing = MissingSettings(options, EnvironmentNamesBoard());
    if (!request.output.empty()) Save(options, request.output);
    if (request.json) {
        PrintJson(output, ToJson(options, missing, request.output));
    } else {
        PrintTable(output, options, request.anySetting);
        if (!request.output.empty()) {
            std::fprintf(output, "\nWritten to %s\n", KORR_PLIM::Visible(request.output).Text());
        }
    }
    FinishStandardOutput(output);
    if (!request.output.empty()) TellWhatIsMissing(request.output, missing);
    return kDone;
}

}  // namespace

void AddOptionsCommand(CLI::App& program, int& status) {
    auto request = std::make_shared<OptionsRequest>();
    CLI::App* const command = program.add_subcommand(
        "options",
        "Show the receiver options with their defaults or the given settings, or write them to a file");
    AddText(*command, "--output", "FILE", "Options file to write", request->output);
    command->add_flag("--force", request->force, "Replace an existing file");
    const auto settings = AddSettings(*command, request->settings);
    AddJsonFlag(*command, request->json);
    AddPluginOption(*command, request->settings.plugin);
    command->footer(
        "Examples:\n"
        "  tracehost options\n"
        "  tracehost options --port 5 --clock 48M --prescaler 23 --output swo.xml\n"
        "  tracehost record --options swo.xml --seconds 10 --output trace.tdf\n");
    command->callback([request, settings, &status] {
        request->anySetting = AnyGiven(settings);
        status = Run(*request);
    });
}

}  // namespace Korr::Plim::Trace::Tracehost
