#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "host_api/CReceiver.h"
#include "tests/fakes/scripted_serial_port.h"
#include "tests/faults/recording_files.h"
#include "tests/unit/receiver/scripted_host.h"

namespace fault_tests {

using Strings = std::vector<std::string>;

/// What came of a recording, as far as it differs from an undisturbed one.
struct Report {
    Strings seen;       ///< by the host: "<step>: <text of the exception, or what the step gave instead>"
    Strings logged;     ///< error lines, and ordinary lines that speak of a failure: "E <module>: <text>"
    Strings log;        ///< see LogDifferences, and "log: <n> stays open"
    std::string stays;  ///< of the captured bytes, see Stays
};

/// A host that takes the whole road of a recording through the plug-in's exports, over the scripted bodies of
/// all seams: create, allocate, configure, start, read, save (a section of a TDF file), stop, release,
/// destroy. After a refusal it goes on as a debugger does: it stops what runs, and gives back what it got.
///
/// The probe sends 100 bytes and 30 bytes, and 6 more once it was told to stop. The port does not take the
/// first rate of the search for the prescaler. A capture of before lies in the capture file. One at a time.
class WholeRecording {
  public:
    /// Everything works; the counts of calls begin.
    WholeRecording();
    ~WholeRecording();
    WholeRecording(const WholeRecording&) = delete;
    WholeRecording& operator=(const WholeRecording&) = delete;

    /// Called by the host before that step; steps after a refusal included, left-out ones not.
    std::map<std::string, std::function<void()>> before;

    /// Called by the host after a refused start, which it then tries again with the same driver.
    std::function<void()> mend;

    Report Run();
    /// Forgets what was to fail and what was counted, and plugs the probe in anew.
    void Restore();

    /// Lets the nth call of a seam's operation, named as "serial_port.Read", fail.
    static void Fail(const std::string& call, int nth);
    static int Calls(const std::string& call);

    /// Pulls the probe out. Any thread.
    void Unplug();
    /// A probe that has everything to send.
    void PlugIn();
    /// The status text that the driver gives.
    std::string Status() const;
    /// What the capture file holds, in the words of docs/faults.md.
    std::string Stays() const;
    /// Handles of ports, files, threads and libraries that are still open, by name.
    Strings OpenHandles() const;
    std::filesystem::path CaptureFile() const;
    std::filesystem::path LogFolder() const;
    /// All that this process logged under the usual date.
    std::string Log() const;

    static constexpr uint32_t kPort = 5;
    static const std::string kFirst;   ///< 100 bytes
    static const std::string kSecond;  ///< 30 bytes
    static const std::string kLate;    ///< 6 bytes

  private:
    Strings DifferencesOf(const std::map<std::string, std::string>& written, bool freshProcess) const;
    bool Step(const std::string& name, const std::function<void()>& action);
    void Record();
    void Read();
    void Save();
    std::string SavedBytes() const;
    std::string OptionsFile() const;
    std::filesystem::path SavedFile() const;

    receiver_tests::ScriptedHost host;
    fakes::FakeTargetAdapter targetAdapter{host.journal};
    fakes::ScriptedPort* port = nullptr;
    Korr::Plim::Trace::CReceiver* receiver = nullptr;
    Korr::Plim::Trace::CChannelDriver* driver = nullptr;
    std::atomic<bool> quiet{false};  ///< all was read that the probe sends before it is told to stop
    Strings seen;
};

/// Waits for a condition; throws when it does not come.
void Await(const std::function<bool()>& condition);

/// Expects that the next recording is an undisturbed one and leaves nothing open. The log's name, which a
/// process keeps, may be another than usual.
void ExpectThatTheNextRecordingWorks(WholeRecording& recording, const Strings& log = {});

}  // namespace fault_tests
