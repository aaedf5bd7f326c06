// tracehost info
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "source_utilities/visible_text.h"
#include "tracehost/commands.h"
#include "tracehost/errors.h"
#include "tracehost/file_access.h"
#include "tracehost/json_output.h"
#include "tracehost/plugin.h"
#include "tracehost/standard_output.h"
#include "tracehost/tdf_file.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

struct InfoRequest {
    std::string file;
    bool json = false;
    std::string plugin = kDefaultPlugin;
};

/// What a file holds.
struct FileInfo {
    uint64_t size = 0;
    bool isTdf = false;
    TdfContents contents;  ///< of a TDF file
    uint64_t Samples() const { return size / 8 + (size % 8 != 0 ? 1 : 0); }
};

FileInfo Read(const std::string& name) {
    std::string why = WhyNotReadable(name);
    std::error_code failure;
    FileInfo info;
    if (why.empty()) info.size = std::filesystem::file_size(name, failure);
    if (why.empty() && failure) why = "it is no file that has a size";
    if (!why.empty()) throw UsageError("\"" + name + "\" cannot be read: " + why);
    std::ifstream file(name, std::ios::binary);
    info.isTdf = IsTdfFile(file);
    if (info.isTdf) info.contents = ReadTdfSections(file, info.size);
    return info;
}

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

void PrintSections(std::FILE* output, const std::string& name, const FileInfo& info) {
    std::fprintf(output, "%s: TDF file, %llu bytes, %zu section(s)\n", name.c_str(),
                 static_cast<unsigned long long>(info.size), info.contents.sections.size());
    std::fprintf(output, "%12s %8s %12s  %s\n", "offset", "version", "length", "name");
    for (const TdfSection& section : info.contents.sections) {
        std::fprintf(output, "%12llu %8u %12u  %s\n", static_cast<unsigned long long>(section.offset),
                     section.version, section.length, Printable(section).c_str());
    }
}

Json ToJson(const std::string& name, const FileInfo& info) {
    Json object = {{"file", name}, {"format", info.isTdf ? "tdf" : "raw"}, {"bytes", info.size}};
    if (!info.isTdf) {
        object["samples"] = info.Samples();
        return object;
    }
    object["sections"] = Json::array();
    for (const TdfSection& section : info.contents.sections) {
        object["sections"].push_back({{"offset", section.offset},
                                      {"version", section.version},
                                      {"length", section.length},
                                      {"name", section.name}});
    }
    object["damage"] = OrNull(info.contents.damage);
    return object;
}

void Print(std::FILE* output, const InfoRequest& request, const FileInfo& info) {
    if (request.json) return PrintJson(output, ToJson(request.file, info));
    const std::string name = KORR_PLIM::Visible(request.file).Text();
    if (info.isTdf) return PrintSections(output, name, info);
    std::fprintf(output, "%s: raw file, %llu bytes (%llu samples of 8 bytes)\n", name.c_str(),
                 static_cast<unsigned long long>(info.size), static_cast<unsigned long long>(info.Samples()));
}

int Run(const InfoRequest& request) {
    std::FILE* const output = TakeStandardOutput();
    const FileInfo info = Read(request.file);
    Print(output, request, info);
    FinishStandardOutput(output);
    if (info.contents.damage.empty()) return kDone;
    throw HostError("\"" + request.file + "\" is damaged " + info.contents.damage);
}

}  // namespace

void AddInfoCommand(CLI::App& program, int& status) {
    auto request = std::make_shared<InfoRequest>();
    CLI::App* const command = program.add_subcommand("info", "Show what a recorded file holds");
    command->add_option("FILE", request->file, "TDF or raw file")->required()->type_name("");
    AddJsonFlag(*command, request->json);
    AddPluginOption(*command, request->plugin);
    command->footer("Example:\n  tracehost info capture.tdf\n");
    command->callback([request, &status] { status = Run(*request); });
}

}  // namespace Korr::Plim::Trace::Tracehost
