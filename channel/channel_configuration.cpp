#include <algorithm>

#include "channel/ChannelDriver.h"
#include "channel/channel_log.h"
#include "channel/firmware_version.h"
#include "channel/text_numbers.h"
#include "options/ChannelOptionsHandler.h"
#include "options/option_table.h"
#include "source_utilities/visible_text.h"

using KORR_PLIM::kLogOrdinary;
using KORR_PLIM::LogError;
using KORR_PLIM::LogMessage;
using KORR_PLIM::uMutexLock;
using KORR_PLIM::Visible;

namespace Korr::Plim::Trace::Tarnel {
namespace {

constexpr uint32_t kPinProtocolUart = 2;

bool IsPlaceholder(uint32_t id, const std::string& value) { return value == OptionPlaceholder(id); }

}  // namespace

void ChannelDriver::SetConfiguration(const char* optionsFileName) {
    const uMutexLock hold(*mutex);
    if (optionsFileName == nullptr) {
        LogError("SetConfiguration called with null options for %s", Visible(cpuShortName).Text());
        ThrowError("Internal error setting configuration.");
    }
    LogMessage(kLogOrdinary, "%s: Set configuration called file - %s.", kChannelDriverTag,
               Visible(optionsFileName).Text());
    ChannelOptionsHandler().GetOptions(options, optionsFileName, probeKind);
    ApplyOptions();
    state = kConfigured;
}

std::string ChannelDriver::OptionValue(uint32_t id) const {
    const auto found = std::find_if(options.begin(), options.end(),
                                    [id](const ChannelOptions& option) { return option.id == id; });
    if (found != options.end()) return found->value;
    LogError("%s: NULL value for CPU=%s and option ID=%d.", kChannelDriverTag, Visible(cpuName).Text(),
             static_cast<int32_t>(id));
    return std::string();
}

void ChannelDriver::ApplyOptions() {
    ApplyFirmwareVersion();
    LogMessage(kLogOrdinary, "%s: Setting eSWO_ENCODING = %s.", kChannelDriverTag,
               Visible(OptionValue(kOptionEncoding)).Text());
    pinProtocol = kPinProtocolUart;
    ApplyPrescaler();
    if (pinProtocol == kPinProtocolUart) ApplyClock();
    ApplyComPort();
    ApplyTimestampPrescale();
}

void ChannelDriver::ApplyFirmwareVersion() {
    const uint32_t version = ParseFirmwareVersion(OptionValue(kOptionFirmwareVersion));
    if (probeKind == kBrantorProbe && version < kFirmwareWithSwo) {
        ThrowError(
            "SWO is not supported by the current emulator firmware. Update the firmware to the latest "
            "version (check with your emulator's vendor for details)");
    }
    firmwareVersion = version;
}

void ChannelDriver::ApplyPrescaler() {
    prescalerAuto = OptionValue(kOptionPrescaler) == "Auto";
    if (prescalerAuto) return;
    const std::string value = OptionValue(kOptionPrescalerValue);
    if (IsPlaceholder(kOptionPrescalerValue, value)) {
        ThrowError("Please specify prescalar in Receiver settings");
    }
    prescaler = ParseUnsigned(value.c_str());
}

void ChannelDriver::ApplyClock() {
    clockAuto = OptionValue(kOptionClock) == "Auto";
    if (clockAuto) return;
    const std::string value = OptionValue(kOptionClockValue);
    if (IsPlaceholder(kOptionClockValue, value)) {
        ThrowError("Please specify clock frequency in Receiver Settings");
    }
    traceClockHz = ParseReal(value.c_str());
}

void ChannelDriver::ApplyComPort() {
    const std::string value = OptionValue(kOptionComPort);
    if (IsPlaceholder(kOptionComPort, value)) {
        ThrowError("Please specify valid COM port number in Receiver Settings");
    }
    comPort = ParseUnsigned(value.c_str());
}

void ChannelDriver::ApplyTimestampPrescale() {
    timestampPrescale = ParseUnsigned(OptionValue(kOptionTimestampPrescaler).c_str());
    LogMessage(kLogOrdinary, "%s: Setting eSWO_TS_PRESCALAR = %d.", kChannelDriverTag,
               static_cast<int32_t>(timestampPrescale));
}

}  // namespace Korr::Plim::Trace::Tarnel
