// tracehost help, tracehost version
#include "tracehost/commands.h"
#include "tracehost/errors.h"
#include "tracehost/plugin.h"
#include "tracehost/plugin_version.h"
#include "tracehost/standard_output.h"

namespace Korr::Plim::Trace::Tracehost {

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
}

}  // namespace Korr::Plim::Trace::Tracehost
