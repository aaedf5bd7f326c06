// Checks of the receiver's life: created once, counted by reference, made anew after its end.
#include <filesystem>

#include "tracehost/check/scene.h"
#include "tracehost/check/subjects.h"

namespace Korr::Plim::Trace::Tracehost::Validation {

namespace {

constexpr const char* kEnd = "DestroyDeviceIdentifier";  // which the receiver calls when it dies

void Destroy(Stage& stage, CReceiver* receiver, const std::string& what) {
    Step("DestroyRcvr of " + what);
    stage.LoadedPlugin().DestroyReceiver(receiver);
}

void CheckOneReceiver(Stage& stage) {
    const Life first(stage);
    const Life second(stage);
    Expect(first.receiver.Pointer() == second.receiver.Pointer(),
           "a second CreateRcvr gives another receiver");
    ExpectEqual("CreateDeviceIdentifier's calls", stage.CountCalls("CreateDeviceIdentifier"), 1u);
}

void CheckReferences(Stage& stage) {
    {
        const Life last(stage);
        { const Life first(stage); }
        ExpectEqual("DestroyDeviceIdentifier's calls after the first of two DestroyRcvr",
                    stage.CountCalls(kEnd), 0u);
        ExpectEqual("GetNumCpus after the first of two DestroyRcvr", last.receiver.GetNumCpus(), 0u);
    }
    ExpectEqual("DestroyDeviceIdentifier's calls after the last DestroyRcvr", stage.CountCalls(kEnd), 1u);
}

void CheckStrangers(Stage& stage) {
    Destroy(stage, nullptr, "null, before there is a receiver");
    CReceiver* gone = nullptr;
    {
        const Life life(stage);
        gone = life.receiver.Pointer();
        int stranger = 0;
        Destroy(stage, nullptr, "null");
        Destroy(stage, reinterpret_cast<CReceiver*>(&stranger), "a pointer that is no receiver");
        ExpectEqual("DestroyDeviceIdentifier's calls after DestroyRcvr of strangers", stage.CountCalls(kEnd),
                    0u);
        ExpectEqual("GetNumCpus after DestroyRcvr of strangers", life.receiver.GetNumCpus(), 0u);
    }
    Destroy(stage, gone, "a receiver that is gone");
    ExpectEqual("DestroyDeviceIdentifier's calls after one DestroyRcvr too many", stage.CountCalls(kEnd), 1u);
}

void CheckAnew(Stage& stage) {
    for (int i = 0; i < 3; ++i) {
        const Scene scene(stage);
        ExpectEqual("GetNumCpus of a new receiver with one driver", scene.receiver.GetNumCpus(), 1u);
    }
    CheckAdapter adapter(kCpuId);
    {
        const Life life(stage);
        life.receiver.Allocate(kCpu, &adapter, kCpuId, 1);  // and never released
    }
    ExpectEqual("TraceRelease's calls when a receiver dies with a driver", adapter.Count("TraceRelease"), 1u);
    const Life life(stage);
    ExpectEqual("GetNumCpus of a new receiver", life.receiver.GetNumCpus(), 0u);
    Expect(life.receiver.GetChannelDriver(kCpu) == nullptr,
           "a new receiver knows the driver of the one before");
}

void CheckFolders(Stage& stage) {
    const Life life(stage);
    const std::pair<const char*, const char*> kFolders[] = {{"KORR_TRACE_LOGGING_DIR", ""},
                                                            {"KORR_TRACE_DATA_DIR", "data"},
                                                            {"KORR_TRACE_SETTINGS_DIR", "settings"}};
    for (const auto& [variable, name] : kFolders) {
        const std::string folder = Stage::Folder(variable);
        const auto wanted = std::filesystem::path(stage.Home()) / ".KORR-trace" / name;
        std::error_code failure;
        Expect(std::filesystem::equivalent(folder, wanted, failure),
               std::string(variable) + " is " + Shown(folder) + ", and not the folder " +
                   Shown(wanted.string()));
    }
}

}  // namespace

const std::vector<Check>& LifeChecks() {
    static const std::vector<Check> checks = {
        {"create-one-receiver",
         "Every CreateRcvr gives the process's one receiver, which asks for one device identifier",
         "several parts of a host create it, each for itself", 0, CheckOneReceiver},
        {"destroy-counts", "The receiver lives until DestroyRcvr was called as often as CreateRcvr",
         "a part of a host must not take the receiver away from another", 0, CheckReferences},
        {"destroy-strangers",
         "DestroyRcvr of null, of a stranger and of a receiver that is gone does nothing",
         "hosts give back what they hold, whatever happened before", 0, CheckStrangers},
        {"create-again", "After its end, drivers included, a new receiver starts from nothing",
         "a host creates the receiver anew for each debug session", 0, CheckAnew},
        {"folders",
         "CreateRcvr makes the trace folders below the user's home and names them in the environment",
         "the host's views look for captures and settings there", 0, CheckFolders},
    };
    return checks;
}

}  // namespace Korr::Plim::Trace::Tracehost::Validation
