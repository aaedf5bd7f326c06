#include "tests/abi/host/scene.h"

namespace host {
namespace {

char folderName[1024];
char setupFile[1100];
char optionsFile[1100];
bool tablesByHand;

const char* LogName() {
    static char name[1200];
    const Line pattern("%s\\korr_trace_log_*.txt", Variable("KORR_TRACE_LOGGING_DIR"));
    const Line found("%s\\%s", Variable("KORR_TRACE_LOGGING_DIR"), FirstFile(pattern));
    memcpy(name, found, strlen(found) + 1);
    return name;
}

/// Those of earlier runs: one log alone is read.
void RemoveLogs(const char* folder) {
    const Line pattern("%s\\korr_trace_log_*.txt", folder);
    while (*FirstFile(pattern) != '\0') Remove(Line("%s\\%s", folder, FirstFile(pattern)));
}

void Keep(char* room, const Line& text) { memcpy(room, text, strlen(text) + 1); }

}  // namespace

void PrepareFolder(const char* folder, bool rawTables) {
    tablesByHand = rawTables;
    Keep(folderName, Line("%s%s", folder, folder[strlen(folder) - 1] == '\\' ? "" : "\\"));
    for (char* at = folderName; *at != '\0'; ++at) {
        if (*at == '/') *at = '\\';
    }
    Keep(setupFile, Line("%sset-up.txt", folderName));
    Keep(optionsFile, Line("%soptions.xml", folderName));
    const char* const board = "$ brantor\n$ dot7\n  ts_pin_width=only_two\n";
    if (!WriteWholeFile(setupFile, board, strlen(board))) Fail("cannot write into the given folder");
    const Line home("%shome", folderName);
    MakeFolder(home);
    RemoveLogs(Line("%s\\.KORR-trace", static_cast<const char*>(home)));
    SetVariable("USERPROFILE", home);
    SetVariable("KORR_TRACE_LOGGING", "3");
    ResetScript();
}

const char* Folder() { return folderName; }

void ResetScript() {
    Script& script = *HostScript();
    memset(&script, 0, sizeof script);
    script.rawTables = tablesByHand;
    script.setupFile = {setupFile, strlen(setupFile)};
    script.registerAddress = {"400FE060", 8};
    script.cpu = {kCpu, strlen(kCpu)};
    script.device = 0x1B99A02F;
    script.word = 1;
}

void ScriptThrow(Place place, Thrown thrown) {
    ResetScript();
    HostScript()->throwAt = place;
    HostScript()->thrown = thrown;
}

uint32_t Calls(Place place) { return HostScript()->calls[static_cast<uint32_t>(place)]; }

const char* WriteOptions(const char* clock, const char* prescaler, const char* port) {
    const bool automatic = Equal(clock, "Auto");
    const Line text(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<CHANNEL-SETUP>\n<VERSION "
        "version=\"1.1.0.0\"></VERSION>\n"
        "<RCVRNAME>SWO Trace</RCVRNAME>\n<RCVRFWVER>fw 1.0.0.8</RCVRFWVER>\n<ENCTYPE>UART</ENCTYPE>\n"
        "<PRESCALAR>Manual</PRESCALAR>\n<PRESCALARVAL>%s</PRESCALARVAL>\n<CLKFREQ>%s</CLKFREQ>\n"
        "<CLKFREQVAL>%s</CLKFREQVAL>\n<COMPORT>%s</COMPORT>\n<TSPRESCALAR>16</TSPRESCALAR>\n</"
        "CHANNEL-SETUP>\n",
        prescaler, automatic ? "Auto" : "Manual", clock, port);
    if (!WriteWholeFile(optionsFile, text, strlen(text))) Fail("cannot write the options file");
    return optionsFile;
}

void OrderFarEnd(const char* what, const void* bytes, size_t length) {
    const Line order("%s\\%s", Variable("TARNEL_PROBE_ORDERS"), what);
    const Line part("%s.part", static_cast<const char*>(order));
    if (!WriteWholeFile(part, bytes, length)) Fail("the port's far end takes no orders");
    Rename(part, order);
    for (const uint32_t start = Clock(); Exists(order); Wait(5)) {
        if (Clock() - start > 60000) Fail("the port's far end does not follow");
    }
}

LogWatch::LogWatch() : from(File(LogName()).length) {}

bool LogWatch::Holds(const char* text) const {
    const File log(LogName());
    return log.bytes != nullptr && log.length >= from && strstr(log.bytes + from, text) != nullptr;
}

Session::Session(const Plugin& loaded, bool raw)
    : plugin(loaded),
      receiver{loaded.create(), raw},
      adapter(FreshAdapter()),
      driver{receiver.Allocate(kCpu, adapter, kCpuId, 1), raw} {}
Session::~Session() { plugin.destroy(receiver.receiver); }

bool Equal(const char* one, const char* other) {
    return one != nullptr && other != nullptr && strcmp(one, other) == 0;
}

}  // namespace host
