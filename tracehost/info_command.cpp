// tracehost info
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "tracehost/commands.h"
#include "tracehost/errors.h"
#include "tracehost/plugin.h"
#include "tracehost/standard_output.h"
#include "tracehost/tdf_file.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

/// The name with everything that a terminal might obey replaced by "?".
std::string Printable(const TdfSection& section) {
    std::string text = section.name;
    for (char& character : text) {
        if (character < ' ' || character > '~') character = '?';
    }
    if (section.nameLength > section.name.size()) {
        text += "... (" + std::to_string(section.nameLength) + " bytes)";
    }
    return text;
}

void PrintSections(const std::string& name, std::ifstream& file, uint64_t size) {
    const TdfContents contents = ReadTdfSections(file, size);
    std::printf("%s: TDF file, %llu bytes, %zu section(s)\n", name.c_str(),
                static_cast<unsigned long long>(size), contents.sections.size());
    std::printf("%12s %8s %12s  %s\n", "offset", "version", "length", "name");
    for (const TdfSection& section : contents.sections) {
        std::printf("%12llu %8u %12u  %s\n", static_cast<unsigned long long>(section.offset), section.version,
                    section.length, Printable(section).c_str());
    }
    if (contents.damage.empty()) return;
    FinishStandardOutput(stdout);
    throw HostError("\"" + name + "\" is damaged " + contents.damage);
}

void Print(const std::string& name) {
    std::error_code failure;
    const uint64_t size = std::filesystem::file_size(name, failure);
    std::ifstream file(name, std::ios::binary);
    if (failure || !file) throw UsageError("\"" + name + "\" cannot be read: is it a file, and is it there?");
    if (IsTdfFile(file)) return PrintSections(name, file, size);
    const uint64_t samples = size / 8 + (size % 8 != 0 ? 1 : 0);
    std::printf("%s: raw file, %llu bytes (%llu samples of 8 bytes)\n", name.c_str(),
                static_cast<unsigned long long>(size), static_cast<unsigned long long>(samples));
}

int Run(const std::string& name) {
    Print(name);
    FinishStandardOutput(stdout);
    return kDone;
}

}  // namespace

void AddInfoCommand(CLI::App& program, int& status) {
    auto file = std::make_shared<std::string>();
    auto plugin = std::make_shared<std::string>(kDefaultPlugin);
    CLI::App* const command = program.add_subcommand("info", "Show what a recorded file holds");
    command->add_option("FILE", *file, "TDF or raw file")->required();
    AddPluginOption(*command, *plugin);
    command->footer("Example:\n  tracehost info capture.tdf\n");
    command->callback([file, plugin, &status] { status = Run(*file); });
}

}  // namespace Korr::Plim::Trace::Tracehost
