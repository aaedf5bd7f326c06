#include "source_utilities/environment_variables.h"

#include "tests/fakes/scripted_environment_variables.h"

namespace fakes::environment_variables {
namespace {

constexpr std::size_t kLongestValue = 32767;

struct State {
    CallScript script;
    std::map<std::string, std::string> variables;
    std::vector<std::string> setLog;
    const char* homeFallback = nullptr;
    std::mutex mutex;
};
State& TheState() {
    static State state;
    return state;
}

}  // namespace

void Reset() {
    State& state = TheState();
    state.script.Reset();
    const std::lock_guard guard(state.mutex);
    state.variables.clear();
    state.setLog.clear();
    state.homeFallback = nullptr;
}

CallScript& Script() { return TheState().script; }

void Put(const std::string& name, const std::optional<std::string>& value) {
    const std::lock_guard guard(TheState().mutex);
    if (value) {
        TheState().variables[name] = *value;
    } else {
        TheState().variables.erase(name);
    }
}

std::optional<std::string> Peek(const std::string& name) {
    const std::lock_guard guard(TheState().mutex);
    const auto found = TheState().variables.find(name);
    return found != TheState().variables.end() ? std::optional(found->second) : std::nullopt;
}

std::vector<std::string> SetLog() {
    const std::lock_guard guard(TheState().mutex);
    return TheState().setLog;
}

void SetHomeFallback(const char* name) { TheState().homeFallback = name; }

}  // namespace fakes::environment_variables

namespace KORR_PLIM::platform {
namespace fake = fakes::environment_variables;

std::string GetVariable(const char* name) {
    const bool fails = fake::Script().MustFail("GetVariable");
    const auto value = fake::Peek(name);
    return !fails && value && value->size() <= fake::kLongestValue ? *value : std::string();
}

bool SetVariable(const char* name, const char* value) {
    if (fake::Script().MustFail("SetVariable") || *name == '\0' ||
        std::string(name).find('=') != std::string::npos) {
        return false;
    }
    fake::Put(name, value);
    const std::lock_guard guard(fake::TheState().mutex);
    fake::TheState().setLog.push_back(std::string(name) + "=" + value);
    return true;
}

const char* HomeFallbackVariable() { return fake::TheState().homeFallback; }

}  // namespace KORR_PLIM::platform
