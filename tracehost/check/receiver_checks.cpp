// Checks of the receiver's own operations.
#include "tracehost/check/scene.h"
#include "tracehost/check/subjects.h"

namespace Korr::Plim::Trace::Tracehost::Validation {

namespace {

constexpr const char* kNoDataSource = "Cannot get data source";

/// The notifications, of which a receiver hands two on to the driver.
void ExpectNotificationSlots(const Scene& scene) {
    const ReceiverCalls& receiver = scene.receiver;
    receiver.TargetStateChanged(kCpu, 4);
    ExpectEqual("GetStatus after TargetStateChanged(4): code, which is left", scene.driver.Code(), 99u);
    receiver.TargetStateChanged(kCpu, 7);
    ExpectEqual("GetStatus after TargetStateChanged(7): code", scene.driver.Code(),
                uint32_t{kStatusCalibrating});
    Expect(scene.stage.Log().find(kModifiedJob) == std::string::npos,
           "TargetStateChanged is noted as a modified job");
    receiver.TargetEvent(kCpu, 0);
    Expect(scene.stage.Log().find(kModifiedJob) != std::string::npos,
           "TargetEvent(0) is not noted as a modified job");
    receiver.TargetNotice(kCpu, 1, 2);
}

void CheckReceiverSlots(Stage& stage) {
    const Scene scene(stage);
    const ReceiverCalls& receiver = scene.receiver;
    ExpectNotificationSlots(scene);
    ExpectEqual("GetNumCpus with one driver", receiver.GetNumCpus(), 1u);
    char name[64] = "";
    char* names[] = {name};
    receiver.GetCpuNames(names);
    ExpectText("GetCpuNames with one driver", name, kCpu);
    CheckAdapter adapter(kCpuId);
    CChannelDriver* const other = receiver.Allocate("board/other", &adapter, kCpuId, 1);
    ExpectEqual("GetNumCpus after AllocateChannelDriver", receiver.GetNumCpus(), 2u);
    receiver.Release(other);
    ExpectEqual("GetNumCpus after ReleaseChannelDriver", receiver.GetNumCpus(), 1u);
    receiver.Release(nullptr);
    ExpectEqual("ConstantQueryA", receiver.ConstantQueryA(), 1u);
    ExpectRefusal("GetDataSource", kNoDataSource, [&] { receiver.GetDataSource(nullptr); });
    Expect(receiver.GetChannelDriver(kCpu) == scene.driver.Pointer(),
           "GetChannelDriver does not give the driver");
    ExpectEqual("GetNextAvailableChannel with one driver", receiver.GetNextAvailableChannel(), 2u);
    ExpectEqual("ConstantQueryB", receiver.ConstantQueryB(5), 0u);
    receiver.ProgressNotice();
    ExpectEqual("ConstantQueryC", receiver.ConstantQueryC(), 0u);
    ExpectEqual("GetNumCpus behind all of them", receiver.GetNumCpus(), 1u);
}

/// Three drivers, two of them of one name.
void CheckDrivers(Stage& stage) {
    const Life life(stage);
    const ReceiverCalls& receiver = life.receiver;
    ExpectEqual("GetNumCpus without a driver", receiver.GetNumCpus(), 0u);
    ExpectEqual("GetNextAvailableChannel without a driver", receiver.GetNextAvailableChannel(), 1u);
    receiver.GetCpuNames(nullptr);
    CheckAdapter adapter(kCpuId);
    const char* const kNames[] = {"board/one", "board/two", "board/one"};
    CChannelDriver* drivers[3];
    for (uint32_t i = 0; i < 3; ++i) {
        drivers[i] = receiver.Allocate(kNames[i], &adapter, kCpuId, 17);
        ExpectEqual("GetNumCpus after an allocation", receiver.GetNumCpus(), i + 1);
        ExpectEqual("GetNextAvailableChannel after an allocation", receiver.GetNextAvailableChannel(), i + 2);
        ExpectText("GetCpuName", DriverCalls(drivers[i]).GetCpuName(), kNames[i]);
    }
    Expect(drivers[0] != drivers[2], "a second allocation for a CPU gives the same driver");
    char room[3][64] = {};
    char* names[] = {room[0], room[1], room[2]};
    receiver.GetCpuNames(names);
    for (uint32_t i = 0; i < 3; ++i) ExpectText("GetCpuNames, number " + Shown(i), room[i], kNames[i]);
    Expect(receiver.GetChannelDriver("board/one") == drivers[0],
           "GetChannelDriver does not give the first of two");
    for (const char* unknown : {"board/One", "one", "", static_cast<const char*>(nullptr)}) {
        Expect(receiver.GetChannelDriver(unknown) == nullptr, "GetChannelDriver finds " + Argument(unknown));
    }
    receiver.Release(drivers[0]);
    Expect(receiver.GetChannelDriver("board/one") == drivers[2],
           "GetChannelDriver gives a driver that was released");
    ExpectEqual("GetNextAvailableChannel after a release", receiver.GetNextAvailableChannel(), 3u);
    ExpectEqual("TraceRelease's calls after a release", adapter.Count("TraceRelease"), 1u);
    receiver.Release(drivers[1]);
    receiver.Release(drivers[2]);
    ExpectEqual("GetNumCpus when all are released", receiver.GetNumCpus(), 0u);
}

void CheckReceiverRefusals(Stage& stage) {
    const Life life(stage);
    const ReceiverCalls& receiver = life.receiver;
    CheckAdapter adapter(kCpuId);
    const char* const kNull = "Internal error creating Channel Driver. Null parameters.";
    const char* const kUnknown = "Failed to release unknown SWO channel driver";
    ExpectRefusal("GetDataSource", kNoDataSource, [&] { receiver.GetDataSource(nullptr); });
    ExpectRefusal("AllocateChannelDriver without a CPU name", kNull,
                  [&] { receiver.Allocate(nullptr, &adapter, kCpuId, 1); });
    ExpectRefusal("AllocateChannelDriver without a target adapter", kNull,
                  [&] { receiver.Allocate(kCpu, nullptr, kCpuId, 1); });
    ExpectEqual("GetNumCpus after refused allocations", receiver.GetNumCpus(), 0u);
    int stranger = 0;
    ExpectRefusal("ReleaseChannelDriver of a stranger", kUnknown,
                  [&] { receiver.Release(reinterpret_cast<CChannelDriver*>(&stranger)); });
    CChannelDriver* const driver = receiver.Allocate(kCpu, &adapter, kCpuId, 1);
    receiver.Release(driver);
    ExpectRefusal("ReleaseChannelDriver a second time", kUnknown, [&] { receiver.Release(driver); });
    ExpectRefusal("GetDataSource once more", kNoDataSource, [&] { receiver.GetDataSource(&stranger); });
}

}  // namespace

const std::vector<Check>& ReceiverChecks() {
    static const std::vector<Check> checks = {
        {"receiver-slots",
         "Each operation of the receiver, called in the interface's order, gives what belongs to it",
         "a plug-in built from other headers answers with the operation beside it", 0, CheckReceiverSlots},
        {"receiver-drivers",
         "Drivers are numbered, named and found in the order of allocation, and go when released",
         "a host finds the driver of a CPU by these", 0, CheckDrivers},
        {"receiver-refusals",
         "What the receiver refuses it refuses with the host's error, its own text and severity 2",
         "the host shows the text and goes on by the severity", 0, CheckReceiverRefusals},
    };
    return checks;
}

}  // namespace Korr::Plim::Trace::Tracehost::Validation
