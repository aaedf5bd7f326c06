#include "tracehost/explanation.h"

#include <algorithm>

#include "simulator/board/board_file.h"
#include "source_utilities/environment_variables.h"
#include "source_utilities/file_system.h"
#include "tracehost/file_access.h"
#include "tracehost/platform_words.h"
#include "tracehost/port_access.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr const char* kSetupAdapter = "SetupAdapter4";
constexpr uint64_t kLittleSpace = 1'000'000;  // bytes; a capture or a save that fails has less left

const Explanation* Find(const std::string& message) {
    const auto table = Explanations();
    const auto row = std::find_if(table.begin(), table.end(), [&message](const Explanation& explanation) {
        return explanation.varies ? message.starts_with(explanation.message) : message == explanation.message;
    });
    return row != table.end() ? &*row : nullptr;
}

std::string ExplainPort(const Explanation& row, const Surroundings& used) {
    if (!used.port) return row.advice;
    const PortAccess access = CheckPort(*used.port, PortCheck::ByOpening);
    return FormatFinding(access.problem, access.device, access.problem.empty() ? row.advice : access.advice);
}

std::string FolderOf(const std::string& path) {
    const std::size_t end = path.find_last_of("/\\");
    return end == std::string::npos ? "." : path.substr(0, std::max<std::size_t>(end, 1));
}

/// "only 0 bytes are free"; empty when there is room, or nobody knows.
std::string LittleSpace(const std::string& path) {
    uint64_t bytes = 0;
    if (!KORR_PLIM::platform::FreeSpace(FolderOf(path).c_str(), bytes) || bytes >= kLittleSpace) return {};
    return "only " + std::to_string(bytes) + " bytes are free";
}

std::string ExplainWritten(const std::string& path, const char* advice) {
    if (path.empty()) return advice;
    const std::string why = WhyNotWritable(path);
    if (!why.empty()) return FormatFinding(why, path, "is its folder there, and may you write into it?");
    const std::string space = LittleSpace(path);
    return FormatFinding(space, path, space.empty() ? advice : "make room on that disk");
}

/// Why the plug-in could not make its folders below the user's home.
std::string ExplainHome() {
    namespace platform = KORR_PLIM::platform;
    const char* const fallback = platform::HomeFallbackVariable();
    std::string home = platform::GetVariable("USERPROFILE");
    if (home.empty() && fallback != nullptr) home = platform::GetVariable(fallback);
    if (home.empty()) {
        return std::string("captures go below the user's home, which is not known: set ") +
               (fallback != nullptr ? fallback : "USERPROFILE");
    }
    return FormatFinding(WhyNoFolder(home), home,
                         "captures go below the user's home: it must be a folder in which you "
                         "may write");
}

std::string ExplainOptions(const Explanation& row, const Surroundings& used) {
    if (used.optionsFile.empty()) return row.advice;
    return FormatFinding(WhyNotReadable(used.optionsFile), used.optionsFile, row.advice);
}

std::string ExplainLibrary(const Explanation& row, const std::string& message, const Surroundings& used) {
    const std::string name = message.substr(std::string(row.message).size());
    return FormatFinding(LoaderWords(name, used.pluginFolder), name, row.advice);
}

/// The set-up file that the board file names for the CPU; empty when it names none or cannot be read.
std::string SetUpFile(const Surroundings& used) {
    try {
        return Simulator::ReadBoard(used.board).setUpFile.For(used.cpu);
    } catch (const Simulator::BoardError&) {
        return {};
    }
}

std::string ExplainProbe(const Explanation& row, const Surroundings& used) {
    const std::string words = LoaderWords(kSetupAdapter, used.pluginFolder);
    if (!words.empty()) return FormatFinding(words, kSetupAdapter, "install the host's libraries anew");
    const std::string file = SetUpFile(used);
    if (file.empty()) {
        return FormatFinding({}, used.board, "it names no \"set_up_file\" for the CPU " + used.cpu);
    }
    return FormatFinding(WhyNotReadable(file), file, row.advice);
}

}  // namespace

std::string FormatFinding(const std::string& reason, const std::string& thing, const std::string& advice) {
    std::string text = reason;
    if (!thing.empty()) text += (text.empty() ? "" : ": ") + thing;
    if (!advice.empty()) text += (text.empty() ? "" : "; ") + advice;
    return text;
}

std::string Explain(const std::string& message, const Surroundings& used) {
    const Explanation* const row = Find(message);
    if (row == nullptr) return {};
    switch (row->subject) {
        case Subject::Port:
            return ExplainPort(*row, used);
        case Subject::CaptureFile:
            if (used.captureFile.empty()) return ExplainHome();
            return ExplainWritten(used.captureFile, row->advice);
        case Subject::OutputFile:
            return ExplainWritten(used.outputFile, row->advice);
        case Subject::OptionsFile:
            return ExplainOptions(*row, used);
        case Subject::Library:
            return ExplainLibrary(*row, message, used);
        case Subject::Probe:
            return ExplainProbe(*row, used);
        case Subject::Board:
            return FormatFinding({}, used.board, row->advice);
        case Subject::Nothing:
            break;
    }
    return row->advice;
}

}  // namespace Korr::Plim::Trace::Tracehost
