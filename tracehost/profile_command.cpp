// tracehost profile
#include "tracehost/capture_export.h"
#include "tracehost/commands.h"
#include "tracehost/errors.h"
#include "tracehost/firmware.h"
#include "tracehost/json_output.h"
#include "tracehost/number_option.h"
#include "tracehost/plugin.h"
#include "tracehost/profile.h"
#include "tracehost/text_output.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

struct ProfileRequest {
    CaptureRequest capture;
    std::string elf;
    std::string from;
    std::string to;
    ProfileBy by = ProfileBy::Function;
    bool json = false;
    std::string plugin = kDefaultPlugin;
};

constexpr const char* kProfileFooter =
    "Samples that may never have been sent are left out. Shares are of all samples.\n"
    "Source lines are told by arm-none-eabi-addr2line, llvm-addr2line or addr2line, whichever is found "
    "first.\n"
    "\n"
    "Examples:\n"
    "  tracehost profile trace.tdf --elf firmware.elf\n"
    "  tracehost profile trace.tdf --elf firmware.elf --by line --from 1.5s --to 2s\n"
    "  tracehost profile trace.bin --by address\n";

class Profiling {
  public:
    explicit Profiling(const ProfileRequest& wanted) : request(wanted) {
        if (request.elf.empty() && request.by != ProfileBy::Address) {
            throw UsageError("--elf is required, but for --by address: see \"tracehost profile --help\"");
        }
        SetStretch(wantedPackets.filter, request.from, request.to);
        wantedPackets.capture = request.capture;
        if (!request.elf.empty()) symbols = ReadFirmware(request.elf);
    }

    int Run() {
        TextOutput output("-", false);
        Exports::SampleCounter samples;
        Json captures = Json::array();
        std::string text;
        const auto finish = [&](const Capture& capture) {
            const Profile profile = MakeProfile(samples, symbols.get(), request.by, request.elf);
            if (request.json) {
                captures.push_back(ProfileAsJson(capture.name, profile, request.by));
            } else {
                output.Print((first ? "" : "\n") + FormatProfile(capture.name, profile, request.by));
            }
            first = false;
            samples = {};
        };
        const int status = ExportCaptures(wantedPackets, samples, {[] {}, finish});
        if (request.json) PrintJson(output.Stream(), {{"captures", captures}});
        output.Finish();
        return status;
    }

  private:
    const ProfileRequest& request;
    ExportRequest wantedPackets;
    std::unique_ptr<Symbols::ElfSymbols> symbols;
    bool first = true;
};

}  // namespace

void AddProfileCommand(CLI::App& program, int& status) {
    auto request = std::make_shared<ProfileRequest>();
    CLI::App* const command = program.add_subcommand("profile", "Tell where the processor spent its time");
    AddCaptureOptions(*command, request->capture);
    AddElf(*command, request->elf);
    AddText(*command, "--from", "PLACE", "First packet: a time (1.5s, 300ms) or an offset (#12345)",
            request->from);
    AddText(*command, "--to", "PLACE", "Where to end, likewise", request->to);
    AddChoice(*command, "--by", "What samples are counted by (default: function)",
              {"function", "line", "address"}, [request](const std::string& word) {
                  request->by = word == "line"      ? ProfileBy::Line
                                : word == "address" ? ProfileBy::Address
                                                    : ProfileBy::Function;
              });
    AddJsonFlag(*command, request->json);
    AddPluginOption(*command, request->plugin);
    command->footer(kProfileFooter);
    command->callback([request, &status] { status = Profiling(*request).Run(); });
}

}  // namespace Korr::Plim::Trace::Tracehost
