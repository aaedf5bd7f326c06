#include "fuzz/receiver_model.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <utility>

namespace fuzz {
namespace {

constexpr const char* kDriver = "Tarnel_ChannelDriver";
constexpr const char* kReceiver = "Tarnel_Receiver";
constexpr std::size_t kLongestFileName = 255;

std::vector<std::string> PathParts(const std::string& shortName) {
    std::vector<std::string> parts(1);
    for (const char letter : "swotrace_" + shortName + ".bin") {
        if (letter == '/') {
            parts.emplace_back();
        } else {
            parts.back() += letter;
        }
    }
    return parts;
}

// Two or more full stops, and blanks, and nothing else.
bool IsWayUp(const std::string& part) {
    const auto stops = std::count(part.begin(), part.end(), '.');
    const auto blanks = std::count(part.begin(), part.end(), ' ');
    return stops >= 2 && static_cast<std::size_t>(stops + blanks) == part.size();
}

std::string Number(uint32_t value) { return std::to_string(value); }

// A stream's default form of a double: general notation, 6 digits.
std::string Real(double value) {
    std::ostringstream text;
    text << value;
    return text.str();
}

uint32_t FirmwareVersion(const std::string& text) {
    unsigned a = 0, b = 0, c = 0, d = 0;
    const bool whole = std::sscanf(text.c_str(), "fw %u.%u.%u.%u", &a, &b, &c, &d) == 4;
    return whole ? a << 24 | b << 16 | c << 8 | d : 0;
}

}  // namespace

const std::array<SetUpFile, 4> kSetUpFiles = {
    {{"$ brantor\n$ swd\n  swd_debug=enabled\n  swo_data=tdo_pin\n", 0, true, false},
     {"$ brantor\n$ swd\n  swd_debug=disabled\n", 0, false, true},
     {"$ product\n  name=\"Quiller\"\n$ dot7\n  ts_pin_width=only_two\n$ swd\n  swd_debug=enabled\n"
      "  swo_data=tdo_pin\n",
      1, true, true},
     {"$ product\n  name=\"Another\"\n", 2, false, true}}};

const std::array<OptionsModel, 10> kOptions = {
    {{"fw 1.0.0.5", "Manual", "23", "Manual", "48000000", "5", "16"},
     {"fw 1.0.0.7", "Auto", "Prescalar value", "Manual", "16000000", "5", "1"},
     {"fw 1.0.0.4", "Manual", "0", "Manual", "1", "5", "64"},
     {"1.0.0.5", "Manual", "1", "Manual", "2", "5", "4"},
     {"fw 1.0.0.6", "Manual", "Prescalar value", "Manual", "48000000", "5", "1"},
     {"fw 1.0.0.6", "Manual", "4294967295", "Manual", "Frequency in Hz", "5", "1"},
     {"fw 1.0.0.6", "Manual", "7", "Manual", "8000000", "", "1"},
     {"fw 1.0.0.6", "Manual", "1", "Manual", "-5", "5", "1"},
     {"fw 1.0.0.6", "Manual", "1", "Auto", "Frequency in Hz", "5", "1"},
     {"fw 1.0.0.6", "Manual", "2", "Manual", "6e6", "77", "1"}}};

std::string DriverModel::ShortName() const {
    const std::size_t slash = name.find('/');
    const bool twoParts = slash != std::string::npos && name.find('/', slash + 1) == std::string::npos;
    return twoParts ? name.substr(slash + 1) : name;
}

std::optional<std::string> DriverModel::CaptureFile() const {
    const std::vector<std::string> parts = PathParts(ShortName());
    const std::string& file = parts.back();
    if (file.size() > kLongestFileName) return std::nullopt;
    if (parts.size() == 1) return file;
    const bool stays = std::all_of(parts.begin() + 1, parts.end() - 1,
                                   [](const std::string& part) { return part.empty() || part == "."; });
    if (parts.front() != kUsersFolder || !stays) return std::nullopt;
    return parts.front() + "/" + file;
}

std::vector<std::string> ReceiverModel::Take(std::vector<std::string>& list) {
    return std::exchange(list, {});
}

Outcome ReceiverModel::Call(const DriverModel& driver, const char* operation, const std::string& argument) {
    adapterCalls.push_back(std::string(operation) + "(" + Number(driver.cpuId) +
                           (argument.empty() ? "" : ", " + argument) + ")");
    if (host.throwing.count(operation) != 0) return operation;
    return std::nullopt;
}

void ReceiverModel::Log(char mask, const char* module, const std::string& text) {
    logLines.push_back(std::string(1, mask) + " " + module + ": " + text);
}

Outcome ReceiverModel::Create() {
    if (references == 0 && !host.hasDeviceIdentifier) {
        return "Internal error, failed to create device identifier";
    }
    ++references;
    return std::nullopt;
}

bool ReceiverModel::Destroy() {
    if (references == 0 || --references > 0) return false;
    while (!drivers.empty()) Release(0);
    return true;
}

Outcome ReceiverModel::Allocate(const std::optional<std::string>& cpuName, bool hasAdapter, uint32_t cpuId) {
    const SetUpFile& setUp = kSetUpFiles[host.setUpFile];
    if (setUp.probeKind == 2) return "SWO trace is not supported by this emulator.";
    const bool swdDevice = (host.identification & 0x0FFFFFFF) == 0x0B9AF02F;
    const bool cjtagDevice = (host.identification & 0x0FFFFFFF) == 0x0B99A02F;
    if (!swdDevice && !cjtagDevice) return "SWO trace is not supported by this device.";
    if (swdDevice && !setUp.swd) {
        return "Please check the target configuration(VELXML). Debug probe protocol must be SWD with COM "
               "port "
               "connected to TDO.";
    }
    if (cjtagDevice && !setUp.cjtag) {
        return "Please check the target configuration(VELXML). Debug probe protocol must be set to either: \n"
               " 1. 2-pin CJTAG with Aux COM port connected to target TDO or UART pin.\n"
               " 1. 4-pin CJTAG with Aux COM port connected to target UART pin.";
    }
    if (!host.hasTargetAdapter) {
        return "Cannot get target adapter for SWO receiver. Bad installation or setup.";
    }
    if (!cpuName || !hasAdapter) {
        Log('E', kDriver, "Internal error creating Channel Driver. Null parameters.");
        return "Internal error creating Channel Driver. Null parameters.";
    }
    DriverModel driver;
    driver.name = *cpuName;
    const std::vector<std::string> parts = PathParts(driver.ShortName());
    if (std::any_of(parts.begin(), parts.end(), IsWayUp)) {
        Log('E', kDriver,
            "CPU name leads out of the data folder, so that nothing can be captured: " + *cpuName);
    }
    driver.cpuId = cpuId;
    driver.probeKind = setUp.probeKind;
    drivers.push_back(driver);
    return std::nullopt;
}

void ReceiverModel::Release(std::size_t driver) {
    DriverModel dying = drivers[driver];
    drivers.erase(drivers.begin() + static_cast<std::ptrdiff_t>(driver));
    DestroyDriver(dying);
}

void ReceiverModel::DestroyDriver(DriverModel driver) {
    const auto note = [this](const Outcome& failure) {
        if (failure) Log('E', kDriver, *failure);
    };
    note(Stop(driver));
    note(CheckExportStatus(driver));
    note(Call(driver, "TraceExportOpB"));
    note(Call(driver, "TraceRelease"));
}

DriverModel* ReceiverModel::Find(const std::string& cpuName) {
    const auto found = std::find_if(drivers.begin(), drivers.end(),
                                    [&](const DriverModel& driver) { return driver.name == cpuName; });
    return found == drivers.end() ? nullptr : &*found;
}

void ReceiverModel::TargetStateChanged(const std::string& cpuName, uint32_t code) {
    DriverModel* const driver = Find(cpuName);
    if (driver == nullptr) return;
    driver->targetState = code;
    const auto status = Status(*driver);
    const bool recording = status && status->code == 6;
    Outcome failure;
    if ((code == 5 || code == 6) && !recording) failure = Start(*driver);
    if ((code == 7 || code == 8) && recording) failure = Stop(*driver);
    if (failure) Log('E', kReceiver, *failure);
}

Outcome ReceiverModel::Configure(DriverModel& driver, const OptionsModel& options) const {
    if (driver.probeKind == 0 && FirmwareVersion(options.firmware) < 0x01000005) {
        return "SWO is not supported by the current emulator firmware. Update the firmware to the latest "
               "version "
               "(check with your emulator's vendor for details)";
    }
    driver.prescalerAuto = options.prescaler == "Auto";
    if (!driver.prescalerAuto) {
        if (options.prescalerValue == "Prescalar value") {
            return "Please specify prescalar in Receiver settings";
        }
        driver.prescaler = static_cast<uint32_t>(std::strtoul(options.prescalerValue.c_str(), nullptr, 10));
    }
    driver.clockAuto = options.clock == "Auto";
    if (!driver.clockAuto) {
        if (options.clockValue == "Frequency in Hz") {
            return "Please specify clock frequency in Receiver Settings";
        }
        driver.clock = std::strtod(options.clockValue.c_str(), nullptr);
    }
    if (options.comPort.empty()) return "Please specify valid COM port number in Receiver Settings";
    driver.comPort = static_cast<uint32_t>(std::strtoul(options.comPort.c_str(), nullptr, 10));
    driver.timestampPrescale =
        static_cast<uint32_t>(std::strtoul(options.timestampPrescaler.c_str(), nullptr, 10));
    driver.state = 2;
    return std::nullopt;
}

Outcome ReceiverModel::CheckExportStatus(const DriverModel& driver) {
    return Call(driver, "GetExportStatus");
}

Outcome ReceiverModel::FindClock(DriverModel& driver) const {
    constexpr const char* kUnknown =
        "Could not determine the System clock frequency automatically. Please set it manually in the "
        "receiver properties.";
    constexpr const char* kNoRegister =
        "Internal error: Trace clock freq could not be deftermined for this device";
    switch (host.identification & 0x0FFFFFFF) {
        case 0x0B9AF02F:  // a Ferrin device, whose registers are other ones
            return kNoRegister;
        case 0x0B99A02F:  // a Mothwing device
            if (!host.clockNamed) return kNoRegister;
            if (!host.clockReadable) return kUnknown;
            driver.clock = host.clockDivider % 2 == 1 ? 24e6 : 48e6;
            return std::nullopt;
        default:
            return kUnknown;
    }
}

Outcome ReceiverModel::PrepareCapture(DriverModel& driver) {
    driver.capturing = false;  // an older one is stopped
    if (driver.clockAuto) {
        if (Outcome failure = FindClock(driver)) return failure;
    }
    if (driver.clock <= 0) return "Invalid trace clock frequency";
    if (driver.comPort != 5 || !host.portPlugged) return "Failed to open COM port";
    if (driver.prescalerAuto) driver.prescaler = 0;  // the scripted port takes every rate
    const std::optional<std::string> file = driver.CaptureFile();
    const bool isTaken = std::any_of(drivers.begin(), drivers.end(), [&](const DriverModel& other) {
        return &other != &driver && other.capturing && other.CaptureFile() == file;
    });
    if (isTaken || !file) return "Failed to open binary file for trace data storage";
    captures[*file] = "";
    driver.capturing = true;
    return std::nullopt;
}

Outcome ReceiverModel::ProgramTpiu(DriverModel& driver) {
    const struct {
        const char* operation;
        std::string argument;
        const char* logged;
        const char* thrown;
    } steps[] = {
        {"SetTpiuPrescaler", Number(driver.prescaler), "Failed to setup TPIU prescalar",
         "Invalid Prescalar Value"},
        {"SetTpiuPinProtocol", "2", "Failed to setup TPIU pin protocol", "Invalid Pin Protocol"},
        {"SetTimestampPrescale", Number(driver.timestampPrescale), "Failed to setup timestamping resolution",
         "Failed to configure timestamping resolution"},
        {"ProgramTpiu", "", "Failed to program TPIU", "Failed to program TPIU"},
        {"EnableTpiu", "", "Failed to enable TPIU for tracing", "Failed to Enable TPIU for SWO trace"}};
    for (const auto& step : steps) {
        if (Outcome thrown = Call(driver, step.operation, step.argument)) return thrown;
        if (host.failing.count(step.operation) == 0) continue;
        Log('E', kDriver, step.logged);
        return step.thrown;
    }
    return std::nullopt;
}

Outcome ReceiverModel::Start(DriverModel& driver) {
    if (!driver.IsConnected()) {
        Log('M', kDriver, "Cannot start recording unless target is connected");
        return std::nullopt;
    }
    if (driver.state == 3) {
        Log('M', kDriver, "Cannot start recording since recording is already in progress");
        return std::nullopt;
    }
    if (driver.state < 2) {
        Log('M', kDriver, "Cannot start recording unless caltibration is complete");
        return std::nullopt;
    }
    Outcome failure = Call(driver, "TraceExportOpA");
    if (!failure) failure = Call(driver, "TraceExportOpB");
    if (!failure) failure = CheckExportStatus(driver);
    if (!failure) failure = PrepareCapture(driver);
    if (!failure) failure = ProgramTpiu(driver);
    if (failure) {
        driver.capturing = false;
    } else {
        driver.state = 3;
    }
    return failure;
}

Outcome ReceiverModel::Stop(DriverModel& driver) {
    if (!driver.IsConnected()) {
        Log('M', kDriver, "Cannot stop recording unless target is connected");
        return std::nullopt;
    }
    if (driver.state != 3) {
        Log('M', kDriver, "Cannot stop recording as recording has not started yet");
        return std::nullopt;
    }
    if (driver.targetState == 6) {
        Log('E', kDriver, "Trace cannot be stopped while target is running.");
        return "Trace cannot be stopped while target is running. Please halt the target.";
    }
    if (Outcome failure = Call(driver, "TraceExportOpB")) return failure;
    driver.capturing = false;
    if (Outcome failure = Call(driver, "TraceExportOpA")) return failure;
    driver.state = 5;
    driver.itmTypes.reset();
    return std::nullopt;
}

std::optional<StatusModel> ReceiverModel::Status(const DriverModel& driver) {
    if (!driver.IsConnected()) return std::nullopt;
    switch (driver.state) {
        case 2:
            return StatusModel{16, "Ready to record", {true, true, false, false, false}};
        case 3:
            return StatusModel{6, "Recording", {true, false, false, true, false}};
        case 5:
            return StatusModel{11, "Stopped by user", {true, true, false, false, true}};
        default:
            return StatusModel{1, "Calibrating ...", {false, false, false, false, false}};
    }
}

std::string ReceiverModel::Attribute(DriverModel& driver, const std::string& name, uint32_t& type) const {
    const std::map<std::string, std::pair<uint32_t, std::string>> simple = {
        {"Trace Data Frequency", {6, Real(driver.clock / (driver.prescaler + 1.0))}},
        {"Timing Clock Frequency", {6, Real(driver.clock)}},
        {"Buffer Wrapped", {0, "0"}},
        {"TWP Source", {0, "0"}},
        {"ITM Timestamp Prescale", {2, Number(driver.timestampPrescale)}},
        {"WP0 Comp", {2, "4026531840"}},
        {"WP3 Comp", {2, "0"}},
        {"ITM Exception Map Name", {5, "MOD_EXCEPTIONMAP"}}};
    const auto found = simple.find(name);
    if (found != simple.end()) {
        type = found->second.first;
        return found->second.second;
    }
    type = 1;
    if (name.find("ITMChannelType_") == std::string::npos) return "0";
    // Read once until the next stop; without a file channel 0 alone has type 1.
    if (!driver.itmTypes) driver.itmTypes = std::array<bool, 2>{!host.itm, host.itm && *host.itm == "1"};
    const int channel = std::atoi(name.c_str() + name.find('_') + 1);
    return (channel == 0 || channel == 1) && (*driver.itmTypes)[static_cast<std::size_t>(channel)] ? "1"
                                                                                                   : "0";
}

}  // namespace fuzz
