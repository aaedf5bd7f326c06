#include "source_utilities/local_time.h"

#include <mutex>

#include "tests/fakes/scripted_local_time.h"

namespace fakes::local_time {
namespace {

using KORR_PLIM::platform::LocalTime;

struct State {
    LocalTime current = UsualTime();
    std::vector<LocalTime> coming;
    int readings = 0;
    std::mutex mutex;
};
State& TheState() {
    static State state;
    return state;
}

}  // namespace

LocalTime UsualTime() { return {2026, 11, 16, 12, 34, 56, 7, 1}; }

void Reset() {
    Set(UsualTime());
    TheState().readings = 0;
}

void Set(const LocalTime& time) { SetReadings({time}); }

void SetReadings(const std::vector<LocalTime>& times) {
    const std::lock_guard guard(TheState().mutex);
    TheState().coming = times;
}

int Readings() {
    const std::lock_guard guard(TheState().mutex);
    return TheState().readings;
}

}  // namespace fakes::local_time

namespace KORR_PLIM::platform {

LocalTime ReadLocalTime() {
    auto& state = fakes::local_time::TheState();
    const std::lock_guard guard(state.mutex);
    ++state.readings;
    if (!state.coming.empty()) {
        state.current = state.coming.front();
        state.coming.erase(state.coming.begin());
    }
    return state.current;
}

}  // namespace KORR_PLIM::platform
