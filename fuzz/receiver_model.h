#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

/// \file
/// The documented state model of the receiver and its channel drivers, written a second time and on its own:
/// nothing of the plug-in is used here. An operation takes what the host passes and gives what the host must
/// see: the text of the error, or nothing. What the target adapters and the log must have been told is
/// collected until it is taken.

namespace fuzz {

/// Text of the thrown error; nothing: the call returns.
using Outcome = std::optional<std::string>;

/// What the scripted host around the receiver answers.
struct HostModel {
    bool hasDeviceIdentifier = true;
    bool hasTargetAdapter = true;
    uint32_t setUpFile = 0;          ///< index into kSetUpFiles
    uint32_t identification = 0;     ///< of the device
    bool clockNamed = true;          ///< the device's information names the register CPUCLKDIV, and no other
    bool clockReadable = true;       ///< ... which can be read
    uint32_t clockDivider = 0;       ///< ... and has this value
    std::set<std::string> failing;   ///< target adapter operations with result 1
    std::set<std::string> throwing;  ///< those that throw their own name
    bool portPlugged = true;         ///< COM5
    std::optional<std::string> itm;  ///< content of the ITM set-up file: channel 1's type, if there is one
};

/// The one folder in the data folder, which the user made.
inline constexpr const char* kUsersFolder = "swotrace_a";

struct SetUpFile {
    const char* content;
    uint32_t probeKind;
    bool swd;    ///< fit for a device that needs SWD with SWO on TDO
    bool cjtag;  ///< fit for a device that needs cJTAG
};
extern const std::array<SetUpFile, 4> kSetUpFiles;

/// What an options file says, as far as the model looks at it. Texts as they stand in the file.
struct OptionsModel {
    std::string firmware;
    std::string prescaler;
    std::string prescalerValue;
    std::string clock;
    std::string clockValue;
    std::string comPort;
    std::string timestampPrescaler;
};
extern const std::array<OptionsModel, 10> kOptions;

struct StatusModel {
    uint32_t code;
    std::string text;
    std::array<bool, 5> flags;
};

class ReceiverModel;

struct DriverModel {
    std::string name;
    uint32_t cpuId = 0;
    uint32_t probeKind = 0;
    uint32_t state = 0;
    uint32_t targetState = 0;
    bool capturing = false;
    double clock = 0;
    uint32_t prescaler = 0;
    bool prescalerAuto = false;
    bool clockAuto = false;
    uint32_t comPort = 0;
    uint32_t timestampPrescale = 1;
    std::optional<std::array<bool, 2>> itmTypes;  ///< of channels 0 and 1, while loaded

    std::string ShortName() const;
    /// Path of the capture file below the data folder, without needless parts; nothing where none can be
    /// made.
    std::optional<std::string> CaptureFile() const;
    bool IsConnected() const { return targetState != 3 && targetState != 4; }
};

class ReceiverModel {
  public:
    HostModel host;
    std::map<std::string, std::string> captures;  ///< by path below the data folder; absent: no file
    std::deque<DriverModel> drivers;              ///< in allocation order

    Outcome Create();
    /// With the living receiver's pointer. \return whether it died
    bool Destroy();
    bool Lives() const { return references > 0; }

    Outcome Allocate(const std::optional<std::string>& cpuName, bool hasAdapter, uint32_t cpuId);
    void Release(std::size_t driver);
    void TargetStateChanged(const std::string& cpuName, uint32_t code);
    /// The first driver of this name, or null.
    DriverModel* Find(const std::string& cpuName);

    Outcome Configure(DriverModel& driver, const OptionsModel& options) const;
    Outcome Start(DriverModel& driver);
    Outcome Stop(DriverModel& driver);
    /// Nothing while the record is to be left as it is.
    static std::optional<StatusModel> Status(const DriverModel& driver);
    /// Value text of an attribute; nothing for a type code that does not matter.
    std::string Attribute(DriverModel& driver, const std::string& name, uint32_t& type) const;

    /// Calls of target adapters, and refusals and errors in the log, since the last question.
    std::vector<std::string> TakeAdapterCalls() { return Take(adapterCalls); }
    std::vector<std::string> TakeLogLines() { return Take(logLines); }

  private:
    static std::vector<std::string> Take(std::vector<std::string>& list);
    /// Notes a call. \return its failure: the text that it throws
    Outcome Call(const DriverModel& driver, const char* operation, const std::string& argument = "");
    void Log(char mask, const char* module, const std::string& text);
    Outcome CheckExportStatus(const DriverModel& driver);
    Outcome FindClock(DriverModel& driver) const;
    Outcome PrepareCapture(DriverModel& driver);
    Outcome ProgramTpiu(DriverModel& driver);
    void DestroyDriver(DriverModel driver);

    uint32_t references = 0;
    std::vector<std::string> adapterCalls;
    std::vector<std::string> logLines;
};

}  // namespace fuzz
