// Checks of what GetStatus answers.
#include "tracehost/check/scene.h"
#include "tracehost/check/subjects.h"

namespace Korr::Plim::Trace::Tracehost::Validation {

namespace {

struct WantedStatus {
    uint32_t code;
    const char* text;
    const char* flags;
};

WantedStatus WantedIn(State state) {
    switch (state) {
        case State::Created:
            return {kStatusCalibrating, "Calibrating ...", "00000"};
        case State::Configured:
            return {kStatusReady, "Ready to record", "11000"};
        case State::Recording:
            return {kStatusRecording, "Recording", "10010"};
        default:
            return {kStatusStoppedByUser, "Stopped by user", "11001"};
    }
}

void CheckTexts(Stage& stage) {
    for (const State state : StatesAt(stage)) {
        const Scene scene(stage);
        scene.BringTo(state);
        const Status status = StatusOf(scene.driver);
        const WantedStatus wanted = WantedIn(state);
        const std::string what = std::string("GetStatus of a driver that is ") + NameOf(state) + ": ";
        ExpectEqual(what + "code", status.code, wanted.code);
        ExpectText(what + "text", status.text.c_str(), wanted.text);
        ExpectText(what + "flags 0 to 4", status.flags.c_str(), wanted.flags);
    }
}

void CheckWithoutTarget(Stage& stage) {
    const Scene scene(stage);
    for (const uint32_t state : {3u, 4u}) {
        scene.driver.SetTargetState(state);
        const Status status = StatusOf(scene.driver);
        const std::string what = "GetStatus with the target state " + Shown(state);
        Expect(status.code == 99 && status.text == "untouched" && status.flags == "?????",
               what + " changes the host's record");
    }
    scene.driver.SetTargetState(7);
    ExpectEqual("GetStatus once the target is connected again: code", scene.driver.Code(),
                uint32_t{kStatusCalibrating});
}

}  // namespace

const std::vector<Check>& StatusChecks() {
    static const std::vector<Check> checks = {
        {"status-texts", "In every state GetStatus gives that state's code, text and five flags",
         "the host's views show the text and switch their buttons by code and flags", 0, CheckTexts},
        {"status-without-target",
         "With the target states 3 and 4 GetStatus leaves the host's record as it was",
         "the host shows its own words while no target is connected", 0, CheckWithoutTarget},
    };
    return checks;
}

}  // namespace Korr::Plim::Trace::Tracehost::Validation
