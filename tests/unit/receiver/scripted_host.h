#pragma once

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <random>
#include <string>

#include "host_api/entry_points.h"
#include "tests/fakes/host_objects.h"
#include "tests/fakes/scripted_dynamic_library.h"

namespace receiver_tests {

namespace trace = Korr::Plim::Trace;

/// Gives a set-up data file per CPU; works until told otherwise.
class FakeSetupAdapter : public trace::SetupAdapter {
  public:
    explicit FakeSetupAdapter(fakes::CallJournal& calls) : journal(calls) {}
    virtual ~FakeSetupAdapter() = default;

    bool initialises = true;
    std::string errorText;  ///< written by Initialise unless empty
    std::string path;       ///< of the set-up data file of every CPU
    std::function<void()> onInitialise = [] {};
    std::function<void()> onGetSetupFile = [] {};

    bool Initialise(trace::HostString& text) override {
        journal.Add("Initialise()");
        onInitialise();
        if (!errorText.empty()) text = errorText;
        return initialises;
    }
    trace::HostString& GetSetupFile(const trace::HostString& cpuName, trace::HostString& result) override {
        journal.Add("GetSetupFile(" + std::string(cpuName) + ")");
        onGetSetupFile();
        result = path;
        return result;
    }
    void Reserved1() override { journal.Add("Reserved1()"); }
    void Reserved2() override { journal.Add("Reserved2()"); }
    void Reserved3() override { journal.Add("Reserved3()"); }
    void Reserved4() override { journal.Add("Reserved4()"); }
    void Reserved5() override { journal.Add("Reserved5()"); }
    void Reserved6() override { journal.Add("Reserved6()"); }
    void Reserved7() override { journal.Add("Reserved7()"); }
    void Reserved8() override { journal.Add("Reserved8()"); }

  private:
    fakes::CallJournal& journal;
};

/// The host's three libraries as scripted libraries, and the objects they give out. One at a time; a test
/// sets the members before the calls that shall see them.
class ScriptedHost {
  public:
    fakes::CallJournal journal;
    FakeSetupAdapter setupAdapter{journal};
    fakes::FakeDeviceIdentifier identifier{journal};
    fakes::FakeMemoryAccessor memory{journal};

    // What the entry points do besides noting their call.
    std::function<trace::SetupAdapter*()> createSetupAdapter = [this] { return &setupAdapter; };
    std::function<void()> destroySetupAdapter = [] {};
    std::function<trace::DeviceIdentifier*()> createDeviceIdentifier = [this] { return &identifier; };
    std::function<void()> destroyDeviceIdentifier = [] {};
    std::function<trace::MemoryAccessor*(trace::MemoryAccessor**)> newTargetAdapter =
        [this](trace::MemoryAccessor** handle) { return *handle = &memory; };

    /// A Brantor probe with SWO on TDO, and a device of the first supported kind.
    ScriptedHost() {
        current = this;
        fakes::dynamic_library::Reset();
        fakes::dynamic_library::SetExtension("dll");
        RegisterSetupAdapter();
        RegisterDeviceIdentifier();
        RegisterTargetAdapter();
        SetSetupFile("$ brantor\n$ swd\n  swd_debug=enabled\n  swo_data=tdo_pin\n");
        identifier.identification = 0xF0F0F0F0;
    }
    ~ScriptedHost() {
        std::error_code ignored;
        std::filesystem::remove(setupAdapter.path, ignored);
        fakes::dynamic_library::Reset();
        current = nullptr;
    }
    ScriptedHost(const ScriptedHost&) = delete;
    ScriptedHost& operator=(const ScriptedHost&) = delete;

    void SetSetupFile(const std::string& content) {
        if (setupAdapter.path.empty()) {
            const auto name = "tarnel_set_up_" + std::to_string(std::random_device{}());
            setupAdapter.path = (std::filesystem::temp_directory_path() / name).string();
        }
        std::ofstream(setupAdapter.path, std::ios::binary) << content;
    }
    /// Registers a library again without one of its exports; an empty name leaves none out.
    static void RegisterSetupAdapter(const std::string& without = "") {
        Register("SetupAdapter4",
                 {{"CreateSetupAdapter", fakes::dynamic_library::Entry(CreateSetupAdapter)},
                  {"DestroySetupAdapter", fakes::dynamic_library::Entry(DestroySetupAdapter)}},
                 without);
    }
    static void RegisterDeviceIdentifier(const std::string& without = "") {
        Register("DeviceIdentifier",
                 {{"CreateDeviceIdentifier", fakes::dynamic_library::Entry(CreateDeviceIdentifier)},
                  {"DestroyDeviceIdentifier", fakes::dynamic_library::Entry(DestroyDeviceIdentifier)}},
                 without);
    }
    static void RegisterTargetAdapter(const std::string& without = "") {
        Register("ICETargetAdapter", {{"NewTargetAdapter", fakes::dynamic_library::Entry(NewTargetAdapter)}},
                 without);
    }

  private:
    static void Register(const std::string& library, fakes::dynamic_library::EntryPoints entries,
                         const std::string& without) {
        entries.erase(without);
        fakes::dynamic_library::RegisterLibrary(library, entries);
    }

    static trace::SetupAdapter* CreateSetupAdapter() {
        current->journal.Add("CreateSetupAdapter()");
        return current->createSetupAdapter();
    }
    static void DestroySetupAdapter(trace::SetupAdapter* adapter) {
        current->journal.Add(adapter == &current->setupAdapter ? "DestroySetupAdapter(adapter)"
                                                               : "DestroySetupAdapter(another)");
        current->destroySetupAdapter();
    }
    static trace::DeviceIdentifier* CreateDeviceIdentifier() {
        current->journal.Add("CreateDeviceIdentifier()");
        return current->createDeviceIdentifier();
    }
    static void DestroyDeviceIdentifier(trace::DeviceIdentifier* handle, uint32_t flag) {
        current->journal.Add(std::string("DestroyDeviceIdentifier(") +
                             (handle == &current->identifier ? "identifier, " : "another, ") +
                             std::to_string(flag) + ")");
        current->destroyDeviceIdentifier();
    }
    static trace::MemoryAccessor* NewTargetAdapter(const char* cpuName, trace::MemoryAccessor** handle) {
        current->journal.Add(std::string("NewTargetAdapter(") + (cpuName != nullptr ? cpuName : "null") +
                             ")");
        return current->newTargetAdapter(handle);
    }

    inline static ScriptedHost* current = nullptr;
};

}  // namespace receiver_tests
