// What the host's own libraries throw into the plug-in: it reaches the host as it was, or ends in the
// documented answer.
#include "tests/abi/host/act.h"
#include "tests/abi/host/errors.h"
#include "tests/abi/host/scene.h"

namespace host {
namespace {

const char* const kKinds[] = {"nothing", "an error of the host's", "an integer", "a standard exception"};
const Thrown kAll[] = {Thrown::HostsError, Thrown::Integer, Thrown::StandardException};

const char* Name(Thrown kind) { return kKinds[static_cast<int>(kind)]; }

/// Whether a call throws exactly what the script says.
template <class Call>
bool ThrowsIt(Thrown kind, Call call) {
    try {
        call();
    } catch (const cPelkitError& error) {
        return kind == Thrown::HostsError &&
               ExpectedError{kThrownText, cPelkitErrorIF::eSEVERITY_WARNING}.Is(error);
    } catch (int number) {
        return kind == Thrown::Integer && number == kThrownInteger;
    } catch (const HostException& error) {
        return kind == Thrown::StandardException && strcmp(error.what(), kThrownText) == 0;
    }
    return false;
}

template <class Call>
bool Throws(const char* text, Call call) {
    return CaughtByReference({text, cPelkitErrorIF::eSEVERITY_ERROR}, call);
}

/// Whether an exception's line stands in the log: a standard exception's with its text.
bool Logged(const LogWatch& log, const char* module, Thrown kind) {
    if (kind == Thrown::StandardException) return log.Holds(Line("%s%s", module, kThrownText));
    if (kind == Thrown::Integer) return log.Holds(Line("%sUnknown exception", module));
    return log.Holds(Line("%sError of the host", module));  // the plug-in asks an error for nothing
}

void CheckCreation(const Plugin& plugin, Thrown kind) {
    ScriptThrow(Place::CreateDeviceIdentifier, kind);
    Check(ThrowsIt(kind, [&] { plugin.create(); }),
          "CreateDeviceIdentifier throws %s: CreateRcvr throws it on", Name(kind));
    ScriptThrow(Place::DestroyDeviceIdentifier, kind);
    CReceiver* const receiver = plugin.create();
    const LogWatch log;
    plugin.destroy(receiver);
    Check(log.Holds("Tarnel_Receiver: An expection for caught when destroying receiver"),
          "DestroyDeviceIdentifier throws %s: logged", Name(kind));
    ResetScript();
    plugin.destroy(plugin.create());
}

void CheckAllocation(const Plugin& plugin, Thrown kind) {
    const ReceiverCalls receiver{plugin.create(), true};
    TargetAdapter* const adapter = FreshAdapter();
    const auto allocate = [&] { receiver.Allocate(kCpu, adapter, kCpuId, 1); };
    const Place ofSetup[] = {Place::CreateSetupAdapter, Place::Initialise, Place::GetSetupFile};
    for (const Place place : ofSetup) {
        ScriptThrow(place, kind);
        const LogWatch log;
        Check(Throws("SWO trace is not supported by this emulator.", allocate) &&
                  log.Holds("Tarnel_Receiver: exception using SetupAdapter4"),
              "place %u of the set-up adapter throws %s: logged, no probe", static_cast<uint32_t>(place),
              Name(kind));
        Check(place == Place::CreateSetupAdapter || Calls(Place::DestroySetupAdapter) == 1,
              "place %u of the set-up adapter throws %s: the adapter is given back",
              static_cast<uint32_t>(place), Name(kind));
    }
    const Place thrownOn[] = {Place::Match, Place::NewTargetAdapter};
    for (const Place place : thrownOn) {
        ScriptThrow(place, kind);
        Check(ThrowsIt(kind, allocate), "place %u throws %s: AllocateChannelDriver throws it on",
              static_cast<uint32_t>(place), Name(kind));
    }
    Check(receiver.GetNumCpus() == 0, "no driver was made");
    ResetScript();
    plugin.destroy(receiver.receiver);
}

void CheckStart(const Plugin& plugin, Thrown kind) {
    ResetScript();
    const Session session(plugin, true);
    const DriverCalls& driver = session.driver;
    driver.SetConfiguration(WriteOptions("Auto", "624", Variable("TARNEL_PROBE_PORT")));
    const Place ofTheClock[] = {Place::GetDeviceInformation, Place::GetModule, Place::GetRegisterAddress,
                                Place::ReadMemory, Place::Match};
    for (const Place place : ofTheClock) {
        ScriptThrow(place, kind);
        Check(ThrowsIt(kind, [&] { driver.StartRecording(); }) && driver.Code() == 16,
              "place %u throws %s: StartRecording throws it on and nothing runs",
              static_cast<uint32_t>(place), Name(kind));
    }
    for (int slot = 1; slot < kAdapterSlots; ++slot) {
        if (slot == 7) Journal().exportStatus = 1;  // else it is not called
        ScriptThrow(static_cast<Place>(static_cast<int>(Place::TargetAdapter) + slot), kind);
        Check(ThrowsIt(kind, [&] { driver.StartRecording(); }) && driver.Code() == 16,
              "target adapter slot %d throws %s: StartRecording throws it on and nothing runs", slot,
              Name(kind));
        Journal().exportStatus = 0;
    }
    ScriptThrow(Place::ReadMemory, kind);
    TraceAttribute answer;
    Check(ThrowsIt(kind, [&] { driver.GetAttribute("WP0 Comp", answer); }),
          "the memory accessor throws %s: GetAttribute throws it on", Name(kind));
    ResetScript();
    driver.StartRecording();
    Check(driver.Code() == 6, "afterwards a recording starts");
}

/// Nothing may come out: what was thrown is in the log, and the driver goes.
void CheckQuietPlaces(const Plugin& plugin, Thrown kind) {
    ResetScript();
    const Session session(plugin, true);
    const int inARelease[] = {4, 0};
    for (const int slot : inARelease) {
        CChannelDriver* const driver = session.receiver.Allocate(kCpu, session.adapter, kCpuId, 2);
        ScriptThrow(static_cast<Place>(static_cast<int>(Place::TargetAdapter) + slot), kind);
        const LogWatch log;
        session.receiver.Release(driver);
        Check(Logged(log, "Tarnel_ChannelDriver: ", kind),
              "target adapter slot %d throws %s in a release: logged", slot, Name(kind));
        Check(Journal().EndsWith("0") && session.receiver.GetNumCpus() == 1, "  ... and the driver is gone");
        ResetScript();
    }
    session.driver.SetConfiguration(WriteOptions("48000000", "1249", Variable("TARNEL_PROBE_PORT")));
    ScriptThrow(static_cast<Place>(static_cast<int>(Place::TargetAdapter) + 1), kind);
    const LogWatch log;
    session.receiver.TargetStateChanged(kCpu, 6);
    Check(Journal().Count(1) == 1 && Logged(log, "Tarnel_Receiver: ", kind),
          "target adapter slot 1 throws %s in a notification: logged", Name(kind));
    Check(session.driver.Code() == 16, "  ... and nothing runs");
    ResetScript();
}

}  // namespace

void CheckHostErrors(const Plugin& plugin) {
    Group("exceptions of the host's libraries, thrown on");
    for (const Thrown kind : kAll) {
        CheckCreation(plugin, kind);
        CheckAllocation(plugin, kind);
        CheckStart(plugin, kind);
    }
    Check(cPelkitError::Living() == 0, "no error stays behind");
}

void CheckSwallowed(const Plugin& plugin) {
    Group("exceptions of the host's libraries, swallowed");
    for (const Thrown kind : kAll) CheckQuietPlaces(plugin, kind);
    Check(cPelkitError::Living() == 0, "no error stays behind");
}

}  // namespace host
