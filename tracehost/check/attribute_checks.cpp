// Checks of GetAttribute.
#include <filesystem>

#include "tracehost/check/scene.h"
#include "tracehost/check/subjects.h"

namespace Korr::Plim::Trace::Tracehost::Validation {

namespace {

struct Wanted {
    const char* name;
    uint32_t type;
    const char* value;
};

void ExpectAttribute(const DriverCalls& driver, const Wanted& wanted) {
    TraceAttribute answer;
    driver.GetAttribute(wanted.name, answer);
    const std::string what = "GetAttribute(" + Argument(wanted.name) + "): ";
    Expect(answer.name == wanted.name, what + "the name is not the pointer that the host gave");
    ExpectEqual(what + "type", answer.type, wanted.type);
    ExpectText(what + "value", answer.value, wanted.value);
}

void CheckTable(Stage& stage) {
    const Scene scene(stage);
    const Wanted kFresh[] = {
        {"Trace Data Frequency", 6, "0"},   {"Timing Clock Frequency", 6, "0"},
        {"Buffer Wrapped", 0, "0"},         {"TWP Source", 0, "0"},
        {"ITM Timestamp Prescale", 2, "1"}, {"ITM Exception Map Name", 5, "MOD_EXCEPTIONMAP"},
        {"buffer wrapped", 1, "0"},         {"", 1, "0"},
        {"ITM Timestamp Prescale ", 1, "0"}};
    for (const Wanted& wanted : kFresh) ExpectAttribute(scene.driver, wanted);
    scene.driver.SetConfiguration(
        stage.WriteOptions({{"CLKFREQVAL", "48000000"}, {"PRESCALARVAL", "23"}, {"TSPRESCALAR", "64"}})
            .c_str());
    const Wanted kConfigured[] = {{"Trace Data Frequency", 6, "2e+06"},
                                  {"Timing Clock Frequency", 6, "4.8e+07"},
                                  {"ITM Timestamp Prescale", 2, "64"}};
    for (const Wanted& wanted : kConfigured) ExpectAttribute(scene.driver, wanted);
}

void CheckWords(Stage& stage) {
    stage.SetBoard("memory",
                   R"({"0xE0001020": "0x00000001", "0xE0001030": "0xFFFFFFFF", "0xE0001050": "0x89ABCDEF"})");
    const Scene scene(stage);
    const Wanted kWords[] = {{"WP0 Comp", 2, "1"},
                             {"WP1 Comp", 2, "4294967295"},
                             {"WP2 Comp", 2, "0"},
                             {"WP3 Comp", 2, "2309737967"}};
    for (const Wanted& wanted : kWords) ExpectAttribute(scene.driver, wanted);
}

void CheckChannels(Stage& stage) {
    {
        const Scene scene(stage);
        const Wanted kLegacy[] = {{"ITMChannelType_0", 1, "1"},  {"ITMChannelType_1", 1, "0"},
                                  {"ITMChannelType_31", 1, "0"}, {"ITMChannelType_32", 1, "0"},
                                  {"ITMChannelType_-1", 1, "0"}, {"xITMChannelType_0", 1, "1"}};
        for (const Wanted& wanted : kLegacy) ExpectAttribute(scene.driver, wanted);
    }
    const Scene scene(stage);
    const auto file = std::filesystem::path(Stage::Folder("KORR_TRACE_SETTINGS_DIR")) / "TraceCntrl-itm.ini";
    stage.Write(file.string(),
                "ITMChannel_0=0\nITMChannel_1=1\nITMChannel_2=2\nITMChannel_4=1\nITMChannel_3=1\n");
    const Wanted kOfFile[] = {{"ITMChannelType_0", 1, "0"},
                              {"ITMChannelType_1", 1, "1"},
                              {"ITMChannelType_2", 1, "0"},
                              {"ITMChannelType_3", 1, "1"},
                              {"ITMChannelType_4", 1, "0"}};
    for (const Wanted& wanted : kOfFile) ExpectAttribute(scene.driver, wanted);
}

}  // namespace

const std::vector<Check>& AttributeChecks() {
    static const std::vector<Check> checks = {
        {"attributes",
         "Each attribute has its type and value, fresh and configured; unknown names answer 1, \"0\"",
         "the host's decoder takes frequencies and prescale from them", 0, CheckTable},
        {"attributes-memory", "The comparators' attributes are words of the target's memory, in decimal",
         "the host decodes data trace by the comparators", 0, CheckWords},
        {"attributes-channels",
         "Stimulus ports have the types of the set-up file, or the legacy ones without a file",
         "the host decodes each port by its type", 0, CheckChannels},
    };
    return checks;
}

}  // namespace Korr::Plim::Trace::Tracehost::Validation
