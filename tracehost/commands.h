#pragma once

#include <CLI/CLI.hpp>

namespace Korr::Plim::Trace::Tracehost {

/// Each adds its subcommand to the program. When the subcommand was given, `status` holds the exit status
/// after parsing; HostError, UsageError and exceptions of the plug-in pass through the parser.
void AddScriptCommand(CLI::App& program, int& status);
void AddRecordCommand(CLI::App& program, int& status);
void AddPortsCommand(CLI::App& program, int& status);
void AddOptionsCommand(CLI::App& program, int& status);
void AddInfoCommand(CLI::App& program, int& status);
void AddDoctorCommand(CLI::App& program, int& status);
/// "help", "version" and "completion". \param program must outlive the parsing
void AddAboutCommands(CLI::App& program, int& status);
void AddDecodeCommand(CLI::App& program, int& status);
void AddExportCommand(CLI::App& program, int& status);
void AddProfileCommand(CLI::App& program, int& status);
void AddReportCommand(CLI::App& program, int& status);
void AddDiagnoseCommand(CLI::App& program, int& status);
void AddRatesCommand(CLI::App& program, int& status);
void AddViewCommand(CLI::App& program, int& status);
void AddCheckCommand(CLI::App& program, int& status);

/// "--plugin PATH", which every subcommand takes.
void AddPluginOption(CLI::App& command, std::string& plugin);

}  // namespace Korr::Plim::Trace::Tracehost
