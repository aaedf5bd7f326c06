// What the plug-in throws, as the host catches it.
#include "tests/abi/host/errors.h"
#include "tests/abi/host/scene.h"

namespace host {
namespace {

template <class Call>
void CheckThrown(const char* what, const char* text, const char* way, Call call) {
    const ExpectedError expected = {text, cPelkitErrorIF::eSEVERITY_ERROR};
    const long before = cPelkitError::Living();
    Check(CaughtByReference(expected, call), "%s throws, caught by reference (%s)", what, way);
    Check(CaughtByBase(expected, call), "%s throws, caught by its base (%s)", what, way);
    Check(CaughtByValue(expected, call), "%s throws, caught by value (%s)", what, way);
    Check(CaughtAfterRethrow(expected, call), "%s throws, caught after a rethrow (%s)", what, way);
    Check(CaughtWithinAHandler(expected, call), "%s throws, caught within a handler (%s)", what, way);
    Check(cPelkitError::Living() == before, "%s throws, and no error stays behind (%s)", what, way);
}

void CheckReceiverErrors(const ReceiverCalls& receiver) {
    const char* const way = receiver.Way();
    CheckThrown("receiver slot 9 GetDataSource", "Cannot get data source", way,
                [&] { receiver.GetDataSource(nullptr); });
    CheckThrown("receiver slot 6 without a target adapter",
                "Internal error creating Channel Driver. Null parameters.", way,
                [&] { receiver.Allocate(kCpu, nullptr, 1, 1); });
    CheckThrown("receiver slot 7 of a stranger", "Failed to release unknown SWO channel driver", way,
                [&] { receiver.Release(reinterpret_cast<CChannelDriver*>(FreshAdapter())); });
    HostScript()->device = 0;
    CheckThrown("receiver slot 6 of another device", "SWO trace is not supported by this device.", way,
                [&] { receiver.Allocate(kCpu, FreshAdapter(), 1, 1); });
    ResetScript();
}

void CheckDriverErrors(const DriverCalls& driver) {
    const char* const way = driver.Way();
    CheckThrown("driver slot 1 of null", "Null attribute name", way, [&] {
        TraceAttribute answer;
        driver.GetAttribute(nullptr, answer);
    });
    CheckThrown("driver slot 3 of null", "Internal error setting configuration.", way,
                [&] { driver.SetConfiguration(nullptr); });
    CheckThrown("driver slot 6 ResumeRecording", "ResumeRecording not supported", way,
                [&] { driver.ResumeRecording(); });
    CheckThrown("driver slot 8 LoadFile", "LoadFile not supported", way, [&] { driver.LoadFile("name"); });
    CheckThrown("driver slot 3 of a file that is not there",
                "Undefined exception occurred while parsing emulation setup file", way,
                [&] { driver.SetConfiguration("Z:\\not\\there.xml"); });
    driver.SetConfiguration(WriteOptions("48000000", "1249", "250"));
    CheckThrown("driver slot 4 without the port", "Failed to open COM port", way,
                [&] { driver.StartRecording(); });
    CheckThrown("driver slot 7 of a file that cannot be made", "Could not open fileNo such file or directory",
                way, [&] { driver.SaveFile("Z:\\not\\there\\at\\all.bin", 2); });
}

CReceiver* asked;
long wrongOnThreads;

void ThrowOnThread(int thread) {
    const ReceiverCalls receiver{asked, thread % 2 == 0};
    const ExpectedError source = {"Cannot get data source", cPelkitErrorIF::eSEVERITY_ERROR};
    const ExpectedError stranger = {"Failed to release unknown SWO channel driver",
                                    cPelkitErrorIF::eSEVERITY_ERROR};
    for (int i = 0; i < 200; ++i) {
        const bool first = CaughtAfterRethrow(source, [&] { receiver.GetDataSource(nullptr); });
        const bool second =
            CaughtByReference(stranger, [&] { receiver.Release(reinterpret_cast<CChannelDriver*>(&asked)); });
        if (!first || !second) Increment(&wrongOnThreads);
    }
}

}  // namespace

void CheckErrors(const Plugin& plugin, bool raw) {
    Group(raw ? "errors of the plug-in, by slot" : "errors of the plug-in, by name");
    ResetScript();
    const Session session(plugin, raw);
    CheckReceiverErrors(session.receiver);
    CheckDriverErrors(session.driver);
    Check(session.driver.Code() == 16, "the driver is as it was");
}

void CheckErrorsOnThreads(const Plugin& plugin) {
    Group("errors on several threads");
    ResetScript();
    const Session session(plugin, true);
    asked = session.receiver.receiver;
    RunOnThreads(1, ThrowOnThread);
    Check(wrongOnThreads == 0 && cPelkitError::Living() == 0,
          "400 errors on a thread of its own, each caught there");
    RunOnThreads(8, ThrowOnThread);
    Check(wrongOnThreads == 0, "3200 errors on 8 threads at once, each caught on its own");
    Check(cPelkitError::Living() == 0, "no error stays behind");
}

}  // namespace host
