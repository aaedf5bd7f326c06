// The plug-in built by mingw-w64: what a host of the other C++ ABI gets of it. Its tables have two entries
// for a destructor where this host knows of one, so that behind them each call reaches the operation before
// the one that was meant.
#include "tests/abi/host/pelkit.h"
#include "tests/abi/host/scene.h"

namespace host {
namespace {

constexpr const char* kTwin = "abi_twin.dll";

CReceiver* MakeReceiver(const Plugin& twin) {
    const LogWatch log;
    CReceiver* const receiver = twin.create();
    Check(
        receiver != nullptr && Calls(Place::CreateDeviceIdentifier) == 1 && log.Holds("Created SWO receiver"),
        "it loads and makes its receiver");
    return receiver;
}

/// The same calls as in the checks of the plug-in, all of which must go wrong as they do here.
void CheckShiftedCalls(const ReceiverCalls& receiver) {
    const char* const way = receiver.Way();
    const LogWatch log;
    receiver.GetCpuNames(nullptr);
    Check(log.Holds("number of attached cpus is 0"), "slot 5 GetCpuNames counts the CPUs (%s)", way);
    bool thrown = false;
    void* source = nullptr;
    try {
        source = receiver.GetDataSource(nullptr);
    } catch (const cPelkitError&) {
        thrown = true;
    }
    Check(!thrown && static_cast<uint32_t>(reinterpret_cast<size_t>(source)) == 1,
          "slot 9 GetDataSource throws nothing and answers 1, as ConstantQueryA (%s)", way);
    Check(!log.Holds("next available channel"), "no channel was asked for so far (%s)", way);
    Check(receiver.ConstantQueryB(5) == 1 && log.Holds("next available channel is 1"),
          "slot 12 ConstantQueryB answers 1, as GetNextAvailableChannel (%s)", way);
}

}  // namespace

void CheckTwin() {
    Group("the plug-in in another ABI");
    ResetScript();
    const Plugin twin(kTwin);
    Check(FindSymbol(twin.module, "?Delete@cPelkitError@@UEAAXXZ") == nullptr,
          "it exports nothing by the decorated name");
    CReceiver* const receiver = MakeReceiver(twin);
    CheckShiftedCalls({receiver, true});
    CheckShiftedCalls({receiver, false});
    Check(Calls(Place::DestroyDeviceIdentifier) == 0, "its receiver lives");
    Slot<uint32_t>(receiver, 4);
    Check(Calls(Place::DestroyDeviceIdentifier) == 1, "slot 4 GetNumCpus destroys the receiver");
}

void CallTwinThatThrows() {
    Group("an error of the plug-in in another ABI");
    ResetScript();
    const Plugin twin(kTwin);
    CReceiver* const receiver = MakeReceiver(twin);
    bool caught = false;
    try {
        receiver->GetChannelDriver(kCpu);  // becomes GetDataSource, which throws
    } catch (const cPelkitErrorIF&) {
        caught = true;
    } catch (...) {
        caught = true;
    }
    Check(caught, "slot 10 GetChannelDriver: what it throws is caught");
    PrintGroups();
}

}  // namespace host
