// tracehost help, version, completion
#include "tracehost/commands.h"
#include "tracehost/completion.h"
#include "tracehost/exit_status.h"
#include "tracehost/number_option.h"
#include "tracehost/plugin.h"
#include "tracehost/plugin_version.h"
#include "tracehost/standard_output.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

void AddCompletionCommand(CLI::App& program, int& status) {
    auto shell = std::make_shared<std::string>();
    CLI::App* const command =
        program.add_subcommand("completion", "Print what completes the command line in a shell");
    AddChoice(*command, "SHELL", "Shell", {"bash", "zsh", "fish"}, [shell](const std::string& word) {
        *shell = word;
    })->required();
    command->footer(
        "Example:\n  tracehost completion bash > ~/.local/share/bash-completion/completions/tracehost\n");
    command->callback([shell, &program, &status] {
        const auto commands = CompletedCommands(program);
        PrintText(*shell == "bash"  ? BashCompletion(commands)
                  : *shell == "zsh" ? ZshCompletion(commands)
                                    : FishCompletion(commands));
        status = kDone;
    });
}

}  // namespace

void AddAboutCommands(CLI::App& program, int& status) {
    CLI::App* const help = program.add_subcommand("help", "Show the help of the program or of a command");
    help->add_option("COMMAND", "Command")->type_name("");
    help->footer("Example:\n  tracehost help record\n");

    auto plugin = std::make_shared<std::string>(kDefaultPlugin);
    CLI::App* const version =
        program.add_subcommand("version", "Show the versions of tracehost and of the plug-in");
    AddPluginOption(*version, *plugin);
    version->footer("Example:\n  tracehost version\n");
    version->callback([plugin, &status] {
        PrintText(VersionReport(*plugin) + "\n");
        status = kDone;
    });
    AddCompletionCommand(program, status);
}

}  // namespace Korr::Plim::Trace::Tracehost
