// Any bytes as a `tracehost script`: every line has one answer of the documented form, none, or is no
// command, which ends the script. The plug-in is the code that is linked here, its host's libraries and its
// serial port are scripted; captures are files of a folder of this process. Commands that wait, or that read
// or write files of any name, are only parsed; the word OPTIONS stands for a working options file.
#include <xercesc/util/PlatformUtils.hpp>

#include <set>
#include <sstream>

#include "fuzz/targets.h"
#include "fuzz/trace_home.h"
#include "receiver/exports.h"
#include "tests/fakes/scripted_serial_port.h"
#include "tests/unit/receiver/scripted_host.h"
#include "tracehost/script_session.h"

namespace fuzz {
namespace {

using namespace Korr::Plim::Trace::Tracehost;
namespace trace = Korr::Plim::Trace;

constexpr uint32_t kMostLines = 100;  // what many names of 64 KiB cost is known

constexpr char kOptions[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<CHANNEL-SETUP>\n<VERSION version=\"1.1.0.0\"/>\n"
    "<RCVRNAME>SWO Trace</RCVRNAME>\n<RCVRFWVER>fw 1.0.0.5</RCVRFWVER>\n<ENCTYPE>UART</ENCTYPE>\n"
    "<PRESCALAR>Manual</PRESCALAR>\n<PRESCALARVAL>23</PRESCALARVAL>\n<CLKFREQ>Manual</CLKFREQ>\n"
    "<CLKFREQVAL>48000000</CLKFREQVAL>\n<COMPORT>5</COMPORT>\n<TSPRESCALAR>1</TSPRESCALAR>\n</"
    "CHANNEL-SETUP>\n";

std::string OptionsFile() {
    static const std::string name = [] {
        std::string path = Folder::Instance().Path("options.xml");
        WriteFile(path, kOptions);
        xercesc::XMLPlatformUtils::Initialize();  // once more than the plug-in does: saves its set-up each
                                                  // time
        return path;
    }();
    return name;
}

fakes::CallJournal& Journal() {
    static fakes::CallJournal journal;
    return journal;
}

trace::MemoryAccessor* NewTargetAdapter(const char*, trace::MemoryAccessor** handle) {
    static fakes::FakeMemoryAccessor memory(Journal());
    return *handle = &memory;
}
trace::TargetAdapter* CreateTargetAdapter(const char*, uint32_t) {
    return new fakes::FakeTargetAdapter(Journal());
}
void DestroyTargetAdapter(trace::TargetAdapter* adapter) {
    delete dynamic_cast<fakes::FakeTargetAdapter*>(adapter);
}

bool IsSafe(const std::vector<ScriptWord>& words) {
    static const std::set<std::string> bare = {"default-options", "options", "board", "sleep", "save", "load",
                                               "wait-samples"};
    if (words.empty() || bare.count(words[0].text) != 0) return words.empty();
    if (words[0].text != "configure" || words.size() != 3) return true;
    return words[2].text == "OPTIONS" || (words[2].text == "-" && !words[2].quoted);
}

std::string WithOptionsFile(std::string line) {
    const std::size_t at = line.find("OPTIONS");
    return at == std::string::npos ? line : line.replace(at, 7, '"' + OptionsFile() + '"');
}

void CheckAnswer(const Answer& answer, uint32_t line) {
    const std::string text = answer.dump(-1, ' ', false, Answer::error_handler_t::replace);
    const Answer parsed = Answer::parse(text);
    Require(parsed.is_object() && parsed.at("line") == line && parsed.at("command").is_string(), text);
    Require(parsed.at("ok").get<bool>() == !parsed.contains("error"), text);
    Require(!parsed.at("ok").get<bool>() || !parsed.contains("severity"), text);
    // The scripted host throws nothing, so that whatever comes out is the plug-in's own error.
    if (parsed.contains("error")) {
        Require(parsed["error"].get<std::string>().find("no cPelkitError") == std::string::npos, text);
    }
}

void RunLine(ScriptSession& session, const std::string& line, uint32_t number) {
    const std::vector<ScriptWord> words = SplitScriptLine(line);
    if (!IsSafe(words)) return;
    const Answer answer = RunScriptLine(session, WithOptionsFile(line), number);
    Require(answer.is_null() == words.empty(), "no answer to: " + line);
    if (!answer.is_null()) CheckAnswer(answer, number);
}

void RunLines(ScriptSession& session, std::istream& lines) {
    std::string line;
    for (uint32_t number = 1; number <= kMostLines && ReadScriptLine(lines, line); ++number) {
        Require(line.size() <= kLongestLine + 1, "a line beyond its bound");
        RunLine(session, line, number);
    }
}

}  // namespace

void FuzzScript(std::string_view input) {
    TraceHome::Instance().TrimLog();
    Journal().Clear();
    fakes::ScriptedPorts::Reset();
    fakes::ScriptedPorts::Plug(5).idlePause = std::chrono::microseconds(200);
    receiver_tests::ScriptedHost host;
    host.identifier.identification = 0x0B9AF02F;
    namespace libraries = fakes::dynamic_library;
    libraries::RegisterLibrary("Tarnel", {{"CreateRcvr", libraries::Entry(&CreateRcvr)},
                                          {"DestroyRcvr", libraries::Entry(&DestroyRcvr)}});
    libraries::RegisterLibrary("ICETargetAdapter",
                               {{"NewTargetAdapter", libraries::Entry(&NewTargetAdapter)},
                                {"CreateTargetAdapter", libraries::Entry(&CreateTargetAdapter)},
                                {"DestroyTargetAdapter", libraries::Entry(&DestroyTargetAdapter)}});
    ScriptSession session("Tarnel");
    std::istringstream lines{std::string(input)};
    try {
        RunLines(session, lines);
    } catch (const ScriptError& error) {
        Require(*error.what() != '\0', "an error without a text");
    }
}

}  // namespace fuzz
