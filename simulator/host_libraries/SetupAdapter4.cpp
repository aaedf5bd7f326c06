// The simulated host library "SetupAdapter4".
#include <stdexcept>

#include "host_api/SetupAdapter.h"
#include "simulator/host_libraries/export_mark.h"
#include "simulator/host_libraries/hosts_error.h"
#include "simulator/host_libraries/journal.h"
#include "simulator/host_libraries/object_life.h"

namespace Korr::Plim::Trace::Simulator {

namespace {

constexpr const char* kLibrary = "SetupAdapter4";

class SimulatedSetupAdapter final : public SetupAdapter {
  public:
    bool destroyed = false;

    virtual ~SimulatedSetupAdapter() = default;
    const void* Identity() const { return static_cast<const SetupAdapter*>(this); }

    bool Initialise(HostString& errorText) override try {
        JournalCall call(kLibrary, "Initialise", nlohmann::ordered_json::object());
        if (destroyed) {
            call.Violation("call after DestroySetupAdapter");
            return call.Return(false);
        }
        if (call.board().initialiseError) {
            errorText = *call.board().initialiseError;
            return call.Return(false);
        }
        initialised = true;
        return call.Return(true);
    } catch (...) {
        ThrowAsHostsError();
    }

    void Reserved1() override { JournalReservedCall(kLibrary, "Reserved1"); }
    void Reserved2() override { JournalReservedCall(kLibrary, "Reserved2"); }
    void Reserved3() override { JournalReservedCall(kLibrary, "Reserved3"); }
    void Reserved4() override { JournalReservedCall(kLibrary, "Reserved4"); }
    void Reserved5() override { JournalReservedCall(kLibrary, "Reserved5"); }
    void Reserved6() override { JournalReservedCall(kLibrary, "Reserved6"); }
    void Reserved7() override { JournalReservedCall(kLibrary, "Reserved7"); }
    void Reserved8() override { JournalReservedCall(kLibrary, "Reserved8"); }

    HostString& GetSetupFile(const HostString& cpu, HostString& path) override try {
        const std::string& cpuName = cpu;  // where the host has another string, one made of it
        JournalCall call(kLibrary, "GetSetupFile", {{"cpu", cpuName}});
        path.clear();
        if (destroyed) {
            call.Violation("call after DestroySetupAdapter");
        } else if (!initialised) {
            call.Violation("call before a successful Initialise");
        } else if (call.board().setupAdapterThrows) {
            call.ReturnName("exception");
            throw std::runtime_error("simulated set-up adapter: the board says that it throws");
        } else if (!call.board().KnowsCpu(cpuName)) {
            call.Violation("unknown CPU");
        } else {
            path = call.board().setUpFile.For(cpuName);
        }
        call.Return(std::string(path));
        return path;
    } catch (...) {
        ThrowAsHostsError();
    }

  private:
    bool initialised = false;
};

ObjectLife<SimulatedSetupAdapter>& Adapters() {
    static ObjectLife<SimulatedSetupAdapter> adapters;
    return adapters;
}

}  // namespace

SIMULATED_EXPORT SetupAdapter* CreateSetupAdapter() try {
    JournalCall call(kLibrary, "CreateSetupAdapter", nlohmann::ordered_json::object());
    if (!call.board().createSetupAdapter) return nullptr;
    call.ReturnName("adapter");
    return Adapters().Create();
} catch (...) {
    ThrowAsHostsError();
}

SIMULATED_EXPORT void DestroySetupAdapter(SetupAdapter* adapter) try {
    JournalCall call(kLibrary, "DestroySetupAdapter", {{"adapter", ObjectArgument(adapter, "adapter")}});
    EndObject(call, Adapters(), adapter, "adapter");
} catch (...) {
    ThrowAsHostsError();
}

}  // namespace Korr::Plim::Trace::Simulator
