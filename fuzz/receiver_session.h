#pragma once

#include <cstdint>
#include <deque>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/receiver_model.h"
#include "fuzz/targets.h"
#include "fuzz/trace_home.h"
#include "host_api/cPelkitError.h"
#include "simulator/pelkit/error_reading.h"
#include "source_utilities/file_system.h"
#include "tests/fakes/scripted_serial_port.h"
#include "tests/unit/receiver/scripted_host.h"

namespace fuzz {

namespace trace = Korr::Plim::Trace;

inline constexpr std::size_t kLongName = 32768;
inline constexpr std::size_t kMostDrivers = 4;

/// Names of CPUs that the host gives.
inline const std::array<std::string, 8> kNames = {
    "board/cpu", "cpu",        "other/second", "",
    "a/b/c",     "a/../../up", "board/CPU 2",  std::string(kLongName, 'n')};

/// What other names are built of. On Windows only of what means there what it means on Linux: what its file
/// system makes of other letters, such as ":" and final blanks, is no part of the model.
inline const std::vector<std::string> kNameParts =
    KORR_PLIM::platform::PathSeparator() == '\\'
        ? std::vector<std::string>{"/", "a/", "/../", "cpu"}
        : std::vector<std::string>{"/", "a/", "/../", "/..",  "..",  ".",        "\\", "..\\",
                                   ":", " ",  "cpu",  "COM1", "NUL", "\xC3\xA4", "B",  std::string(100, 'n')};

/// File with the options of kOptions[index], and the ITM set-up file.
std::string OptionsFile(std::size_t index);
std::string ItmFile();

/// One run: the receiver with its scripted host, and the model.
class ReceiverSession {
  public:
    explicit ReceiverSession(std::string_view bytes);
    ~ReceiverSession();
    void Run();

  private:
    using Call = void (ReceiverSession::*)();

    uint8_t Next() {
        if (rest.empty()) return 0;
        const auto byte = static_cast<uint8_t>(rest.front());
        rest.remove_prefix(1);
        return byte;
    }
    const std::string& NextName();
    /// One of the living drivers; the call is left out without one.
    bool ChooseDriver() {
        if (model.drivers.empty()) return false;
        chosen = Next() % model.drivers.size();
        return true;
    }
    DriverModel& Model() { return model.drivers[chosen]; }
    trace::CChannelDriver& Driver() { return *drivers[chosen]; }
    template <typename Action>
    void Expect(const char* what, const Outcome& expected, Action action);
    void CheckTraces(const char* what);
    std::vector<std::string> LogLines();
    std::string Samples(const DriverModel& driver) const;
    void CheckFiles() const;

    void CreateReceiver();
    void DestroyReceiver();
    void Allocate();
    void Release();
    void Notify();
    void AskReceiver();
    void Configure();
    void Start();
    void Stop();
    void Refused();
    void Save();
    void SeekRead();
    void CheckStatus();
    void CheckAttribute();
    void SetStates();
    void AskDriver();
    void Feed();
    void ChangeHost();
    void SetClock();
    void ChangeAdapter();

    std::string_view rest;
    std::deque<std::string> built;  ///< names, for the host to give again
    std::set<std::string> outside;  ///< files that were outside the data folder before
    ReceiverModel model;
    receiver_tests::ScriptedHost host;
    fakes::CallJournal adapterJournal;
    fakes::FakeTargetAdapter adapter{adapterJournal};
    fakes::ScriptedPort* port;
    trace::CReceiver* receiver = nullptr;
    std::deque<trace::CChannelDriver*> drivers;  ///< as in the model
    trace::CChannelDriver* stale = nullptr;
    std::size_t chosen = 0;
    std::size_t adapterCallsSeen = 0;
    std::uintmax_t logSeen = 0;
    uint8_t fed = 0;
};

template <typename Action>
void ReceiverSession::Expect(const char* what, const Outcome& expected, Action action) {
    Outcome seen;
    try {
        action();
    } catch (const cPelkitError& error) {
        Require(pelkit::SeverityOf(error) == cPelkitErrorIF::eSEVERITY_ERROR, "severity");
        seen = pelkit::TextOf(error);
    } catch (const fakes::HostFault& fault) {
        seen = fault.what();
    }
    Require(seen == expected, std::string(what) + ": \"" + seen.value_or("no error") + "\" instead of \"" +
                                  expected.value_or("no error") + "\"");
    CheckTraces(what);
}

}  // namespace fuzz
