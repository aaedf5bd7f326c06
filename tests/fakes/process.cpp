#include "source_utilities/process.h"

#include <utility>

#include "tests/fakes/scripted_process.h"

namespace fakes::process {
namespace {

constexpr uint32_t kUsualId = 4321;

struct State {
    CallScript script;
    uint32_t current = kUsualId;
    std::set<uint32_t> living;
};
State& TheState() {
    static State state;
    return state;
}

}  // namespace

void Reset() {
    TheState().script.Reset();
    TheState().current = kUsualId;
    TheState().living.clear();
}
CallScript& Script() { return TheState().script; }
void SetCurrentProcessId(uint32_t id) { TheState().current = id; }
void SetLivingProcesses(std::set<uint32_t> ids) { TheState().living = std::move(ids); }

}  // namespace fakes::process

namespace KORR_PLIM::platform {

uint32_t CurrentProcessId() {
    fakes::process::Script().MustFail("CurrentProcessId");
    return fakes::process::TheState().current;
}

bool ProcessExists(uint32_t processId) {
    const auto& state = fakes::process::TheState();
    if (fakes::process::Script().MustFail("ProcessExists") || processId == 0) return false;
    return processId == state.current || state.living.count(processId) != 0;
}

}  // namespace KORR_PLIM::platform
