// Checks of what a hundred rounds leave behind.
#include "host_api/entry_points.h"
#include "tracehost/check/scene.h"
#include "tracehost/check/subjects.h"
#include "tracehost/library.h"
#include "tracehost/standard_output.h"

namespace Korr::Plim::Trace::Tracehost::Validation {

namespace {

constexpr int kFirstRounds = 3;         // in which logs, folders and caches are made
constexpr int kRememberedObjects = 64;  // that the simulated libraries keep when they are given back
constexpr uint64_t kLargestGrowth = 8;  // bytes of the heap in a round
constexpr uint64_t kAllocatorsOwn =
    4096;  // bytes in blocks that were given back and that the allocator still counts
constexpr const char* kHandles = "open handles";
constexpr const char* kHeapBytes = "bytes of the heap in use";

/// The whole life of a receiver, with a recording where there is a port.
void RunRound(Stage& stage, const std::string& options) {
    const Scene scene(stage);
    scene.driver.SetConfiguration(options.c_str());
    if (PortsAt(stage.Settings().pairs) > 0) {
        scene.driver.StartRecording();
        scene.driver.StopRecording();
    }
    TraceAttribute answer;
    scene.driver.GetAttribute("WP0 Comp", answer);
    ExpectRefusal("ResumeRecording", "ResumeRecording not supported",
                  [&] { scene.driver.ResumeRecording(); });
    scene.driver.SaveFile(stage.File("saved.bin").c_str(), 2);
}

/// Fills what the simulated libraries remember of objects that are gone.
void FillRemembered() {
    const Library setup("SetupAdapter4");
    const Library identifier("DeviceIdentifier");
    for (int i = 0; i < kRememberedObjects; ++i) {
        auto* const adapter = setup.Entry<CreateSetupAdapterFunction>("CreateSetupAdapter")();
        setup.Entry<DestroySetupAdapterFunction>("DestroySetupAdapter")(adapter);
        auto* const made = identifier.Entry<CreateDeviceIdentifierFunction>("CreateDeviceIdentifier")();
        identifier.Entry<DestroyDeviceIdentifierFunction>("DestroyDeviceIdentifier")(made, 0);
    }
}

/// What a count is before and after the rounds.
template <typename Count>
std::pair<uint64_t, uint64_t> CountAround(Stage& stage, Count count) {
    stage.StopJournal();
    SetProcessVariable("KORR_TRACE_LOGGING", "0");
    if (PortsAt(stage.Settings().pairs) == 0) {
        Remark("without recordings, for which there is no pair of ports");
    }
    const std::string options = stage.WriteOptions();
    for (int i = 0; i < kFirstRounds; ++i) RunRound(stage, options);
    const uint64_t before = count();
    for (uint32_t i = 0; i < stage.Settings().rounds; ++i) RunRound(stage, options);
    return {before, count()};
}

std::string Grown(const char* what, std::pair<uint64_t, uint64_t> counts, uint32_t rounds) {
    return std::string(what) + " grow from " + Shown(counts.first) + " to " + Shown(counts.second) + " in " +
           Shown(rounds) + " rounds";
}

void CheckHandles(Stage& stage) {
    const auto counts = CountAround(stage, [] { return Counted(kHandles, CountHandles()); });
    Expect(counts.second <= counts.first, Grown(kHandles, counts, stage.Settings().rounds));
}

void CheckThreads(Stage& stage) {
    const auto counts = CountAround(stage, CountThreads);
    Expect(WaitUntil([&] { return CountThreads() <= counts.first; }),
           Grown("threads", counts, stage.Settings().rounds));
}

void CheckMemory(Stage& stage) {
    stage.StopJournal();
    FillRemembered();
    const auto counts = CountAround(stage, [] { return Counted(kHeapBytes, CountHeapBytes()); });
    const uint64_t most = counts.first + kAllocatorsOwn + kLargestGrowth * stage.Settings().rounds;
    Expect(counts.second <= most, Grown(kHeapBytes, counts, stage.Settings().rounds));
}

}  // namespace

const std::vector<Check>& LeakChecks() {
    static const std::vector<Check> checks = {
        {"leaks-handles", "A hundred whole lives leave no handle open", "debuggers run for weeks", 0,
         CheckHandles},
        {"leaks-threads", "A hundred whole lives leave no thread running",
         "a thread left behind holds port and processor", 0, CheckThreads},
        {"leaks-memory", "A hundred whole lives leave no memory in use", "debuggers run for weeks", 0,
         CheckMemory},
    };
    return checks;
}

}  // namespace Korr::Plim::Trace::Tracehost::Validation
