// Checks of what the plug-in asks the host's libraries, and of their faults.
#include "tracehost/check/scene.h"
#include "tracehost/check/subjects.h"

namespace Korr::Plim::Trace::Tracehost::Validation {

namespace {

void ExpectNoDriver(Stage& stage, const ReceiverCalls& receiver, const std::string& when, const char* text) {
    const std::size_t before = stage.Journal().size();
    CheckAdapter adapter(kCpuId);
    ExpectRefusal("AllocateChannelDriver " + when, text,
                  [&] { receiver.Allocate(kCpu, &adapter, kCpuId, 1); });
    ExpectEqual("GetNumCpus after a refused allocation", receiver.GetNumCpus(), 0u);
    uint32_t made = 0;
    for (const HostCall& call : stage.Journal(before)) made += call.operation == "Initialise" ? 1 : 0;
    ExpectEqual("set-up adapters given back " + when, stage.CountCalls("DestroySetupAdapter", before), made);
    stage.ResetBoard();
}

void ExpectDriver(const ReceiverCalls& receiver) {
    CheckAdapter adapter(kCpuId);
    receiver.Release(receiver.Allocate(kCpu, &adapter, kCpuId, 1));
}

void CheckProbe(Stage& stage) {
    const char* const kNoProbe = "SWO trace is not supported by this emulator.";
    const Life life(stage);
    stage.SetBoard("setup_adapter", R"({"create": false})");
    ExpectNoDriver(stage, life.receiver, "without a set-up adapter", kNoProbe);
    stage.SetBoard("setup_adapter", R"({"initialise_error": "no licence"})");
    ExpectNoDriver(stage, life.receiver, "when the set-up adapter does not initialise", kNoProbe);
    Expect(stage.Log().find("no licence") != std::string::npos,
           "the log does not tell why the set-up adapter refused");
    stage.SetBoard("setup_adapter", R"({"throws": true})");
    ExpectNoDriver(stage, life.receiver, "when the set-up adapter throws", kNoProbe);
    stage.SetBoard("set_up_file", R"("nowhere.txt")");
    ExpectNoDriver(stage, life.receiver, "without a set-up file", kNoProbe);
    stage.Write("other.txt", "$ product\nname=\"Another\"\n");
    stage.SetBoard("set_up_file", R"("other.txt")");
    ExpectNoDriver(stage, life.receiver, "with another probe", kNoProbe);
    ExpectDriver(life.receiver);
}

void CheckDevice(Stage& stage) {
    const char* const kSwd =
        "Please check the target configuration(VELXML). Debug probe protocol must be SWD with COM port "
        "connected to TDO.";
    const Life life(stage);
    stage.SetBoard("device_identification", R"("0x0B000000")");
    ExpectNoDriver(stage, life.receiver, "for a device without SWO",
                   "SWO trace is not supported by this device.");
    stage.Write("jtag.txt", "$ brantor\n$ swd\nswd_debug=disabled\nswo_data=tdo_pin\n");
    for (const char* device : {R"("0x0B9AF02F")", R"("0xF0F0F0F0")", R"("0x1BB4D02F")"}) {
        stage.SetBoard("device_identification", device);
        stage.SetBoard("set_up_file", R"("jtag.txt")");
        ExpectNoDriver(stage, life.receiver, std::string("for the device ") + device + " without SWD", kSwd);
    }
    stage.SetBoard("device_identification", R"("0x0B99A02F")");
    stage.SetBoard("set_up_file", R"("jtag.txt")");
    ExpectNoDriver(
        stage, life.receiver, "for a device with four-pin cJTAG",
        "Please check the target configuration(VELXML). Debug probe protocol must be set to either: \n 1. "
        "2-pin "
        "CJTAG with Aux COM port connected to target TDO or UART pin.\n 1. 4-pin CJTAG with Aux COM port "
        "connected to target UART pin.");
    for (const char* device : {R"("0x0B9AF02F")", R"("0xF0F0F0F0")", R"("0x0BB4D02F")", R"("0x0B99A02F")",
                               R"("0x0B9BE02F")", R"("0x2BB4102F")"}) {
        stage.SetBoard("device_identification", device);
        ExpectDriver(life.receiver);
    }
}

void CheckIdentifier(Stage& stage) {
    const Plugin& plugin = stage.LoadedPlugin();
    stage.SetBoard("device_identifier", R"({"create": false})");
    Step("CreateRcvr");
    for (int i = 0; i < 2; ++i) {
        ExpectRefusal("CreateRcvr without a device identifier",
                      "Internal error, failed to create device identifier", [&] { plugin.CreateReceiver(); });
    }
    stage.ResetBoard();
    {
        const Life life(stage);
        ExpectEqual("GetNumCpus of the receiver that could be made then", life.receiver.GetNumCpus(), 0u);
    }
    for (const HostCall& call : stage.Journal()) {
        if (call.operation == "DestroyDeviceIdentifier") {
            ExpectText("arguments of DestroyDeviceIdentifier", call.arguments.c_str(),
                       R"({"identifier":"identifier","argument":0})");
        }
    }
    ExpectEqual("DestroyDeviceIdentifier's calls", stage.CountCalls("DestroyDeviceIdentifier"), 1u);
}

void CheckAccessor(Stage& stage) {
    const Life life(stage);
    stage.SetBoard("target_adapter", R"({"create": false})");
    ExpectNoDriver(stage, life.receiver, "without a memory accessor",
                   "Cannot get target adapter for SWO receiver. Bad installation or setup.");
    ExpectDriver(life.receiver);
}

/// A clock that is read from the device's registers, and one that cannot be.
void CheckClock(Stage& stage) {
    Scene scene(stage);
    scene.driver.SetConfiguration(stage.WriteOptions({{"CLKFREQ", "Auto"}, {"COMPORT", "65000"}}).c_str());
    stage.SetBoard("device_identification", R"("0x0B000000")");
    ExpectRefusal("StartRecording with the clock of an unknown device",
                  "Could not determine the System clock frequency automatically. Please set it manually in "
                  "the receiver "
                  "properties.",
                  [&] { scene.driver.StartRecording(); });
    stage.SetBoard("device_identification", R"("0x0B99A02F")");
    stage.SetBoard("device_information", R"({"MOD_SYSCLK": {"CPUCLKDIV": "40032008"}})");
    stage.SetBoard("memory", R"({"0x40032008": "0x00000001"})");
    ExpectRefusal("StartRecording with a clock that is read, from a port that is not there",
                  "Failed to open COM port", [&] { scene.driver.StartRecording(); });
    TraceAttribute answer;
    scene.driver.GetAttribute("Timing Clock Frequency", answer);
    ExpectText("the trace clock that was read", answer.value, "2.4e+07");
}

/// The simulated libraries note what a real host would punish.
void CheckManners(Stage& stage) {
    const bool records = PortsAt(stage.Settings().pairs) > 0;
    if (!records) Remark("not looked at while recording, for which there is no pair of ports");
    {
        const Scene scene(stage);
        scene.BringTo(records ? State::Stopped : State::Configured);
        TraceAttribute answer;
        scene.driver.GetAttribute("WP0 Comp", answer);
        const Scene second(scene, "board/other", 8);
    }
    const auto calls = stage.Journal();
    for (const char* asked : {"CreateDeviceIdentifier", "CreateSetupAdapter", "Initialise", "GetSetupFile",
                              "Match", "NewTargetAdapter", "ReadMemory"}) {
        Expect(stage.CountCalls(asked) > 0, std::string(asked) +
                                                " of the simulated libraries was never called: does the "
                                                "plug-in find others?");
    }
    for (const HostCall& call : calls) {
        Expect(call.violation.empty(),
               call.library + " " + call.operation + call.arguments + ": " + call.violation);
    }
    ExpectEqual("set-up adapters given back", stage.CountCalls("DestroySetupAdapter"),
                stage.CountCalls("CreateSetupAdapter"));
    ExpectEqual("device identifiers given back", stage.CountCalls("DestroyDeviceIdentifier"),
                stage.CountCalls("CreateDeviceIdentifier"));
}

}  // namespace

const std::vector<Check>& HostLibraryChecks() {
    static const std::vector<Check> checks = {
        {"host-manners",
         "The host's libraries are asked in their order, with what they know, and get everything back",
         "the host's libraries do not check what they are given", 0, CheckManners},
        {"host-probe",
         "Without a fitting probe, or a set-up adapter that tells of one, an allocation is refused",
         "the text tells the user that this probe records no SWO", 0, CheckProbe},
        {"host-device",
         "A device without SWO, or a pin set-up that does not fit it, is refused with its text",
         "the text tells the user which setting of the target configuration is wrong", 0, CheckDevice},
        {"host-identifier", "Without a device identifier CreateRcvr is refused, and the next one works",
         "a host that was set up wrongly is mended while it runs", 0, CheckIdentifier},
        {"host-accessor", "Without a memory accessor an allocation is refused, and the next one works",
         "a host that was set up wrongly is mended while it runs", 0, CheckAccessor},
        {"host-clock",
         "An automatic trace clock is read from the device's registers, or refused with its text",
         "every baud rate follows from the trace clock", 0, CheckClock},
    };
    return checks;
}

}  // namespace Korr::Plim::Trace::Tracehost::Validation
