#pragma once

#include <string>
#include <vector>
#include "tracehost/cli_names.h"

namespace Korr::Plim::Trace::Tracehost {

/// What can stand on a command line in one place.
struct Completion {
    std::vector<std::string> names;  ///< "-h", "--help"; empty for what stands without a name
    std::string description;
    std::string type;                ///< as help shows it, "tdf|raw"; empty for a flag
    std::vector<std::string> words;  ///< of the type
    bool takesFile = false;
};

/// A command as help shows it.
struct CompletedCommand {
    std::string name;
    std::string description;
    std::vector<Completion> options;
    std::vector<Completion> positionals;
};

/// The program itself, with the name "" and its commands as the words of its one positional, then every
/// command.
std::vector<CompletedCommand> CompletedCommands(const CLI::App& program);

/// Scripts that complete tracehost's command line, each for one shell, of all that the help shows.
std::string BashCompletion(const std::vector<CompletedCommand>& commands);
std::string ZshCompletion(const std::vector<CompletedCommand>& commands);
std::string FishCompletion(const std::vector<CompletedCommand>& commands);

}  // namespace Korr::Plim::Trace::Tracehost
