#include "source_utilities/dynamic_library.h"

#include <new>

#include "tests/fakes/scripted_dynamic_library.h"

namespace fakes::dynamic_library {
namespace {

constexpr uint32_t kLibraryNotFound = 126;
constexpr uint32_t kEntryPointNotFound = 127;

struct Loaded {
    std::string name;
    EntryPoints entries;
};

struct State {
    std::map<std::string, EntryPoints> registered;
    std::map<intptr_t, Loaded> loaded;
    intptr_t nextHandle = 1;
    std::vector<std::string> loadLog;
    std::vector<std::string> unloadLog;
    CallScript script;
    uint32_t failureCode = 0;
    std::string extension = "dll";
    bool throws = false;
    std::mutex mutex;
};
State& TheState() {
    static State state;
    return state;
}
thread_local uint32_t lastError = 0;

void Refuse(uint32_t usual) {
    const uint32_t forced = TheState().failureCode;
    lastError = forced != 0 ? forced : usual;
}

}  // namespace

void Reset() {
    State& state = TheState();
    state.script.Reset();
    const std::lock_guard guard(state.mutex);
    state.registered.clear();
    state.loaded.clear();
    state.loadLog.clear();
    state.unloadLog.clear();
    state.failureCode = 0;
    state.extension = "dll";
    state.throws = false;
}

void RegisterLibrary(const std::string& name, EntryPoints entries) {
    const std::lock_guard guard(TheState().mutex);
    TheState().registered[name] = std::move(entries);
}

CallScript& Script() { return TheState().script; }
void SetFailureCode(uint32_t code) { TheState().failureCode = code; }
void ThrowFromCalls(bool throws) { TheState().throws = throws; }
void SetExtension(const std::string& extension) { TheState().extension = extension; }

std::vector<std::string> LoadLog() {
    const std::lock_guard guard(TheState().mutex);
    return TheState().loadLog;
}

std::vector<std::string> UnloadLog() {
    const std::lock_guard guard(TheState().mutex);
    return TheState().unloadLog;
}

int LoadedCount(const std::string& name) {
    const std::lock_guard guard(TheState().mutex);
    int count = 0;
    for (const auto& [handle, library] : TheState().loaded) count += library.name == name ? 1 : 0;
    return count;
}

namespace {

KORR_PLIM::platform::LibraryHandle Load(const char* name) {
    State& state = TheState();
    if (state.throws) throw std::bad_alloc();
    const bool fails = state.script.MustFail("LoadDynamicLibrary");
    const std::lock_guard guard(state.mutex);
    state.loadLog.emplace_back(name != nullptr ? name : "");
    const auto found = state.registered.find(state.loadLog.back());
    if (fails || found == state.registered.end()) {
        Refuse(kLibraryNotFound);
        return KORR_PLIM::platform::kNoLibrary;
    }
    const intptr_t handle = state.nextHandle++;
    state.loaded[handle] = {found->first, found->second};
    return handle;
}

void* Find(KORR_PLIM::platform::LibraryHandle library, const char* name) {
    State& state = TheState();
    if (state.throws) throw std::bad_alloc();
    const bool fails = state.script.MustFail("FindSymbol");
    const std::lock_guard guard(state.mutex);
    const auto loaded = state.loaded.find(library);
    if (!fails && name != nullptr && loaded != state.loaded.end()) {
        const auto entry = loaded->second.entries.find(name);
        if (entry != loaded->second.entries.end()) return entry->second;
    }
    Refuse(kEntryPointNotFound);
    return nullptr;
}

void Unload(KORR_PLIM::platform::LibraryHandle library) {
    State& state = TheState();
    state.script.MustFail("FreeDynamicLibrary");
    const std::lock_guard guard(state.mutex);
    const auto loaded = state.loaded.find(library);
    if (loaded != state.loaded.end()) {
        state.unloadLog.push_back(loaded->second.name);
        state.loaded.erase(loaded);
    }
}

}  // namespace
}  // namespace fakes::dynamic_library

namespace KORR_PLIM::platform {

const char* LibraryExtension() { return fakes::dynamic_library::TheState().extension.c_str(); }
LibraryHandle LoadDynamicLibrary(const char* name) { return fakes::dynamic_library::Load(name); }
void* FindSymbol(LibraryHandle library, const char* name) {
    return fakes::dynamic_library::Find(library, name);
}
void FreeDynamicLibrary(LibraryHandle library) { fakes::dynamic_library::Unload(library); }
uint32_t LastLibraryError() { return fakes::dynamic_library::lastError; }

}  // namespace KORR_PLIM::platform
