// The simulated host library "DeviceIdentifier".
#include "host_api/DeviceIdentifier.h"

#include <map>
#include <memory>

#include "simulator/host_libraries/export_mark.h"
#include "simulator/host_libraries/hosts_error.h"
#include "simulator/host_libraries/journal.h"
#include "simulator/host_libraries/object_life.h"

namespace Korr::Plim::Trace::Simulator {

namespace {

constexpr const char* kLibrary = "DeviceIdentifier";
constexpr const char* kAfterDestruction = "call after DestroyDeviceIdentifier";

/// A module by name; its registers are looked up in the board at every call.
class SimulatedModule final : public DeviceModule {
  public:
    SimulatedModule(std::string moduleName, const bool& identifierDestroyed)
        : name(std::move(moduleName)), destroyed(identifierDestroyed) {}
    virtual ~SimulatedModule() = default;

    HostString GetRegisterAddress(const char* registerName) override try {
        JournalCall call(kLibrary, "GetRegisterAddress",
                         {{"module", name}, {"register", TextArgument(registerName)}});
        if (destroyed) call.Violation(kAfterDestruction);
        if (registerName == nullptr) call.Violation("null register name");
        if (destroyed || registerName == nullptr) return call.Return(std::string());
        const auto module = call.board().deviceInformation.find(name);
        if (module == call.board().deviceInformation.end()) return call.Return(std::string());
        const auto address = module->second.find(registerName);
        return call.Return(address != module->second.end() ? address->second : std::string());
    } catch (...) {
        ThrowAsHostsError();
    }

  private:
    std::string name;
    const bool& destroyed;  ///< of the identifier that owns the information
};

class SimulatedInformation final : public DeviceInformation {
  public:
    explicit SimulatedInformation(const bool& identifierDestroyed) : destroyed(identifierDestroyed) {}
    virtual ~SimulatedInformation() = default;

    DeviceModule* GetModule(const char* moduleName) override try {
        JournalCall call(kLibrary, "GetModule", {{"module", TextArgument(moduleName)}});
        if (destroyed) call.Violation(kAfterDestruction);
        if (moduleName == nullptr) call.Violation("null module name");
        if (destroyed || moduleName == nullptr) return nullptr;
        if (call.board().deviceInformation.count(moduleName) == 0) return nullptr;
        auto& module = modules[moduleName];
        if (module == nullptr) module = std::make_unique<SimulatedModule>(moduleName, destroyed);
        call.ReturnName("module");
        return module.get();
    } catch (...) {
        ThrowAsHostsError();
    }

  private:
    const bool& destroyed;
    std::map<std::string, std::unique_ptr<SimulatedModule>> modules;
};

class SimulatedIdentifier final : public DeviceIdentifier {
  public:
    bool destroyed = false;

    virtual ~SimulatedIdentifier() = default;
    const void* Identity() const { return static_cast<const DeviceIdentifier*>(this); }

    void Reserved0() override { JournalReservedCall(kLibrary, "Reserved0"); }
    void Reserved1() override { JournalReservedCall(kLibrary, "Reserved1"); }
    void Reserved2() override { JournalReservedCall(kLibrary, "Reserved2"); }
    void Reserved3() override { JournalReservedCall(kLibrary, "Reserved3"); }
    void Reserved4() override { JournalReservedCall(kLibrary, "Reserved4"); }
    void Reserved5() override { JournalReservedCall(kLibrary, "Reserved5"); }
    void Reserved6() override { JournalReservedCall(kLibrary, "Reserved6"); }
    void Reserved7() override { JournalReservedCall(kLibrary, "Reserved7"); }
    void Reserved8() override { JournalReservedCall(kLibrary, "Reserved8"); }
    void Reserved9() override { JournalReservedCall(kLibrary, "Reserved9"); }

    bool Match(uint32_t value, uint32_t mask) override try {
        JournalCall call(kLibrary, "Match",
                         {{"value", HexadecimalText(value)}, {"mask", HexadecimalText(mask)}});
        if (destroyed) {
            call.Violation(kAfterDestruction);
            return call.Return(false);
        }
        const auto identification = call.board().deviceIdentification;
        return call.Return(identification && (*identification & mask) == (value & mask));
    } catch (...) {
        ThrowAsHostsError();
    }

    DeviceInformation* GetDeviceInformation(const char* deviceName) override try {
        JournalCall call(kLibrary, "GetDeviceInformation", {{"device", TextArgument(deviceName)}});
        if (destroyed) {
            call.Violation(kAfterDestruction);
        } else if (deviceName == nullptr) {
            call.Violation("null device name");
        } else if (!call.board().KnowsCpu(deviceName)) {
            call.Violation("unknown CPU");
        } else if (call.board().hasDeviceInformation) {
            call.ReturnName("information");
            return &information;
        }
        return nullptr;
    } catch (...) {
        ThrowAsHostsError();
    }

  private:
    SimulatedInformation information{destroyed};
};

ObjectLife<SimulatedIdentifier>& Identifiers() {
    static ObjectLife<SimulatedIdentifier> identifiers;
    return identifiers;
}

}  // namespace

SIMULATED_EXPORT DeviceIdentifier* CreateDeviceIdentifier() try {
    JournalCall call(kLibrary, "CreateDeviceIdentifier", nlohmann::ordered_json::object());
    if (!call.board().createDeviceIdentifier) return nullptr;
    call.ReturnName("identifier");
    return Identifiers().Create();
} catch (...) {
    ThrowAsHostsError();
}

SIMULATED_EXPORT void DestroyDeviceIdentifier(DeviceIdentifier* identifier, uint32_t argument) try {
    JournalCall call(kLibrary, "DestroyDeviceIdentifier",
                     {{"identifier", ObjectArgument(identifier, "identifier")}, {"argument", argument}});
    const bool ended = EndObject(call, Identifiers(), identifier, "identifier");
    if (ended && argument != 0) call.Violation("second argument is not 0");
} catch (...) {
    ThrowAsHostsError();
}

}  // namespace Korr::Plim::Trace::Simulator
