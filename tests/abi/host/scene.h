#pragma once

#include "tests/abi/host/adapter.h"
#include "tests/abi/host/checks.h"
#include "tests/abi/host/plugin.h"
#include "tests/abi/host/script.h"
#include "tests/abi/host/system.h"

namespace host {

constexpr const char* kCpu = "board/Cortex_M4_0";

/// The folder that the run may write into, ended by a backslash. Set once, before the plug-in is loaded.
void PrepareFolder(const char* folder, bool rawTables);
const char* Folder();

/// The libraries answer again as those of a board with SWO, and all counts are 0.
void ResetScript();
/// Also: a library throws.
void ScriptThrow(Place place, Thrown thrown);
uint32_t Calls(Place place);

/// Writes an options file. \param clock in Hz, or "Auto" \return its name
const char* WriteOptions(const char* clock, const char* prescaler, const char* port);

/// Has the port's far end do something, and waits until it has. \param what "plug" or "send" (see
/// with_com_port.py)
void OrderFarEnd(const char* what, const void* bytes, size_t length);

/// The lines that the plug-in writes into its log from now on.
class LogWatch {
  public:
    LogWatch();
    bool Holds(const char* text) const;

  private:
    size_t from;
};

/// A receiver with one driver of kCpu, while it lives.
class Session {
  public:
    Session(const Plugin& plugin, bool raw);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    const Plugin& plugin;
    ReceiverCalls receiver;
    TargetAdapter* const adapter;
    DriverCalls driver;
};

bool Equal(const char* one, const char* other);

/// The whole run, or one process of it. \return the exit status
uint32_t Main();

/// The groups of checks, each with a loaded plug-in.
void CheckReceiver(const Plugin& plugin, bool raw);
void CheckNotifications(const Plugin& plugin, bool raw);
void CheckDriver(const Plugin& plugin, bool raw);
void CheckAdapter(const Plugin& plugin, bool raw);
void CheckCasts(const Plugin& plugin);
void CheckErrors(const Plugin& plugin, bool raw);
void CheckErrorsOnThreads(const Plugin& plugin);
void CheckHostErrors(const Plugin& plugin);
void CheckSwallowed(const Plugin& plugin);
void CheckStrings(const Plugin& plugin);
void CheckStringExchange();
void CheckRecording(const Plugin& plugin, bool raw);
/// Loads the plug-in itself.
void CheckDestructors(bool raw);
/// After all others: that they left no slot out.
void CheckEverySlotCalled(const Plugin& plugin);
/// The plug-in in another C++ ABI: what the host's calls become there.
void CheckTwin();
/// Does not come back: what the twin throws finds no handler.
void CallTwinThatThrows();

}  // namespace host
