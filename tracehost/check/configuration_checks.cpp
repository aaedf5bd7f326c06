// Checks of SetConfiguration.
#include "host_api/cPelkitError.h"
#include "tracehost/check/scene.h"
#include "tracehost/check/subjects.h"

namespace Korr::Plim::Trace::Tracehost::Validation {

namespace {

struct Refused {
    const char* what;
    std::map<std::string, std::string> options;
    const char* text;
};

void CheckConfigurationRefusals(Stage& stage) {
    const Refused kRefused[] = {
        {"an old firmware",
         {{"RCVRFWVER", "fw 1.0.0.4"}},
         "SWO is not supported by the current emulator firmware. Update the firmware to the latest version "
         "(check with "
         "your emulator's vendor for details)"},
        {"no prescaler",
         {{"PRESCALARVAL", "Prescalar value"}},
         "Please specify prescalar in Receiver settings"},
        {"no clock",
         {{"CLKFREQVAL", "Frequency in Hz"}},
         "Please specify clock frequency in Receiver Settings"},
        {"no port", {{"COMPORT", ""}}, "Please specify valid COM port number in Receiver Settings"}};
    for (const State state : {State::Created, State::Configured}) {
        const Scene scene(stage);
        scene.BringTo(state);
        const uint32_t code = scene.driver.Code();
        for (const Refused& refused : kRefused) {
            const std::string file = stage.WriteOptions(refused.options);
            const std::string what = std::string("SetConfiguration with ") + refused.what;
            ExpectRefusal(what, refused.text, [&] { scene.driver.SetConfiguration(file.c_str()); });
            ExpectEqual("GetStatus after " + what + ": code", scene.driver.Code(), code);
        }
        Step("SetConfiguration of a file that is not there");
        try {
            scene.driver.SetConfiguration(stage.File("nowhere.xml").c_str());
            Fail("SetConfiguration of a file that is not there is not refused");
        } catch (const cPelkitErrorIF&) {
        }
        ExpectEqual("GetStatus after SetConfiguration of a file that is not there: code", scene.driver.Code(),
                    code);
        scene.Configure();
        ExpectEqual("GetStatus after a good SetConfiguration: code", scene.driver.Code(),
                    uint32_t{kStatusReady});
    }
}

/// A file whose last lines are not those of another one.
void CheckConfigurationAnew(Stage& stage) {
    const Scene scene(stage);
    const auto prescale = [&] {
        TraceAttribute answer;
        scene.driver.GetAttribute("ITM Timestamp Prescale", answer);
        return std::string(answer.value != nullptr ? answer.value : "");
    };
    for (const char* wanted : {"16", "1", "64", "4"}) {
        scene.driver.SetConfiguration(stage.WriteOptions({{"TSPRESCALAR", wanted}}).c_str());
        ExpectText("the timestamp prescale of the options file read last", prescale().c_str(), wanted);
    }
}

}  // namespace

const std::vector<Check>& ConfigurationChecks() {
    static const std::vector<Check> checks = {
        {"configuration-refusals",
         "Options that cannot be meant are refused with their text, and the state stays",
         "the text is all that tells a user which setting is wrong", 0, CheckConfigurationRefusals},
        {"configuration-anew", "Every SetConfiguration reads the file anew",
         "a user changes the settings between two recordings", 0, CheckConfigurationAnew},
    };
    return checks;
}

}  // namespace Korr::Plim::Trace::Tracehost::Validation
